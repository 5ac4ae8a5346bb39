// Tests of the whole: the program, the real plug-in, a simulated Azure Stack with its disks in a blob service, and a
// repository.
#pragma once

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>

#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "sim/client_files.h"
#include "tests/host/test_repository.h"
#include "tests/sim/azurite_world.h"

namespace host_test {

class CloudTest : public RepositoryTest {
 protected:
  explicit CloudTest(sim::World world) : options_(sim_test::over_azurite(std::move(world))) {
    sim::write_client_files(folder_.path("client"), cloud_, options_.world);
    environment_.insert(environment_.end(),
                        {"AZSBACKUP_SERVER=" + cloud_.management_host(), "AZSBACKUP_CONFIG=" + config_,
                         "AZSBACKUP_CREDENTIALS=" + folder_.path("client/credentials")});
  }

  /// Everything is logged, so that a secret has every chance to show itself.
  std::unique_ptr<RunningProgram> start(std::vector<std::string> arguments) const {
    arguments.emplace_back("-vv");
    return std::make_unique<RunningProgram>(arguments, folder_.path("home"), environment_);
  }
  Outcome run(const std::vector<std::string>& arguments) const { return start(arguments)->wait(); }
  /// Programs that are underway are met by what they have done, not by time.
  template <typename Reached>
  static void run_until(RunningProgram& program, const Reached& reached) {
    while (program.runs() && !reached()) continue;
  }
  /// Kills azsbackup in the middle of the given part, out of `parts`, of what the log holds of a whole run. Its
  /// children die with it, and their locks are stale once they are gone for good: where process 1 is slow to bury who
  /// was left, or never does, this process has to.
  void kill_within(std::uintmax_t part, std::uintmax_t parts, std::uintmax_t log_of_all,
                   const std::vector<std::string>& arguments) const {
    const std::uintmax_t end = std::filesystem::file_size(log_) + log_of_all * (2 * part + 1) / (2 * parts);
    const auto program = start(arguments);
    run_until(*program, [&] { return std::filesystem::file_size(log_) >= end; });
    ASSERT_EQ(::prctl(PR_SET_CHILD_SUBREAPER, 1), 0);
    program->send(SIGKILL);
    EXPECT_EQ(program->wait().exit_code, -1);
    while (::waitpid(-1, nullptr, 0) > 0) continue;
  }

  const sim::Options options_;
  sim::Simulator cloud_{options_};
  const std::string config_ = folder_.path("client/azurestack.conf");
};

}  // namespace host_test
