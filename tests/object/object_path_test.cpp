// What an object is, told by its path, and which snapshots a clean-up may delete.
#include "src/object/object_path.h"

#include <gtest/gtest.h>

#include <vector>

#include "tests/support/fake_clock.h"
#include "tests/support/log_transcript.h"

namespace azurestackpi {
namespace {

TEST(ObjectPathTest, SlashesAndMarkersTellTheKind) {
  struct Case {
    const char* path;
    bool vm, vhd, md, meta, metafile, contents;
  };
  const std::vector<Case> cases{
      {"/s/r/v", true, false, false, false, false, false},
      {"a/b/c/", true, false, false, false, false, false},
      {"/s/r/v/", false, false, false, false, false, false},
      {"/s/r/v/acct.blob.local.example/vhds/disk.vhd", false, true, false, false, false, false},
      {"/s/r/v/acct.blob.local.example/vhds/disk.vhd/", false, false, false, false, false, false},
      {"/s/r/v/ManagedDisks:a/b/c", false, true, true, false, false, false},
      {"/s/r/v/manageddisks:a/b/c", false, true, false, false, false, false},
      {"/s/r/v/Metadata", false, false, false, false, false, false},
      {"/s/r/v/Metadata/", false, false, false, true, false, false},
      {"/s/r/v/Metadata/Foo=x", false, false, false, true, false, false},
      {"/s/r/v/metadata/Size=x", false, false, false, false, false, false},
      {"/s/r/v/Metadata/Size", false, false, false, true, false, false},
      {"/s/r/v/Metadata/Size=x", false, false, false, true, true, false},
      {"/s/r/v/Metadata/PowerState=", false, false, false, true, true, false},
      {"/s/r/v/Metadata/Key7=x", false, false, false, true, true, false},
      {"/s/r/v/Metadata/RgName=x", false, false, false, true, true, false},
      {"/s/r/v/Metadata/Subnet=x", false, false, false, true, true, false},
      {"/s/r/v/Metadata/SubId=x", false, false, false, true, true, false},
      {"/s/r/v/Metadata/StagingStorageAccount=", false, false, false, true, true, false},
      {"/s/r/v/Metadata/Vnet=a", false, false, false, true, true, true},
      {"/s/r/v/Metadata/Vnet=a/b", false, true, false, true, true, true},
      {"/s/r/v/Metadata/VmName=x", false, false, false, true, true, true},
      {"/s/r/v/Metadata/Nsg=x", false, false, false, true, true, true},
      {"/s/r/v/Metadata/UseManagedDisk=Yes", false, false, false, true, true, true},
      {"/s/r/v/Metadata/BootDiagnostics=Off", false, false, false, true, true, true},
      {"", false, false, false, false, false, false}};
  for (const Case& c : cases) {
    EXPECT_EQ(azurestackpi_is_vmpath(c.path), c.vm) << c.path;
    EXPECT_EQ(azurestackpi_is_vhdpath(c.path), c.vhd) << c.path;
    EXPECT_EQ(azurestackpi_is_mdpath(c.path), c.md) << c.path;
    EXPECT_EQ(azurestackpi_is_metapath(c.path), c.meta) << c.path;
    EXPECT_EQ(azurestackpi_is_metafile(c.path), c.metafile) << c.path;
    EXPECT_EQ(azurestackpi_is_metafile_with_contents(c.path), c.contents) << c.path;
  }
}

TEST(ObjectPathTest, PartsAreCutOut) {
  std::string out = "left from before";
  azurestackpi_get_vmpath("/s/r/v/Metadata/Size=x", out);
  EXPECT_EQ(out, "/s/r/v");
  azurestackpi_get_vmpath("/s/r/v", out);
  EXPECT_EQ(out, "");

  const std::string long_blob(2000, 'b');
  EXPECT_EQ(azurestackpi_get_vhd("/s/r/v/acct.blob.local.example/vhds/" + long_blob, out), kOk);
  EXPECT_EQ(out, "https://acct.blob.local.example/vhds/" + long_blob);
  EXPECT_EQ(azurestackpi_get_vhd("/s/r/v/h/c", out), kInvalidArgument);
  EXPECT_EQ(azurestackpi_get_vhd("/s/r/v/h/c/b/", out), kInvalidArgument);

  const std::vector<std::pair<std::string, std::string>> urls{{"https://acct.blob.local.example/", "acct"},
                                                              {"acct.blob.x.blob.y", "acct"},
                                                              {"https://acct", "acct"},
                                                              {"http://acct.blob.local.example/", "http://acct"},
                                                              {"", ""}};
  for (const auto& [url, account] : urls) {
    azurestackpi_get_storage_account_from_url(url, out);
    EXPECT_EQ(out, account) << url;
  }
}

class SnapshotIdTest : public testing::Test {
 protected:
  static constexpr long kDay = 1440;

  std::string Ago(long seconds) const { return std::to_string(now - seconds); }
  bool MayDelete(const std::string& name, const std::string& search_time = "") {
    return ParseAndValidateMDSnapshotID(prefix + name, search_time, kDay, snapshot, time_text);
  }

  const std::string prefix = "/subscriptions/sub/resourceGroups/rg/providers/Microsoft.Compute/snapshots/";
  test_support::FakeClock clock;
  const long now = clock.now();
  vm_managed_disk_t snapshot;
  std::string time_text;
};

TEST_F(SnapshotIdTest, AnOldOneOfTheFormMayGoAndIsTakenApart) {
  EXPECT_TRUE(MayDelete("vm1_OSDisk_9999_" + Ago(kDay * 60) + "_BDAZSNAP"));
  EXPECT_EQ(snapshot.m_disk_subscription_id, "sub");
  EXPECT_EQ(snapshot.m_disk_resource_group, "rg");
  EXPECT_EQ(snapshot.m_vm_id, "vm1");
  EXPECT_EQ(snapshot.m_disk_kind, "OSDisk");
  EXPECT_EQ(snapshot.m_lun, "9999");
  EXPECT_EQ(time_text, Ago(kDay * 60));
}

TEST_F(SnapshotIdTest, AgeCountsInWholeMinutesAndOnlyWithoutASearchTime) {
  struct Case {
    std::string time;
    std::string search_time;
    bool may_delete;
  };
  const std::string young = Ago(60);
  const std::vector<Case> cases{{Ago(kDay * 60), "", true},
                                {Ago(kDay * 60 - 1), "", false},
                                {Ago(1439L * 60), "", false},
                                {Ago(-3600), "", false},
                                {"99999999999999999999999", "", false},
                                {"1x", "", false},
                                {"-1", "", false},
                                {" 1", "", false},
                                {"0", "", true},
                                {young, young, true},
                                {young, Ago(61), false},
                                {Ago(kDay * 120), young, false},
                                {"abc", "abc", true}};
  for (const Case& c : cases) {
    EXPECT_EQ(MayDelete("vm_DataDisk_0_" + c.time + "_T", c.search_time), c.may_delete)
        << c.time << " searched by " << c.search_time;
  }
}

TEST_F(SnapshotIdTest, AnotherFormIsNeverDeleted) {
  const std::string old = Ago(kDay * 600);
  for (const std::string& name :
       {"vm_OSDisk_0_" + old, "vm_OSDisk_0_" + old + "_T_x", "v_m_OSDisk_0_" + old + "_T", "vm_osdisk_0_" + old + "_T",
        "vm_OSDisk_0_" + old + "_", std::string("vm"), std::string("vm_OSDisk"), std::string("____"), std::string()}) {
    EXPECT_FALSE(MayDelete(name)) << name;
  }
  test_support::LogTranscript log;
  EXPECT_FALSE(ParseAndValidateMDSnapshotID("/a/b", "", 0, snapshot, time_text));
  EXPECT_TRUE(log.contains(4, "Invalid snapshot id  = /a/b"));
  EXPECT_FALSE(ParseAndValidateMDSnapshotID("", "", 0, snapshot, time_text));
}

}  // namespace
}  // namespace azurestackpi
