// azsbackup backup and what looks at a repository, with a fake plug-in and a real restic.
#include <gmock/gmock.h>

#include <filesystem>
#include <nlohmann/json.hpp>

#include "host/manifest.h"
#include "tests/host/saved_machines.h"
#include "tests/host/test_repository.h"

namespace {

using host_test::Ends;
using host_test::Outcome;
using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

const std::string first = "/s/g/first";
const std::string second = "/s/g/second";
const std::string disk = "/acct.blob.r1.stack.example/vhds/os.vhd";

class Backup : public host_test::RepositoryTest {
 protected:
  Outcome run_on_fake(const std::string& kind, const std::vector<std::string>& arguments) const {
    return run(arguments, {"AZSBACKUP_PLUGIN=" FAKE_PLUGIN, "AZSBACKUP_SERVER=" + kind + ".r1.stack.example"});
  }
  Outcome backup(const std::string& kind, std::vector<std::string> more = {"/s"}) const {
    more.insert(more.begin(), {"backup"});
    return run_on_fake(kind, more);
  }
  void start_anew() const {
    std::filesystem::remove_all(repository_);
    host_test::make_repository(repository_);
    std::filesystem::remove(log_);
  }
  std::vector<std::string> protected_machines() const {
    std::vector<std::string> machines;
    for (const auto& entry : host::list_manifests(restic_)) machines.push_back(entry.machine);
    return machines;
  }
  std::vector<std::string> streams() const {
    std::vector<std::string> paths;
    for (const auto& snapshot : restic_.snapshots(host::disk_tag)) paths.push_back(snapshot.path);
    return paths;
  }
};

TEST_F(Backup, ProtectsWhatItFinds) {
  const Outcome outcome = backup("fine", {"/s", "--json"});
  ASSERT_EQ(outcome.exit_code, 0) << outcome.output << outcome.error << log();
  EXPECT_EQ(outcome.error, "");
  EXPECT_THAT(protected_machines(), ElementsAre(first, second));
  const json report = json::parse(outcome.output);
  EXPECT_EQ(report["result"], "ok");
  EXPECT_THAT(report["machines"][0]["warnings"][0]["what"], HasSubstr("crash-consistent"));
  EXPECT_EQ(report["machines"][1]["warnings"], json::array());

  const auto entries = host::list_manifests(restic_);
  const host::Manifest manifest = host::load_manifest(restic_, entries[0]);
  EXPECT_TRUE(manifest.crash_consistent);
  EXPECT_EQ(manifest.backup_id, report["backup_id"]);
  ASSERT_EQ(manifest.disks.size(), 1U);
  EXPECT_EQ(manifest.disks[0].size, 8U << 20U);
  EXPECT_EQ(manifest.disks[0].skipped, 3U << 20U);
  EXPECT_EQ(manifest.disks[0].stream_bytes, 512U + (5U << 20U));
  EXPECT_EQ(manifest.objects.back().path, first + "/Metadata/VmName=first");
  EXPECT_THAT(*manifest.objects.back().data, HasSubstr("/virtualMachines/first"));
  EXPECT_EQ(manifest.objects[2].path, first + "/Metadata/Size=A1");
  EXPECT_EQ(manifest.objects[2].data, std::nullopt);
  EXPECT_THAT(log(), HasSubstr("close " + second + disk + "\n"));
  EXPECT_THAT(log(), HasSubstr("sweep /s\n"));

  EXPECT_EQ(backup("fine", {"/s"}).exit_code, 0);  // a second one into the same repository
  EXPECT_EQ(protected_machines().size(), 4U);
}

// A stream that did not come whole is nowhere in the repository, what was opened is closed, and the other machine and
// the sweep are not touched by it.
TEST_F(Backup, LeavesNothingOfADiskThatFails) {
  struct Case {
    std::string kind;
    std::string words;
    std::string last_call;  // about the disk
  };
  const std::vector<Case> cases = {{"breaks", "cannot be read: the operation failed (status 6614)", "close "},
                                   {"early", "5243391 bytes of 5243392", "close "},
                                   {"empty", "a size of 0 bytes", "release "},
                                   {"locked", "cannot be opened: the disk's snapshot is not exported", "release "}};
  for (const Case& given : cases) {
    start_anew();
    EXPECT_THAT(backup(given.kind), Ends(3, {std::string("NOT PROTECTED: ").append(first).append(disk), given.words,
                                             "1 machine protected, 1 not."}))
        << given.kind;
    EXPECT_THAT(protected_machines(), ElementsAre(second));
    EXPECT_THAT(streams(), ElementsAre(second + disk));
    EXPECT_THAT(log(), HasSubstr(std::string(given.last_call).append(first).append(disk).append("\n")));
    EXPECT_THAT(log(), HasSubstr("sweep /s\n"));
  }
}

TEST_F(Backup, ProtectsNothingThatARestoreWouldRefuse) {
  EXPECT_THAT(backup("foreign"), Ends(3, {"NOT PROTECTED: "}));
  EXPECT_THAT(protected_machines(), ElementsAre(second));
}

// Each machine is a job's of its own here. What happens to the first one's job is nothing to the second, and the end of
// the backup is done once, whatever happens.
TEST_F(Backup, RunsJobsThatDoNotHurtEachOther) {
  struct Case {
    std::string kind;
    int exit_code;
    std::string words;  // about the first machine
  };
  const std::vector<Case> cases = {{"fine", 0, "copy is crash-consistent"},
                                   {"breaks", 3, "cannot be read: the operation failed (status 6614)"},
                                   {"signal", 3, "stopped by a signal"},
                                   {"killed", 3, "the job of w.1 was ended by signal 9"}};
  for (const Case& given : cases) {
    start_anew();
    const Outcome outcome = backup(given.kind, {"/s", "--jobs", "2", "--json"});
    EXPECT_EQ(outcome.exit_code, given.exit_code) << given.kind << outcome.output << outcome.error;
    const json report = json::parse(outcome.output);
    ASSERT_EQ(report["machines"].size(), 2U) << outcome.output;
    const bool in_order = report["machines"][0]["path"] == first;
    const json& hurt = report["machines"][in_order ? 0 : 1];
    EXPECT_THAT(hurt.dump(), HasSubstr(given.words));
    EXPECT_EQ(hurt["protected"], given.exit_code == 0);
    EXPECT_EQ(report["machines"][in_order ? 1 : 0]["disks"][0]["stream_bytes"], 512 + (5 << 20));
    EXPECT_EQ(protected_machines().size(), given.exit_code == 0 ? 2U : 1U);
    EXPECT_EQ(streams().size(), given.exit_code == 0 ? 2U : 1U);
    const std::string swept = log();
    EXPECT_THAT(swept, HasSubstr("sweep /s\n"));
    EXPECT_EQ(swept.find("sweep"), swept.rfind("sweep"));
  }
}

TEST_F(Backup, GoesOnWithoutASettingOfUnmanagedDisks) {
  EXPECT_THAT(backup("unset"), Ends(0, {"Set VM_SNAPSHOT_IN_DISCOVERY and ASYNC_SNAPSHOT_SUPPORT"}));
}

TEST_F(Backup, LeavesTheEndOfAWorkloadFileToFinish) {
  ASSERT_EQ(run_on_fake("fine", {"discover", "/s", "--keep", folder_.path("w")}).exit_code, 0);
  EXPECT_THAT(backup("fine", {"--workload", folder_.path("w/w.1")}), Ends(0));
  EXPECT_THAT(protected_machines(), ElementsAre(first, second));
  EXPECT_THAT(log(), Not(HasSubstr("sweep")));
  EXPECT_EQ(run_on_fake("fine", {"finish", "/s", "--snapshot", "17"}).exit_code, 0);
  EXPECT_THAT(log(), HasSubstr("sweep /s\n"));
}

TEST_F(Backup, IsListedAndShown) {
  EXPECT_EQ(run({"list"}).exit_code, 4);
  EXPECT_EQ(run({"list", "--repo", folder_.path("absent")}).exit_code, 16);
  ASSERT_EQ(backup("breaks").exit_code, 3);
  const Outcome list = run({"list"});
  EXPECT_EQ(list.exit_code, 0);
  EXPECT_THAT(list.output, HasSubstr(second + "\n  "));
  EXPECT_THAT(list.output, Not(HasSubstr(first)));
  const Outcome show = run({"show", "/S/G/SECOND"});
  EXPECT_EQ(show.exit_code, 0);
  EXPECT_THAT(show.output, HasSubstr("8.0 MiB disk, 5.0 MiB read, 3.0 MiB unallocated"));
  EXPECT_THAT(show.output, HasSubstr("\n  PowerState=deallocated\n"));
  const json shown = json::parse(run({"show", second, "--json"}).output);
  EXPECT_EQ(shown["backup"]["disks"][0]["status"], "complete");
  EXPECT_EQ(run({"show", first}).exit_code, 4);
  EXPECT_EQ(run({"list", "--backup", "17"}).exit_code, 4);
  EXPECT_EQ(run({"show"}).exit_code, 2);
}

TEST_F(Backup, IsVerifiedByTheBytesInTheRepository) {
  ASSERT_EQ(backup("fine").exit_code, 0);
  EXPECT_EQ(run({"verify"}).exit_code, 0);

  auto manifests = host::list_manifests(restic_);
  const host::ManifestEntry entry = *std::find_if(manifests.begin(), manifests.end(),
                                                  [](const auto& candidate) { return candidate.machine == first; });
  host::Manifest manifest = host::load_manifest(restic_, entry);
  const host::SavedDisk good = manifest.disks[0];
  restic_.forget({entry.snapshot.id});
  manifest.backup_id = "1";
  manifest.disks[0].sha256 = std::string(64, '0');
  const std::string wrong = host_test::store_manifest(restic_, manifest);
  EXPECT_THAT(run({"verify"}), Ends(3, {"DAMAGED  " + first + "  1\n           " + first + disk + " is not what was",
                                        "ok       " + second}));
  EXPECT_EQ(run({"verify", second}).exit_code, 0);

  manifest.disks[0] = good;
  const auto whole = manifest.objects;
  manifest.objects.pop_back();  // the last one is the machine's configuration
  const std::string hollow = host_test::store_manifest(restic_, manifest);
  EXPECT_THAT(run({"verify", first}).output, HasSubstr("VmName is missing"));
  restic_.forget({hollow});
  manifest.objects = whole;
  host_test::store_manifest(restic_, manifest);
  restic_.forget({wrong, good.snapshot});
  EXPECT_THAT(run({"verify"}), Ends(3, {"is missing in the repository"}));

  // Both machines have the same data, so a damaged pack hurts the one that is left.
  host_test::damage_repository(repository_);
  const json damaged = json::parse(run({"verify", "--json"}).output);
  EXPECT_EQ(damaged["exit_code"], 1);
  EXPECT_THAT(damaged["backups"].dump(), HasSubstr(second + disk + " cannot be read"));

  std::filesystem::remove_all(repository_ + "/index");
  EXPECT_FALSE(json::parse(run({"verify", "--json"}).output)["structure"].is_null());
}

// Nothing is asked of the cloud for a repository that cannot take it.
TEST_F(Backup, LooksAtTheRepositoryFirst) {
  EXPECT_THAT(backup("fine", {"/s", "--repo", folder_.path("absent")}), Ends(16, {"Is there a repository"}));
  EXPECT_THAT(backup("fine", {"/s", "--init", "--repo-password-file", folder_.write_file("wrong", "x")}),
              Ends(16, {"wrong password"}));
  EXPECT_THAT(log(), Not(HasSubstr("opened")));
  for (const std::string arguments : {"", "/s --workload /w", "/s --repo-password-command x", "/s --jobs 0",
                                      "/s --jobs 9", "--jobs 2 --workload /w", "/s --jobs 2 --config /dev/null"}) {
    EXPECT_EQ(backup("fine", host_test::words(arguments)).exit_code, 2) << arguments;
  }
}

}  // namespace
