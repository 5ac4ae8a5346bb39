// azsbackup backup as a whole: the program, the real plug-in, a simulated Azure Stack with its disks in a blob service,
// and a restic repository.
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>

#include "host/manifest.h"
#include "host/sha256.h"
#include "sim/client_files.h"
#include "sim/disk_content.h"
#include "sim/vhd_footer.h"
#include "tests/host/no_secret.h"
#include "tests/host/program.h"
#include "tests/host/test_repository.h"
#include "tests/sim/azurite_world.h"
#include "tests/support/read_file.h"
#include "tests/support/temporary_directory.h"

namespace {

using host_test::Outcome;
using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr std::int64_t gib = 1 << 30;
constexpr std::uint64_t alignment = 131'072;  // of the data in a disk's stream
const std::string subscription = "/4caa8431-21b4-4e0b-bca0-1542a5f11e23";

std::string bytes_of(const std::vector<std::uint64_t>& words) {
  return {reinterpret_cast<const char*>(words.data()), words.size() * sizeof words[0]};
}

// The stream of a disk as the world describes it, by nothing that the plug-in tells.
std::string stream_of(const std::string& disk_name) {
  std::vector<std::uint64_t> table;
  std::string data;
  const auto add = [&](std::int64_t offset, const std::string& bytes) {
    if (table.empty() || table[table.size() - 2] + table.back() != static_cast<std::uint64_t>(offset)) {
      table.insert(table.end(), {static_cast<std::uint64_t>(offset), 0});
    }
    table.back() += bytes.size();
    data += bytes;
  };
  for (const auto& [offset, size] : sim::data_ranges({}, gib)) add(offset, sim::disk_data(disk_name, offset, size));
  add(gib, sim::vhd_footer(disk_name, gib));
  const std::uint64_t metadata = 40 + 8 * table.size();
  const std::uint64_t padding = alignment - metadata % alignment;
  return bytes_of({metadata, gib + sim::vhd_footer_size, data.size(), table.size() / 2, padding}) + bytes_of(table) +
         std::string(padding, '\0') + data;
}

std::string sha256_of(const std::string& bytes) {
  host::Sha256 digest;
  digest.update(bytes.data(), bytes.size());
  return digest.finish();
}

// Operations have ended when they are asked for the first time: between two polls the plug-in waits for seconds. The
// only account is one where no other program's tests have blobs, for a sweep goes through all accounts.
sim::World quick_world() {
  sim::World world = sim::demo_world();
  world.operation_polls = 0;
  const std::string own = "labstaging1";
  std::erase_if(world.storage_accounts, [&](const auto& account) { return account.first != own; });
  sim::Subscription& first = world.subscriptions[0];
  sim::Machine& db = first.resource_groups.at("Data_RG.1").machines.at("DB-01");
  world.storage_accounts.at(own).subscription_id = first.id;
  world.storage_accounts.at(own).group = "Data_RG.1";
  db.os_disk.vhd->account = db.boot_diagnostics->account = own;
  return world;
}

class BackupSystem : public testing::Test {
 protected:
  BackupSystem() {
    host_test::make_repository(folder_.path("repository"));
    sim::write_client_files(folder_.path("client"), cloud_, options_.world);
  }

  std::vector<std::string> environment() const {
    return {"AZSBACKUP_REPO=" + folder_.path("repository"), "AZSBACKUP_REPO_PASSWORD_FILE=" + password_,
            "AZSBACKUP_SERVER=" + cloud_.management_host(),
            "AZSBACKUP_CONFIG=" + folder_.path("client/azurestack.conf"),
            "AZSBACKUP_CREDENTIALS=" + folder_.path("client/credentials")};
  }
  std::unique_ptr<host_test::RunningProgram> start(std::vector<std::string> arguments) const {
    arguments.insert(arguments.end(), {"--log-file", folder_.path("log"), "-vv"});
    return std::make_unique<host_test::RunningProgram>(arguments, folder_.path("home"), environment());
  }
  Outcome run(const std::vector<std::string>& arguments) const { return start(arguments)->wait(); }
  std::uintmax_t log_bytes() const {
    std::error_code none;
    const auto bytes = std::filesystem::file_size(folder_.path("log"), none);
    return none ? 0 : bytes;
  }
  // Backups that are underway are met by what they have done, not by time.
  template <typename Reached>
  static void run_until(host_test::RunningProgram& program, const Reached& reached) {
    while (program.runs() && !reached()) continue;
  }
  std::ptrdiff_t answered(const std::string& what) const {
    const auto requests = cloud_.requests();
    return std::count_if(requests.begin(), requests.end(), [&](const auto& request) {
      return request.status > 0 && request.status < 300 && request.target.find(what) != std::string::npos;
    });
  }
  json standing_snapshots() const {
    const Outcome outcome = run({"snapshots", "--json", subscription});
    EXPECT_EQ(outcome.exit_code, 0) << outcome.output << outcome.error;
    return json::parse(outcome.output)["snapshots"];
  }
  // Snapshots of managed disks that were made, or deleted.
  std::ptrdiff_t snapshot_requests(const std::string& method) const {
    const auto requests = cloud_.requests();
    return std::count_if(requests.begin(), requests.end(), [&](const auto& request) {
      return request.method == method && request.status < 300 &&
             request.target.find("/snapshots/") != std::string::npos;
    });
  }
  std::vector<host::Manifest> manifests() const {
    std::vector<host::Manifest> manifests;
    for (const auto& entry : host::list_manifests(restic_)) manifests.push_back(host::load_manifest(restic_, entry));
    std::sort(manifests.begin(), manifests.end(), [](auto& left, auto& right) { return left.machine < right.machine; });
    return manifests;
  }

  const test_support::TemporaryDirectory folder_;
  const std::string password_ = folder_.write_file("password", "hunter2");
  const host::Restic restic_{{folder_.path("repository"), password_, ""}};
  const sim::Options options_ = sim_test::over_azurite(quick_world());
  sim::Simulator cloud_{options_};
};

TEST_F(BackupSystem, StoresEveryByteAndLeavesNoSnapshot) {
  std::filesystem::remove_all(folder_.path("repository"));
  const Outcome outcome = run({"backup", subscription, "--init"});
  ASSERT_EQ(outcome.exit_code, 0) << outcome.output << outcome.error;
  const auto stored = manifests();
  ASSERT_EQ(stored.size(), 2U);
  EXPECT_EQ(stored[0].machine, subscription + "/Data_RG.1/DB-01");
  std::vector<std::string> digests;
  std::string texts = outcome.output + outcome.error + test_support::read_file(folder_.path("log"));
  for (const host::Manifest& manifest : stored) {
    for (const host::SavedDisk& disk : manifest.disks) digests.push_back(disk.sha256);
    texts += host::manifest_text(manifest);
  }
  EXPECT_THAT(digests, ElementsAre(sha256_of(stream_of("DB-01-os")), sha256_of(stream_of("web-01-os")),
                                   sha256_of(stream_of("web-01-data"))));
  EXPECT_GT(snapshot_requests("PUT"), 0);
  EXPECT_EQ(snapshot_requests("PUT"), snapshot_requests("DELETE"));
  host_test::expect_no_secret(texts, options_.world, cloud_.requests());
  EXPECT_EQ(run({"verify"}).exit_code, 0);
}

TEST_F(BackupSystem, ProtectsTheOtherMachineWhenADiskCannotBeExported) {
  sim::Response refused;
  refused.status = 409;
  refused.body = R"({"error":{"code":"Conflict","message":"not now"}})";
  cloud_.add_fault({.method = "POST",
                    .target = "eginGetAccess",
                    .times = sim::Fault::forever,
                    .action = sim::AnswerWith{refused, {}}});
  const Outcome outcome = run({"backup", subscription});
  EXPECT_EQ(outcome.exit_code, 3) << outcome.output << outcome.error;
  EXPECT_THAT(outcome.output, HasSubstr("NOT PROTECTED: " + subscription + "/web-rg/web-01/ManagedDisks:"));
  EXPECT_EQ(cloud_.unused_faults(), std::vector<std::string>{});
  const auto stored = manifests();
  ASSERT_EQ(stored.size(), 1U);
  EXPECT_EQ(stored[0].machine, subscription + "/Data_RG.1/DB-01");
  EXPECT_EQ(snapshot_requests("PUT"), snapshot_requests("DELETE"));

  // Whoever takes the snapshots, the discovery, each machine, or the discovery because nothing is said.
  const std::string config = test_support::read_file(folder_.path("client/azurestack.conf"));
  for (const std::string setting : {"VM_SNAPSHOT_IN_DISCOVERY=false\n", ""}) {
    std::string given = setting + config;
    given.replace(given.rfind("VM_SNAPSHOT_IN_DISCOVERY"), 2, "NO");
    const std::string file = folder_.write_file("given.conf", given);
    EXPECT_EQ(run({"backup", subscription, "--config", file}).exit_code, 3) << setting;
    EXPECT_EQ(standing_snapshots(), json::array()) << setting;
  }
}

// What the signal finds open is closed, by the jobs as well.
TEST_F(BackupSystem, LeavesNothingInTheCloudAfterASignal) {
  for (const std::vector<std::string>& jobs : {std::vector<std::string>{}, {"--jobs", "2"}}) {
    cloud_.clear_requests();
    std::vector<std::string> arguments{"backup", subscription};
    arguments.insert(arguments.end(), jobs.begin(), jobs.end());
    const auto program = start(arguments);
    run_until(*program, [&] { return answered("eginGetAccess") > 0; });
    program->send(SIGINT);
    const Outcome outcome = program->wait();
    EXPECT_THAT(outcome.exit_code, testing::AnyOf(1, 3)) << outcome.output;  // 3: a machine was done already
    EXPECT_THAT(outcome.error, HasSubstr("stopped by a signal"));
    EXPECT_THAT(outcome.output, HasSubstr("NOT PROTECTED: "));
    EXPECT_GT(answered("eginGetAccess"), 0);
    EXPECT_GE(answered("ndGetAccess"), answered("eginGetAccess"));
    EXPECT_EQ(snapshot_requests("PUT"), snapshot_requests("DELETE"));
    EXPECT_EQ(standing_snapshots(), json::array());
  }
}

// Its children die with it, and their locks are stale once they are gone for good: where process 1 is slow to bury who
// was left, or never does, this process has to.
void kill_with_children(host_test::RunningProgram& program) {
  ASSERT_EQ(::prctl(PR_SET_CHILD_SUBREAPER, 1), 0);
  program.send(SIGKILL);
  EXPECT_EQ(program.wait().exit_code, -1);
  while (::waitpid(-1, nullptr, 0) > 0) continue;
}

TEST_F(BackupSystem, RunsAgainAtOnceWhereverItWasKilled) {
  const std::string machine = subscription + "/Data_RG.1/DB-01";
  ASSERT_EQ(run({"backup", machine}).exit_code, 0);
  const std::uintmax_t whole = log_bytes();
  const std::uintmax_t points = std::getenv("AZS_LONG") != nullptr ? 30 : 5;
  for (std::uintmax_t point = 0; point < points; ++point) {
    SCOPED_TRACE(point);
    const std::uintmax_t end = log_bytes() + whole * (2 * point + 1) / (2 * points);
    std::vector<std::string> arguments{"backup", machine};
    if (point % 2 == 1) arguments.insert(arguments.end(), {"--jobs", "2"});
    const auto program = start(arguments);
    run_until(*program, [&] { return log_bytes() >= end; });
    kill_with_children(*program);
    const Outcome verified = run({"verify"});
    EXPECT_EQ(verified.exit_code, 0) << verified.output << verified.error;
    const Outcome again = run({"backup", machine});
    EXPECT_EQ(again.exit_code, 0) << again.output << again.error;
  }
  EXPECT_EQ(run({"verify"}).exit_code, 0);
  EXPECT_NE(standing_snapshots(), json::array());
  const std::string config = test_support::read_file(folder_.path("client/azurestack.conf"));
  const std::string all = folder_.write_file("all.conf", "SNAPSHOT_CLEANUP_MIN=0\n" + config);
  EXPECT_EQ(run({"snapshots", "--sweep", subscription}).exit_code, 0);  // none is a day old
  EXPECT_NE(standing_snapshots(), json::array());
  const Outcome swept = run({"snapshots", "--sweep", "--config", all, subscription});
  EXPECT_EQ(swept.exit_code, 0) << swept.output << swept.error;
  EXPECT_THAT(swept.output, HasSubstr("deleted"));
  EXPECT_EQ(standing_snapshots(), json::array());
}

TEST_F(BackupSystem, SpreadsMachinesOverJobs) {
  const Outcome outcome = run({"backup", subscription, "--jobs", "2"});
  ASSERT_EQ(outcome.exit_code, 0) << outcome.output << outcome.error;
  EXPECT_THAT(outcome.output, HasSubstr("2 machines protected, 0 not."));
  EXPECT_EQ(manifests().size(), 2U);
  EXPECT_EQ(snapshot_requests("PUT"), snapshot_requests("DELETE"));
  host_test::expect_no_secret(outcome.output + outcome.error + test_support::read_file(folder_.path("log")),
                              options_.world, cloud_.requests());
}

// As a job queue does it: each workload file by itself, snapshots from the discovery to the end, a task started anew.
TEST_F(BackupSystem, GoesFromADiscoveryOverItsFilesToTheEnd) {
  const Outcome found = run({"discover", "--keep", folder_.path("work"), "--snapshots", "--json", subscription});
  ASSERT_EQ(found.exit_code, 0) << found.output << found.error;
  const std::string id = json::parse(found.output)["backup_id"];
  EXPECT_EQ(standing_snapshots().size(), 3U);
  for (const auto& file : std::filesystem::directory_iterator(folder_.path("work"))) {
    for (const char* again : {"its disks' snapshots are there", "they are gone"}) {
      const Outcome done = run({"backup", "--workload", file.path()});
      EXPECT_EQ(done.exit_code, 0) << again << done.output << done.error;
    }
  }
  for (const host::Manifest& manifest : manifests()) EXPECT_EQ(manifest.backup_id, id);
  EXPECT_EQ(manifests().size(), 2U);
  const Outcome end = run({"finish", "--snapshot", id, subscription});
  EXPECT_EQ(end.exit_code, 0) << end.output << end.error;
  EXPECT_EQ(standing_snapshots(), json::array());
}

// A login that is refused is the cause of everything; one list that fails is one thing not known.
TEST_F(BackupSystem, TellsWhySnapshotsAreNotKnown) {
  sim::Response forbidden;
  forbidden.status = 403;
  forbidden.body = R"({"error":{"code":"AuthorizationFailed","message":"no role here"}})";
  cloud_.add_fault({.target = "/snapshots\\?", .action = sim::AnswerWith{forbidden, {}}});
  const Outcome partly = run({"snapshots", subscription});
  EXPECT_EQ(partly.exit_code, 3) << partly.output << partly.error;
  EXPECT_THAT(partly.output, HasSubstr("Not done: managed disks of subscription "));

  cloud_.add_fault({.target = "/snapshots\\?", .action = sim::AnswerWith{forbidden, {}}});
  const Outcome unfinished = run({"finish", "--snapshot", "17", subscription});
  EXPECT_EQ(unfinished.exit_code, 3) << unfinished.output << unfinished.error;
  EXPECT_THAT(unfinished.output, HasSubstr("Backup 17 is not finished: 0 snapshots deleted, some may be left."));
  EXPECT_EQ(run({"finish", "--snapshot", "17", subscription}).exit_code, 0);

  cloud_.add_fault({.target = "/snapshots\\?", .action = sim::AnswerWith{forbidden, {}}});
  const Outcome backup = run({"backup", subscription + "/Data_RG.1"});
  EXPECT_EQ(backup.exit_code, 0) << backup.output << backup.error;
  EXPECT_THAT(backup.error, HasSubstr("warning: snapshots of this backup may be left: managed disks of subscription"));
  EXPECT_EQ(cloud_.unused_faults(), std::vector<std::string>{});

  cloud_.add_fault({.target = "^/subscriptions", .times = sim::Fault::forever, .action = sim::RefuseToken{}});
  const Outcome refused = run({"snapshots", subscription});
  EXPECT_EQ(refused.exit_code, 14) << refused.output << refused.error;
  EXPECT_EQ(run({"finish", "--snapshot", "17", subscription}).exit_code, 14);
}

// What follows from a missing role, a snapshot that is not there, is not told for the cause.
TEST_F(BackupSystem, TellsTheRoleThatSnapshotsLack) {
  sim::Response forbidden;
  forbidden.status = 403;
  forbidden.body = R"({"error":{"code":"AuthorizationFailed","message":"no role here"}})";
  cloud_.add_fault({.method = "PUT",
                    .target = "/snapshots/",
                    .times = sim::Fault::forever,
                    .action = sim::AnswerWith{forbidden, {}}});
  const std::string config = test_support::read_file(folder_.path("client/azurestack.conf"));
  for (const char* in_discovery : {"true", "false"}) {
    const std::string own = folder_.write_file(
        "own.conf", std::string("SNAPSHOT_RETRY_COUNT=0\nVM_SNAPSHOT_IN_DISCOVERY=") + in_discovery + "\n" + config);
    const Outcome backup = run({"backup", "--config", own, subscription + "/web-rg"});
    EXPECT_EQ(backup.exit_code, 1) << backup.output << backup.error;
    EXPECT_THAT(backup.output, HasSubstr("AuthorizationFailed: no role here"));
    EXPECT_THAT(backup.output, HasSubstr("Give the login a role"));
  }
}

}  // namespace
