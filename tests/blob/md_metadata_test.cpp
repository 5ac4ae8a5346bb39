// The path of a managed disk, and the name of the disk that a restore makes of it.
#include "src/blob/md_metadata.h"

#include <gtest/gtest.h>

#include "tests/support/fake_clock.h"
#include "tests/support/log_transcript.h"

namespace azurestackpi {
namespace {

TEST(MdMetadataTest, TakesThePathApart) {
  const test_support::FakeClock clock;
  const md_metadata disk("/s/g/m/ManagedDisks:Standard_LRS/dg/disk1/");
  ASSERT_TRUE(disk.isValidPath());
  EXPECT_EQ(disk.getSubId(), "s");
  EXPECT_EQ(disk.getVMRgName(), "g");
  EXPECT_EQ(disk.getVMName(), "m");
  EXPECT_EQ(disk.getDiskStaType(), "Standard_LRS");
  EXPECT_EQ(disk.getDiskRgName(), "dg");
  EXPECT_EQ(disk.getDiskName(), "disk1");
  EXPECT_EQ(disk.getUniqDiskId(),
            "/subscriptions/s/resourceGroups/dg/providers/Microsoft.Compute/disks/disk1-RESTORE-1700000000");
}

TEST(MdMetadataTest, RefusesWhatIsNotAManagedDisk) {
  struct Case {
    const char* path;
    const char* line;
  };
  const std::vector<Case> cases{
      {"", "Managed disk path is not valid."},
      {"//s/g/m/ManagedDisks:Standard_LRS/dg/disk1", "Managed disk path is not valid."},
      {"/s/g/m/ManagedDisks:Standard_LRS/dg", "Managed disk path is not valid."},
      {"/s/g/m/acct.blob.local/vhds/a.vhd", "Not a managed disk path."},
      {"/s/g/m/xManagedDisks:Standard_LRS/dg/disk1", "Not a managed disk path."},
      {"/s/g/m/ManagedDisks:/dg/disk1", "storage account type is empty."},
      {"/s/g/m/ManagedDisks:standard_LRS/dg/disk1", ": Failed to find storage account type=standard_LRS in a valid"},
      {"/s/g/m/ManagedDisks:Standard/dg/disk1", ":  Failed to find storage account type=Standard in a valid"}};
  for (const Case& c : cases) {
    test_support::LogTranscript log;
    const md_metadata disk(c.path);
    EXPECT_FALSE(disk.isValidPath()) << c.path;
    EXPECT_EQ(disk.getSubId() + disk.getUniqDiskName(), "") << c.path;
    EXPECT_TRUE(log.contains(4, c.line)) << c.path << "\n" << log.text();
  }
}

TEST(MdMetadataTest, UniqueNamesStayShortAndCarryOneSuffix) {
  const test_support::FakeClock clock;
  const std::string a58(58, 'a');
  const std::string a40(40, 'a');
  const std::vector<std::pair<std::string, std::string>> cases{
      {"base.vhd.old", "base"},
      {"base-RESTORE-1600000000", "base"},
      {"base-RESTORE-1-RESTORE-2.vhd", "base"},
      {a58, a58},
      {a58 + "b", a58},
      {a58 + "bbb.vhd", a58},
      {a40 + "OsDisk_" + a40, a40 + "OsDisk_"},
      {"OsDisk_" + a40 + "OsDisk_" + a40, "OsDisk_" + a40 + "OsDisk_"},
      {"OsDisk_1", "OsDisk_1"},
      {std::string(50, 'a') + "-RESTORE-1600000000", std::string(50, 'a')},
      {std::string(57, 'a') + "-RESTORE-1600000000", std::string(57, 'a')},
      {a58 + "OsDisk_" + a40, a58},
      {a40 + a40 + "OsDisk_1", a40 + std::string(18, 'a')},
      {a58 + "-RESTORE-1600000000", a58}};
  for (const auto& [name, base] : cases) {
    const md_metadata disk("/s/g/m/ManagedDisks:Premium_ZRS/dg/" + name);
    EXPECT_EQ(disk.getUniqDiskName(), base + "-RESTORE-1700000000") << name;
  }
}

}  // namespace
}  // namespace azurestackpi
