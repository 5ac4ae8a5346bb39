// Restored disks in the places that they had.
#include "src/recovery/attached_disks.h"

#include "tests/recovery/recovery_fixture.h"

namespace recovery_test {
namespace {

using azurestackpi::RestoredDisk;

// "NAME:LUN" of the disks in their order, or the status.
Texts Ordered(bool managed, const Texts& paths) {
  std::vector<RestoredDisk> restored;
  for (const std::string& path : paths) {
    const std::string full = "/s/web-rg/web-01/" + (managed ? "ManagedDisks:Premium_LRS/" + path : path + ".vhd");
    restored.push_back({full, path.substr(path.rfind('/') + 1), true});
  }
  std::vector<azurestackpi::AttachedDisk> disks;
  const Status status = OrderDisks(ParsedMachine(SavedMachine(managed)), restored, managed, disks);
  if (status != azurestackpi::kOk) {
    return {std::to_string(status)};
  }
  Texts places;
  for (const azurestackpi::AttachedDisk& disk : disks) {
    places.push_back(disk.where + ":" + std::to_string(disk.lun));
  }
  return places;
}

TEST(AttachedDisks, HaveTheOrderAndTheLunsOfTheSavedMachine) {
  struct Case {
    bool managed;
    Texts paths;
    Texts places;
  };
  const Case cases[] = {
      {true, {"web-rg/d0", "web-rg/d2", "web-rg/os"}, {"os:0", "d2:2", "d0:0"}},
      {true, {"other/d0", "other/os", "other/d2"}, {"os:0", "d2:2", "d0:0"}},
      {true, {"web-rg/d2", "web-rg/x", "web-rg/os", "web-rg/y"}, {"os:0", "d2:2", "x:0", "y:1"}},
      {true, {"web-rg/x", "web-rg/d0", "web-rg/y", "web-rg/z"}, {"x:0", "d0:0", "y:1", "z:2"}},
      {true, {"web-rg/os", "a/d0", "b/d0"}, {"os:0", "d0:0", "d0:1"}},
      {true, {"web-rg/d0", "web-rg/d2"}, {"6614"}},
      {false, {"old.blob.x/vhds/d0", "old.blob.x/vhds/d2", "old.blob.x/vhds/os"}, {"os:0", "d2:0", "d0:1"}},
      {false, {"new.blob.x/vhds/d2", "new.blob.x/vhds/x", "new.blob.x/vhds/os"}, {"os:0", "d2:0", "x:1"}}};
  for (const Case& one : cases) {
    EXPECT_EQ(Ordered(one.managed, one.paths), one.places);
  }
}

TEST(AttachedDisks, FewerThanBeforeAndAGuessAreTold) {
  test_support::LogTranscript log;
  EXPECT_EQ(Ordered(true, {"web-rg/os"}), Texts{"os:0"});
  EXPECT_TRUE(log.contains(4, "Machine web-01 had 3 disks, of which 1 were restored"));
  EXPECT_FALSE(log.contains(4, "is taken for it"));
  EXPECT_EQ(Ordered(true, {"web-rg/d0", "web-rg/x"}), (Texts{"x:0", "d0:0"}));
  EXPECT_TRUE(log.contains(4, "ManagedDisks:Premium_LRS/web-rg/x is taken for it"));
}

}  // namespace
}  // namespace recovery_test
