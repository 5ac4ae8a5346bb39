// azsbackup restore and export, with a fake plug-in and a real repository.
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>

#include "host/errors.h"
#include "host/vhd_file.h"
#include "sim/vhd_footer.h"
#include "tests/host/saved_machines.h"
#include "tests/host/test_repository.h"

namespace {

using host_test::Ends;
using host_test::managed_disk;
using host_test::manifest_of;
using host_test::Outcome;
using host_test::store_disk;
using host_test::store_manifest;
using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

using Texts = std::vector<std::string>;

constexpr std::int64_t disk_size = 8 << 20;
const std::string first = "/s/g/first";
const std::string second = "/s/g/second";

class Restore : public host_test::RepositoryTest {
 protected:
  void save(const std::string& machine, const std::string& disk = managed_disk) const {
    store_manifest(restic_, manifest_of(machine, "17", {store_disk(restic_, machine + disk, stream_, "17")}));
  }
  Outcome restore(const std::string& kind, Texts more) const {
    std::filesystem::remove(log_);
    more.insert(more.begin(), {"restore"});
    return run(more, {"AZSBACKUP_PLUGIN=" FAKE_PLUGIN, "AZSBACKUP_SERVER=" + kind + ".r1.stack.example"});
  }
  /// The calls of the plug-in in their order, those that are about `machine`.
  Texts calls(const std::string& machine) const {
    Texts calls;
    std::istringstream lines(log());
    for (std::string line; std::getline(lines, line);) {
      const std::size_t start = line.find(" error ");
      const bool is_about = line.find(' ' + machine) != std::string::npos;
      if (start != std::string::npos && is_about) calls.push_back(line.substr(start + 7));
    }
    return calls;
  }
  /// What a whole restore of the machine calls, its paths below `path`.
  static Texts whole_restore(const std::string& machine, const std::string& path) {
    Texts calls{"ask " + path};
    for (const host::SavedObject& object : manifest_of(machine, "17", {}).objects) {
      if (!object.data) continue;
      const std::string at = path + object.path.substr(machine.size());
      calls.insert(calls.end(), {"ask " + at, "create " + at, "write " + at + ": " + *object.data, "close " + at});
    }
    const std::string disk = path + managed_disk;
    const std::string last = path + "/Metadata/VmName=" + machine.substr(machine.rfind('/') + 1);
    calls.insert(calls.end(), {"ask " + disk, "create " + disk, "close " + disk, "make " + last});
    return calls;
  }

  const std::string stream_ = host_test::disk_stream(sim::vhd_footer("os", disk_size - 512));
};

TEST_F(Restore, GivesEverythingBackInItsOrder) {
  save(first);
  save(second);
  const Outcome outcome = restore("fine", {"latest", "--json"});
  ASSERT_EQ(outcome.exit_code, 0) << outcome.output << outcome.error;
  EXPECT_EQ(calls(first), whole_restore(first, first));
  EXPECT_EQ(calls(second), whole_restore(second, second));
  EXPECT_THAT(log(), HasSubstr("end of the restore"));
  const json report = json::parse(outcome.output);
  EXPECT_EQ(report["result"], "ok");
  EXPECT_EQ(report["machines"][1]["target"], second);
  EXPECT_EQ(report["machines"][0]["disks"][0]["name"], "/id/os-RESTORE-7");
  EXPECT_EQ(report["machines"][0]["disks"][0]["stream_bytes_written"], stream_.size());

  EXPECT_EQ(restore("fine", {"17", "FIRST", "--to", "other/group"}).exit_code, 0);
  EXPECT_EQ(calls("/"), [] {
    Texts moved = whole_restore(first, "/other/group/first");
    moved.insert(moved.begin(), {"ask /"});
    return moved;
  }());
}

TEST_F(Restore, RenamesWhatTheOperatorWantsOtherwise) {
  save(first);
  const Outcome outcome = restore("fine", {"17", "--set", "Nsg=", "--set", "Size=B2", first, "--as", "new", "--set",
                                           "DiskRg=g2", "--set", "DiskType=Standard_LRS"});
  ASSERT_EQ(outcome.exit_code, 0) << outcome.output << outcome.error;
  Texts expected = whole_restore(first, first);
  expected.erase(expected.begin());  // the machine itself is not asked for: it does not come back as it was
  for (std::string& call : expected) {
    for (const auto& [from, to] : std::vector<std::pair<std::string, std::string>>{
             {"Size=A1", "Size=B2"}, {"VmName=first", "VmName=new"}, {"Premium_LRS/g/", "Standard_LRS/g2/"}}) {
      const std::size_t found = call.find(from);
      if (found != std::string::npos) call.replace(found, from.size(), to);
    }
  }
  const std::string group = first + "/Metadata/Nsg=";  // it had none, and VmName stays the last
  const auto last = std::find(expected.begin(), expected.end(), "ask " + first + "/Metadata/VmName=new");
  expected.insert(last, {"ask " + group, "create " + group, "close " + group});
  EXPECT_EQ(calls(first), expected);
  EXPECT_THAT(outcome.output, HasSubstr("/s/g/new, configured anew"));

  save(second, "/acct.blob.r1.stack.example/vhds/os.vhd");
  for (const auto& [account, host] :
       std::vector<std::pair<std::string, std::string>>{{"other", "other.blob.r1.stack.example"}, {"a.b.c", "a.b.c"}}) {
    EXPECT_THAT(restore("fine", {"17", second, "--set", "StorageAccount=" + account, "--set", "Container=c"}), Ends(0));
    EXPECT_THAT(log(), HasSubstr("create /s/g/second/" + host + "/c/os.vhd\n"));
  }
  for (const auto& [arguments, words] :
       std::vector<std::pair<Texts, std::string>>{{{"17", second, "--set", "DiskRg=x"}, "DiskRg is for managed disks"},
                                                  {{"17", "--as", "new"}, "name the one"},
                                                  {{"17", "--set", "Colour=red"}, "KEY is one of"}}) {
    EXPECT_THAT(restore("fine", arguments), Ends(2, {words}));
    EXPECT_TRUE(calls("/").empty());
  }
}

TEST_F(Restore, TakesBackOnlyWhatFails) {
  save(first);
  save(second);
  const auto expect_other = [&](const std::string& kind, Texts words) {
    words.emplace_back("1 machine restored, 1 not.");
    EXPECT_THAT(restore(kind, {"17"}), Ends(3, words));
    EXPECT_EQ(calls(second), whole_restore(second, second));
  };
  expect_other("refused",
               {"NOT RESTORED: " + first + managed_disk + " cannot be created: ", "log: Failed to find sub"});
  EXPECT_THAT(log(), Not(HasSubstr("make " + first)));
  expect_other("unmade", {"/id/os-RESTORE-7\n  NOT RESTORED", "Failed to create the VM"});
  host::Manifest damaged = host::load_manifest(restic_, host::list_manifests(restic_)[0]);
  damaged.disks[0].sha256 = std::string(64, '0');
  store_manifest(restic_, damaged);
  expect_other("fine", {"SHA-256 is not the saved one", "os: not complete; taken back"});
  EXPECT_THAT(log(), AllOf(HasSubstr("take back " + first + managed_disk), Not(HasSubstr("make " + first))));

  damaged.machine = second;
  store_manifest(restic_, damaged);
  host::Manifest foreign = damaged;
  foreign.machine = first;
  foreign.disks[0].path = second + managed_disk;
  store_manifest(restic_, foreign);
  EXPECT_THAT(restore("fine", {"17"}), Ends(1, {"the backup of " + first + " is damaged: " + second + managed_disk,
                                                "the backup of " + second + " is damaged: " + first + "/Metadata"}));
  EXPECT_TRUE(calls("/").empty());
}

TEST_F(Restore, TakesBackADiskWhoseStreamCannotBeRead) {
  save(first);
  host_test::damage_repository(repository_);
  EXPECT_THAT(restore("fine", {"17"}), Ends(1, {"NOT RESTORED: restic failed"}));
  EXPECT_THAT(log(), AllOf(HasSubstr("take back " + first), Not(HasSubstr("make "))));
}

TEST_F(Restore, ClosesWhatIsOpenWhenItIsStopped) {
  save(first);
  save(second);
  EXPECT_THAT(restore("signal", {"17"}), Ends(1, {"stopped by a signal", "it was not begun, because of a signal"}));
  EXPECT_THAT(log(), AllOf(HasSubstr("take back " + first + managed_disk), HasSubstr("end of the restore"),
                           Not(HasSubstr("make ")), Not(HasSubstr("ask " + second))));
  EXPECT_EQ(restore("killed", {"17"}).exit_code, -1);
  EXPECT_EQ(restore("fine", {"17"}).exit_code, 0);
}

TEST_F(Restore, NeedsABackupAndAMachineOfThatName) {
  EXPECT_EQ(restore("fine", {"latest"}).exit_code, 4);
  save(first);
  save("/s/h/first");
  EXPECT_EQ(restore("fine", {"16"}).exit_code, 4);
  EXPECT_EQ(restore("fine", {"17", "irst"}).exit_code, 4);
  EXPECT_THAT(restore("fine", {"latest", "first"}), Ends(2, {"\n  /s/g/first\n", "\n  /s/h/first\n"}));
  EXPECT_EQ(restore("fine", {"latest", "g/first"}).exit_code, 0);
}

class Export : public Restore {
 protected:
  Outcome export_disk(Texts more) const {
    more.insert(more.begin(), {"export"});
    return run(more);
  }
  const std::string file_ = folder_.path("disk.vhd");
};

TEST_F(Export, WritesTheDiskItself) {
  save(first);
  ASSERT_THAT(export_disk({"latest", "os", file_}), Ends(0, {"a fixed VHD"}));
  const std::string disk = test_support::read_file(file_);
  ASSERT_EQ(disk.size(), 8U << 20U);
  EXPECT_TRUE(disk.substr(0, 5 << 20) == stream_.substr(512, 5 << 20));
  EXPECT_EQ(disk.find_first_not_of('\0', 5 << 20), disk.size() - 512);
  EXPECT_EQ(sim::fixed_vhd_flaw(disk.substr(disk.size() - 512), disk_size), "");
  struct stat facts {};
  ASSERT_EQ(::stat(file_.c_str(), &facts), 0);
  EXPECT_EQ(facts.st_mode & 0777U, 0600U);
  EXPECT_LT(facts.st_blocks * 512, disk_size);  // holes are holes

  EXPECT_THAT(export_disk({"latest", "os", file_}), Ends(2, {"not overwritten"}));
  EXPECT_EQ(export_disk({"17", "gone", folder_.path("x")}).exit_code, 4);
  save(second);
  EXPECT_THAT(export_disk({"17", "os", folder_.path("x")}), Ends(2, {first + managed_disk, second + managed_disk}));
  EXPECT_EQ(export_disk({"17", second + managed_disk, folder_.path("x")}).exit_code, 0);
}

TEST_F(Export, TellsAndLeavesNothingOfADamagedDisk) {
  const std::string headless = host_test::disk_stream("no footer");
  host::SavedDisk raw = store_disk(restic_, first + managed_disk, headless, "17");
  store_manifest(restic_, manifest_of(first, "17", {raw}));
  const json report = json::parse(export_disk({"17", "os", file_, "--json"}).output);
  EXPECT_EQ(report["format"], "raw");
  EXPECT_EQ(report["footer_problem"], "it has no VHD footer");

  raw.sha256 = std::string(64, '0');
  store_manifest(restic_, manifest_of(first, "17", {raw}));
  std::filesystem::remove(file_);
  EXPECT_THAT(export_disk({"17", "os", file_}), Ends(1, {"SHA-256"}));

  rlimit before{};
  ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
  const rlimit small{1U << 20U, before.rlim_max};
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
  const Outcome too_large = export_disk({"17", "os", file_});
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &before), 0);
  EXPECT_EQ(too_large.exit_code, 1);
  EXPECT_THAT(too_large.error, HasSubstr("File too large"));
  for (const auto& entry : std::filesystem::directory_iterator(folder_.path(""))) {
    EXPECT_THAT(entry.path().filename().string(), Not(HasSubstr("disk.vhd")));
  }

  host::VhdFile file(file_, 512);
  folder_.write_file("disk.vhd", "mine");  // somebody was quicker
  EXPECT_THROW(file.finish(), host::UsageError);
  EXPECT_EQ(test_support::read_file(file_), "mine");
}

}  // namespace
