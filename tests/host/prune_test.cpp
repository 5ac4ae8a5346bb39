// azsbackup prune: what the keep rules and the manifests say may go, and nothing else.
#include "host/prune_plan.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <limits>
#include <nlohmann/json.hpp>

#include "host/console.h"
#include "host/verification.h"
#include "tests/host/saved_machines.h"
#include "tests/host/test_repository.h"

namespace {

using host_test::Ends;
using nlohmann::json;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

constexpr std::int64_t nothing_old = 0;  // the times before which a backup counts as over
constexpr std::int64_t all_old = std::numeric_limits<std::int64_t>::max();
const std::vector<std::string> last_one{"--keep-last", "1"};

class Prune : public host_test::RepositoryTest {
 protected:
  // Of a disk "MACHINE/DISK".
  host::SavedDisk store_stream(std::string disk, const std::string& data, const std::string& backup_id) const {
    disk.insert(disk.find('/'), "/acct.blob.r.example/vhds");
    return host_test::store_disk(restic_, "/s/g/" + disk, data, backup_id);
  }
  void store_manifest(const std::string& machine, const std::string& backup_id,
                      const std::vector<host::SavedDisk>& disks, bool with_tags = true) const {
    host_test::store_manifest(restic_, host_test::manifest_of(machine, backup_id, disks), with_tags);
  }
  std::vector<std::string> streams() const {
    std::vector<std::string> all;
    for (const auto& snapshot : restic_.snapshots(host::disk_tag)) {
      std::string disk = snapshot.path.substr(std::string("/s/g/").size());
      disk.erase(disk.find('/'), disk.rfind('/') - disk.find('/'));
      all.push_back(disk + " " + snapshot.tag("backup"));
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
  host_test::Outcome prune(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), {"prune"});
    return run(arguments);
  }
};

// Machine a: backup 3 is kept, and its manifest names a stream of backup 1 besides its own. Machine b has one backup,
// from before manifests carried the ids of their streams. Backup 4 stored one stream and no manifest.
TEST_F(Prune, KeepsWhatAKeptManifestNames) {
  const auto shared = store_stream("a/data", "shared", "1");
  const auto first = store_stream("a/os", "first", "1");
  store_manifest("/s/g/a", "1", {first, shared});
  store_manifest("/s/g/a", "2", {store_stream("a/os", "second", "2")});
  store_manifest("/s/g/b", "2", {store_stream("b/os", "other", "2")}, false);
  store_manifest("/s/g/a", "3", {store_stream("a/os", "third", "3"), shared});
  store_stream("c/os", "of no manifest", "4");

  const json dry = json::parse(prune({"--keep-last", "1", "--dry-run", "--json"}).output);
  EXPECT_EQ(dry["removed"].size(), 2U) << dry;
  EXPECT_EQ(dry["streams"].size(), 2U) << dry;
  EXPECT_EQ(dry["leftovers"], json::array());
  EXPECT_EQ(streams().size(), 6U);

  EXPECT_THAT(prune({"--keep-last", "1"}),
              Ends(0, {"2 backups with 2 disks and 0 streams left over removed, 2 backups kept."}));
  EXPECT_THAT(streams(), UnorderedElementsAre("a/data 1", "a/os 3", "b/os 2", "c/os 4"));

  host::carry_out(restic_, host::plan_prune(restic_, last_one, all_old));
  EXPECT_THAT(streams(), UnorderedElementsAre("a/data 1", "a/os 3", "b/os 2"));
  expect_all_restorable();
}

// A plan is made before others store: what they have named meanwhile stays.
TEST_F(Prune, KeepsWhatIsNamedAfterThePlan) {
  const auto late = store_stream("a/os", "late", "1");
  store_stream("a/data", "never named", "1");
  const host::PrunePlan plan = host::plan_prune(restic_, last_one, all_old);
  EXPECT_EQ(plan.leftovers.size(), 2U);
  store_manifest("/s/g/a", "1", {late});
  host::carry_out(restic_, plan);
  EXPECT_THAT(streams(), ElementsAre("a/os 1"));
  expect_all_restorable();
}

TEST_F(Prune, RemovesAllOfAMachineThatIsNoMore) {
  store_manifest("/s/g/a", "1", {store_stream("a/os", "first", "1")});
  store_manifest("/s/g/a", "2", {store_stream("a/os", "second", "2")});
  store_manifest("/s/g/ab", "1", {store_stream("ab/os", "other", "1")});
  EXPECT_THAT(prune({"--retired", "/s/g/gone"}), Ends(4));
  EXPECT_THAT(prune({"--retired", "/S/g/A"}), Ends(0));
  EXPECT_THAT(streams(), ElementsAre("ab/os 1"));
}

TEST_F(Prune, RemovesNothingWhenAManifestCannotBeRead) {
  const auto disk = store_stream("a/os", "x", "1");
  host::ResticUpload upload(restic_, std::string("/s/g/a") + host::manifest_name, {host::manifest_tag, "backup=1"});
  upload.write("{}", 2);
  upload.finish();
  store_stream("b/os", "y", "2");
  EXPECT_EQ(prune({"--keep-last", "1", "--leftover-age", "0"}).exit_code, 1);
  EXPECT_EQ(streams().size(), 2U);
}

// While anything of a backup is young, the backup may still run.
TEST_F(Prune, LeavesTheStreamsOfARunningBackup) {
  store_stream("a/os", "x", "1");
  EXPECT_THAT(host::plan_prune(restic_, last_one, nothing_old).leftovers, IsEmpty());
  const std::int64_t stored = host::seconds_of(restic_.snapshots(host::disk_tag).front().time);
  EXPECT_THAT(host::plan_prune(restic_, last_one, stored).leftovers, IsEmpty());
  EXPECT_EQ(host::plan_prune(restic_, last_one, stored + 1).leftovers.size(), 1U);
}

TEST(PruneOptions, HaveToSayWhatToKeep) {
  const std::string prune = "prune --repo /absent --repo-password-file /absent ";
  for (const std::string rules : {"", "--keep-last 0", "--keep-within 14", "--keep-within d", "--keep-within -1d",
                                  "--dry-run", "--keep-last 1 --leftover-age -1"}) {
    EXPECT_EQ(host_test::run_azsbackup(host_test::words(prune + rules), "/absent").exit_code, 2) << rules;
  }
}

// A backup that runs is no damage.
TEST_F(Prune, AndVerifyTellThatTheRepositoryIsInUse) {
  host::ResticUpload upload(restic_, "/s/g/a/disk", {host::disk_tag});
  const std::string much(8U << 20U, 'x');  // more than any pipe takes: restic has its lock
  upload.write(much.data(), much.size());
  EXPECT_THROW(expect_all_restorable(), host::RepositoryInUse);
  EXPECT_THAT(prune({"--keep-last", "1"}), Ends(16, {"when it is done"}));
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
