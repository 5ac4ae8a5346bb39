// azsbackup backup as a whole.
#include <gmock/gmock.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "host/manifest.h"
#include "host/sha256.h"
#include "sim/disk_content.h"
#include "sim/vhd_footer.h"
#include "tests/host/cloud_test.h"
#include "tests/host/no_secret.h"

namespace {

using host_test::Ends;
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

sim::AnswerWith error_answer(int status, const std::string& code, const std::string& message) {
  sim::Response response;
  response.status = status;
  response.body = json{{"error", {{"code", code}, {"message", message}}}}.dump();
  return {response, {}};
}

class BackupSystem : public host_test::CloudTest {
 protected:
  BackupSystem() : CloudTest(quick_world()) {}

  // Requests that were answered well.
  std::ptrdiff_t answered(const std::string& what, const std::string& method = "") const {
    const auto requests = cloud_.requests();
    return std::count_if(requests.begin(), requests.end(), [&](const auto& request) {
      return request.status > 0 && request.status < 300 && request.target.find(what) != std::string::npos &&
             (method.empty() || request.method == method);
    });
  }
  json standing_snapshots() const {
    const Outcome outcome = run({"snapshots", "--json", subscription});
    EXPECT_EQ(outcome.exit_code, 0) << outcome.output << outcome.error;
    return json::parse(outcome.output)["snapshots"];
  }
  // Snapshots of managed disks that were made ("PUT"), or deleted.
  std::ptrdiff_t snapshot_requests(const std::string& method) const { return answered("/snapshots/", method); }
  std::vector<host::Manifest> manifests() const {
    std::vector<host::Manifest> manifests;
    for (const auto& entry : host::list_manifests(restic_)) manifests.push_back(host::load_manifest(restic_, entry));
    std::sort(manifests.begin(), manifests.end(), [](auto& left, auto& right) { return left.machine < right.machine; });
    return manifests;
  }
};

// By jobs; the restores' tests have their backups of one process.
TEST_F(BackupSystem, StoresEveryByteAndLeavesNoSnapshot) {
  std::filesystem::remove_all(repository_);
  const Outcome outcome = run({"backup", subscription, "--init", "--jobs", "2"});
  ASSERT_EQ(outcome.exit_code, 0) << outcome.output << outcome.error;
  const auto stored = manifests();
  ASSERT_EQ(stored.size(), 2U);
  EXPECT_EQ(stored[0].machine, subscription + "/Data_RG.1/DB-01");
  std::vector<std::string> digests;
  std::string texts = outcome.output + outcome.error + log();
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
  const sim::AnswerWith refused = error_answer(409, "Conflict", "not now");
  cloud_.add_fault({.method = "POST", .target = "eginGetAccess", .times = sim::Fault::forever, .action = refused});
  EXPECT_THAT(run({"backup", subscription}),
              Ends(3, {"NOT PROTECTED: " + subscription + "/web-rg/web-01/ManagedDisks:"}));
  EXPECT_EQ(cloud_.unused_faults(), std::vector<std::string>{});
  const auto stored = manifests();
  ASSERT_EQ(stored.size(), 1U);
  EXPECT_EQ(stored[0].machine, subscription + "/Data_RG.1/DB-01");
  EXPECT_EQ(snapshot_requests("PUT"), snapshot_requests("DELETE"));

  // Whoever takes the snapshots, the discovery, each machine, or the discovery because nothing is said.
  const std::string config = test_support::read_file(config_);
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

TEST_F(BackupSystem, RunsAgainAtOnceWhereverItWasKilled) {
  const std::string machine = subscription + "/Data_RG.1/DB-01";
  ASSERT_EQ(run({"backup", machine}).exit_code, 0);
  const std::uintmax_t whole = log().size();
  const std::uintmax_t points = std::getenv("AZS_LONG") != nullptr ? 30 : 5;
  for (std::uintmax_t point = 0; point < points; ++point) {
    SCOPED_TRACE(point);
    std::vector<std::string> arguments{"backup", machine};
    if (point % 2 == 1) arguments.insert(arguments.end(), {"--jobs", "2"});
    kill_within(point, points, whole, arguments);
    EXPECT_THAT(run({"verify"}), Ends(0));
    EXPECT_THAT(run({"backup", machine}), Ends(0));
  }
  EXPECT_EQ(run({"verify"}).exit_code, 0);
  EXPECT_NE(standing_snapshots(), json::array());
  const std::string config = test_support::read_file(config_);
  const std::string all = folder_.write_file("all.conf", "SNAPSHOT_CLEANUP_MIN=0\n" + config);
  EXPECT_EQ(run({"snapshots", "--sweep", subscription}).exit_code, 0);  // none is a day old
  EXPECT_NE(standing_snapshots(), json::array());
  EXPECT_THAT(run({"snapshots", "--sweep", "--config", all, subscription}), Ends(0, {"deleted"}));
  EXPECT_EQ(standing_snapshots(), json::array());
}

// As a job queue does it: each workload file by itself, snapshots from the discovery to the end, a task started anew.
TEST_F(BackupSystem, GoesFromADiscoveryOverItsFilesToTheEnd) {
  const Outcome found = run({"discover", "--keep", folder_.path("work"), "--snapshots", "--json", subscription});
  ASSERT_EQ(found.exit_code, 0) << found.output << found.error;
  const std::string id = json::parse(found.output)["backup_id"];
  EXPECT_EQ(standing_snapshots().size(), 3U);
  for (const auto& file : std::filesystem::directory_iterator(folder_.path("work"))) {
    for (const char* again : {"its disks' snapshots are there", "they are gone"}) {
      EXPECT_THAT(run({"backup", "--workload", file.path()}), Ends(0)) << again;
    }
  }
  for (const host::Manifest& manifest : manifests()) EXPECT_EQ(manifest.backup_id, id);
  EXPECT_EQ(manifests().size(), 2U);
  EXPECT_THAT(run({"finish", "--snapshot", id, subscription}), Ends(0));
  EXPECT_EQ(standing_snapshots(), json::array());
}

// A login that is refused is the cause of everything; one list that fails is one thing not known.
TEST_F(BackupSystem, TellsWhySnapshotsAreNotKnown) {
  const sim::AnswerWith forbidden = error_answer(403, "AuthorizationFailed", "no role here");
  cloud_.add_fault({.target = "/snapshots\\?", .action = forbidden});
  EXPECT_THAT(run({"snapshots", subscription}), Ends(3, {"Not done: managed disks of subscription "}));

  cloud_.add_fault({.target = "/snapshots\\?", .action = forbidden});
  EXPECT_THAT(run({"finish", "--snapshot", "17", subscription}),
              Ends(3, {"Backup 17 is not finished: 0 snapshots deleted, some may be left."}));
  EXPECT_EQ(run({"finish", "--snapshot", "17", subscription}).exit_code, 0);

  cloud_.add_fault({.target = "/snapshots\\?", .action = forbidden});
  EXPECT_THAT(run({"backup", subscription + "/Data_RG.1"}),
              Ends(0, {"warning: snapshots of this backup may be left: managed disks of subscription"}));
  EXPECT_EQ(cloud_.unused_faults(), std::vector<std::string>{});

  cloud_.add_fault({.target = "^/subscriptions", .times = sim::Fault::forever, .action = sim::RefuseToken{}});
  EXPECT_THAT(run({"snapshots", subscription}), Ends(14));
  EXPECT_EQ(run({"finish", "--snapshot", "17", subscription}).exit_code, 14);
}

// What follows from a missing role, a snapshot that is not there, is not told for the cause.
TEST_F(BackupSystem, TellsTheRoleThatSnapshotsLack) {
  const sim::AnswerWith forbidden = error_answer(403, "AuthorizationFailed", "no role here");
  cloud_.add_fault({.method = "PUT", .target = "/snapshots/", .times = sim::Fault::forever, .action = forbidden});
  const std::string config = test_support::read_file(config_);
  for (const char* in_discovery : {"true", "false"}) {
    const std::string own = folder_.write_file(
        "own.conf", std::string("SNAPSHOT_RETRY_COUNT=0\nVM_SNAPSHOT_IN_DISCOVERY=") + in_discovery + "\n" + config);
    EXPECT_THAT(run({"backup", "--config", own, subscription + "/web-rg"}),
                Ends(1, {"AuthorizationFailed: no role here", "Give the login a role"}));
  }
}

}  // namespace
