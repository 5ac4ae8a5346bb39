#include "tests/host/program.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <system_error>
#include <utility>

#include "tests/support/read_file.h"

namespace host_test {

namespace {

struct Destroyer {
  void operator()(posix_spawn_file_actions_t* actions) const { ::posix_spawn_file_actions_destroy(actions); }
};

std::vector<char*> pointers(std::vector<std::string>& texts) {
  std::vector<char*> result;
  result.reserve(texts.size() + 1);
  for (std::string& text : texts) result.push_back(text.data());
  result.push_back(nullptr);
  return result;
}

}  // namespace

RunningProgram::RunningProgram(const std::vector<std::string>& arguments, const std::string& home,
                               const std::vector<std::string>& extra) {
  std::vector<std::string> argv{AZSBACKUP_PROGRAM};
  argv.insert(argv.end(), arguments.begin(), arguments.end());
  std::vector<std::string> environment{"PATH=/usr/bin:/bin", "HOME=" + home};
  environment.insert(environment.end(), extra.begin(), extra.end());
  for (const std::string name : {"ASAN_OPTIONS", "UBSAN_OPTIONS"}) {  // how the sanitizers are told to behave
    if (const char* value = std::getenv(name.c_str())) environment.push_back(name + "=" + value);
  }
  posix_spawn_file_actions_t storage{};
  ::posix_spawn_file_actions_init(&storage);
  const std::unique_ptr<posix_spawn_file_actions_t, Destroyer> actions(&storage);
  const std::pair<int, std::string> streams[] = {{1, caught_.path("output")}, {2, caught_.path("error")}};
  for (const auto& [descriptor, path] : streams) {
    ::posix_spawn_file_actions_addopen(actions.get(), descriptor, path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  }
  const int failure = ::posix_spawn(&pid_, AZSBACKUP_PROGRAM, actions.get(), nullptr, pointers(argv).data(),
                                    pointers(environment).data());
  if (failure != 0) throw std::system_error(failure, std::generic_category(), "cannot start " AZSBACKUP_PROGRAM);
  end_ = host::FileDescriptor(static_cast<int>(::syscall(SYS_pidfd_open, pid_, 0)));
}

RunningProgram::~RunningProgram() {
  if (pid_ < 0) return;
  send(SIGKILL);
  ::waitpid(pid_, &status_, 0);
}

bool RunningProgram::runs() {
  constexpr int look_ms = 3;
  pollfd ended{end_.get(), POLLIN, 0};
  if (pid_ >= 0 && ::poll(&ended, 1, look_ms) > 0 && ::waitpid(pid_, &status_, WNOHANG) == pid_) pid_ = -1;
  return pid_ >= 0;
}

void RunningProgram::send(int signal) const {
  if (pid_ > 0) ::kill(pid_, signal);
}

Outcome RunningProgram::wait() {
  if (pid_ >= 0) ::waitpid(pid_, &status_, 0);
  pid_ = -1;
  return {WIFEXITED(status_) ? WEXITSTATUS(status_) : -1, test_support::read_file(caught_.path("output")),
          test_support::read_file(caught_.path("error"))};
}

Outcome run_azsbackup(const std::vector<std::string>& arguments, const std::string& home,
                      const std::vector<std::string>& extra) {
  return RunningProgram(arguments, home, extra).wait();
}

}  // namespace host_test
