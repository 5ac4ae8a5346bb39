// azsbackup prune: what the keep rules and the manifests say may go, and nothing else.
#include "host/prune_plan.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <limits>
#include <nlohmann/json.hpp>

#include "host/console.h"
#include "host/sha256.h"
#include "host/verification.h"
#include "tests/host/program.h"
#include "tests/host/saved_machines.h"
#include "tests/host/test_repository.h"

namespace {

using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

constexpr std::int64_t nothing_old = 0;  // the times before which a backup counts as over
constexpr std::int64_t all_old = std::numeric_limits<std::int64_t>::max();
const std::vector<std::string> last_one{"--keep-last", "1"};

class Prune : public testing::Test {
 protected:
  Prune() { host_test::make_repository(folder_.path("repository")); }

  host::SavedDisk store_stream(const std::string& path, const std::string& data, const std::string& backup_id) const {
    host::Sha256 digest;
    digest.update(data.data(), data.size());
    host::ResticUpload upload(restic_, path, {host::disk_tag, host::backup_tag(backup_id)});
    upload.write(data.data(), data.size());
    return {path, data.size(), data.size(), 0, digest.finish(), restic_.find(upload.finish())->id};
  }
  // Without tags of its streams it looks like one of an older azsbackup.
  void store_manifest(const std::string& machine, const std::string& backup_id,
                      const std::vector<host::SavedDisk>& disks, bool with_tags = true) const {
    std::vector<std::string> tags{host::manifest_tag, host::backup_tag(backup_id)};
    for (const auto& disk : disks) {
      if (with_tags) tags.push_back(std::string(host::stream_tag_name) + "=" + disk.snapshot);
    }
    const std::string text = host::manifest_text(host_test::manifest_of(machine, backup_id, disks));
    host::ResticUpload upload(restic_, machine + host::manifest_name, tags);
    upload.write(text.data(), text.size());
    upload.finish();
  }
  std::vector<std::string> streams() const {
    std::vector<std::string> all;
    for (const auto& snapshot : restic_.snapshots(host::disk_tag)) {
      all.push_back(snapshot.path + " " + snapshot.tag("backup"));
    }
    return all;
  }
  void expect_all_restorable() const {
    const host::Console console(2);
    host::Progress progress(console, true);
    const auto verification = host::verify_repository(restic_, host::list_manifests(restic_), progress);
    EXPECT_EQ(verification.structure, "");
    for (const auto& backup : verification.backups) EXPECT_THAT(backup.damages, IsEmpty()) << backup.entry.machine;
  }
  host_test::Outcome run(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), "prune");
    arguments.insert(arguments.end(), {"--log-file", folder_.path("log"), "--repo", folder_.path("repository"),
                                       "--repo-password-file", password_});
    return host_test::run_azsbackup(arguments, folder_.path("home"));
  }

  const test_support::TemporaryDirectory folder_;
  const std::string password_ = folder_.write_file("password", "hunter2");
  const host::Restic restic_{{folder_.path("repository"), password_, ""}};
};

// Machine a: backup 3 is kept, and its manifest names a stream of backup 1 besides its own. Machine b has one backup,
// from before manifests carried the ids of their streams. Backup 4 stored one stream and no manifest.
TEST_F(Prune, KeepsWhatAKeptManifestNames) {
  const auto shared = store_stream("/s/g/a/acct.blob.r.example/vhds/data", "shared", "1");
  const auto first = store_stream("/s/g/a/acct.blob.r.example/vhds/os", "first", "1");
  store_manifest("/s/g/a", "1", {first, shared});
  store_manifest("/s/g/a", "2", {store_stream("/s/g/a/acct.blob.r.example/vhds/os", "second", "2")});
  store_manifest("/s/g/b", "2", {store_stream("/s/g/b/acct.blob.r.example/vhds/os", "other", "2")}, false);
  store_manifest("/s/g/a", "3", {store_stream("/s/g/a/acct.blob.r.example/vhds/os", "third", "3"), shared});
  store_stream("/s/g/c/acct.blob.r.example/vhds/os", "of no manifest", "4");

  const json dry = json::parse(run({"--keep-last", "1", "--dry-run", "--json"}).output);
  EXPECT_EQ(dry["removed"].size(), 2U) << dry;
  EXPECT_EQ(dry["streams"].size(), 2U) << dry;
  EXPECT_EQ(dry["leftovers"], json::array());
  EXPECT_EQ(streams().size(), 6U);

  const host_test::Outcome outcome = run({"--keep-last", "1"});
  EXPECT_EQ(outcome.exit_code, 0) << outcome.error;
  EXPECT_THAT(outcome.output, HasSubstr("2 backups with 2 disks and 0 streams left over removed, 2 backups kept."));
  EXPECT_THAT(streams(),
              UnorderedElementsAre("/s/g/a/acct.blob.r.example/vhds/data 1", "/s/g/a/acct.blob.r.example/vhds/os 3",
                                   "/s/g/b/acct.blob.r.example/vhds/os 2", "/s/g/c/acct.blob.r.example/vhds/os 4"));

  host::carry_out(restic_, host::plan_prune(restic_, last_one, all_old));
  EXPECT_THAT(streams(),
              UnorderedElementsAre("/s/g/a/acct.blob.r.example/vhds/data 1", "/s/g/a/acct.blob.r.example/vhds/os 3",
                                   "/s/g/b/acct.blob.r.example/vhds/os 2"));
  expect_all_restorable();
}

// A plan is made before others store: what they have named meanwhile stays.
TEST_F(Prune, KeepsWhatIsNamedAfterThePlan) {
  const auto late = store_stream("/s/g/a/acct.blob.r.example/vhds/os", "late", "1");
  store_stream("/s/g/a/acct.blob.r.example/vhds/data", "never named", "1");
  const host::PrunePlan plan = host::plan_prune(restic_, last_one, all_old);
  EXPECT_EQ(plan.leftovers.size(), 2U);
  store_manifest("/s/g/a", "1", {late});
  host::carry_out(restic_, plan);
  EXPECT_THAT(streams(), ElementsAre("/s/g/a/acct.blob.r.example/vhds/os 1"));
  expect_all_restorable();
}

TEST_F(Prune, RemovesAllOfAMachineThatIsNoMore) {
  store_manifest("/s/g/a", "1", {store_stream("/s/g/a/acct.blob.r.example/vhds/os", "first", "1")});
  store_manifest("/s/g/a", "2", {store_stream("/s/g/a/acct.blob.r.example/vhds/os", "second", "2")});
  store_manifest("/s/g/ab", "1", {store_stream("/s/g/ab/acct.blob.r.example/vhds/os", "other", "1")});
  EXPECT_EQ(run({"--retired", "/s/g/gone"}).exit_code, 4);
  const host_test::Outcome outcome = run({"--retired", "/S/g/A"});
  EXPECT_EQ(outcome.exit_code, 0) << outcome.error;
  EXPECT_THAT(streams(), ElementsAre("/s/g/ab/acct.blob.r.example/vhds/os 1"));
}

TEST_F(Prune, RemovesNothingWhenAManifestCannotBeRead) {
  const auto disk = store_stream("/s/g/a/acct.blob.r.example/vhds/os", "x", "1");
  host::ResticUpload upload(restic_, std::string("/s/g/a") + host::manifest_name, {host::manifest_tag, "backup=1"});
  upload.write("{}", 2);
  upload.finish();
  store_stream("/s/g/b/acct.blob.r.example/vhds/os", "y", "2");
  EXPECT_EQ(run({"--keep-last", "1", "--leftover-age", "0"}).exit_code, 1);
  EXPECT_EQ(streams().size(), 2U);
}

// While anything of a backup is young, the backup may still run.
TEST_F(Prune, LeavesTheStreamsOfARunningBackup) {
  store_stream("/s/g/a/acct.blob.r.example/vhds/os", "x", "1");
  EXPECT_THAT(host::plan_prune(restic_, last_one, nothing_old).leftovers, IsEmpty());
  const std::int64_t stored = host::seconds_of(restic_.snapshots(host::disk_tag).front().time);
  EXPECT_THAT(host::plan_prune(restic_, last_one, stored).leftovers, IsEmpty());
  EXPECT_EQ(host::plan_prune(restic_, last_one, stored + 1).leftovers.size(), 1U);
}

TEST(PruneOptions, HaveToSayWhatToKeep) {
  const std::vector<std::vector<std::string>> refused = {{},
                                                         {"--keep-last", "0"},
                                                         {"--keep-within", "14"},
                                                         {"--keep-within", "d"},
                                                         {"--keep-within", "-1d"},
                                                         {"--dry-run"},
                                                         {"--keep-last", "1", "--leftover-age", "-1"}};
  for (std::vector<std::string> arguments : refused) {
    arguments.insert(arguments.begin(), {"prune", "--repo", "/absent", "--repo-password-file", "/absent"});
    EXPECT_EQ(host_test::run_azsbackup(arguments, "/absent").exit_code, 2) << arguments.back();
  }
}

// A backup that runs is no damage.
TEST_F(Prune, AndVerifyTellThatTheRepositoryIsInUse) {
  host::ResticUpload upload(restic_, "/s/g/a/disk", {host::disk_tag});
  const std::string much(8U << 20U, 'x');  // more than any pipe takes: restic has its lock
  upload.write(much.data(), much.size());
  EXPECT_THROW(expect_all_restorable(), host::RepositoryInUse);
  const host_test::Outcome pruned = run({"--keep-last", "1"});
  EXPECT_EQ(pruned.exit_code, 16);
  EXPECT_THAT(pruned.error, testing::HasSubstr("when it is done"));
}

TEST(PruneTimes, AreRead) {
  EXPECT_EQ(host::seconds_of("2023-11-14T22:13:20Z"), 1'700'000'000);
  EXPECT_EQ(host::seconds_of("2023-11-14T23:43:20.123456789+01:30"), 1'700'000'000);
  // What is newest is restored: the clocks of two hosts, or of one in autumn, are an hour or more apart.
  const std::vector<std::string> in_order = {"2023-11-15T07:13:20+09:00", "2023-11-14T14:13:20.1-08:00",
                                             "2023-11-14T22:13:20.12Z", "2023-11-14T14:13:21-08:00"};
  EXPECT_TRUE(std::is_sorted(in_order.begin(), in_order.end(), host::is_earlier));
  for (const char* text : {"", "2023-11-14", "2023-11-14T22:13:20", "2023-11-14T22:13:20.5", "x"}) {
    EXPECT_EQ(host::seconds_of(text), std::numeric_limits<std::int64_t>::max()) << text;
  }
}

}  // namespace
