// What an operator may want to be different in a restored machine, and what is refused of it.
#include "host/restore_changes.h"

#include <gmock/gmock.h>

#include "host/errors.h"

namespace {

using host::GivenChanges;
using testing::HasSubstr;
using testing::ThrowsMessage;

TEST(RestoreChanges, AreRefusedWithWhatIsAllowed) {
  struct Case {
    GivenChanges given;
    std::string words;
  };
  const std::vector<Case> cases = {{{{"Colour=red"}, "", "", false}, "KEY is one of Size, Vnet, Subnet,"},
                                   {{{"size=A1"}, "", "", false}, "KEY is one of"},
                                   {{{"Size"}, "", "", false}, "takes KEY=VALUE"},
                                   {{{"Size="}, "", "", false}, "empty may be Vnet, Subnet, Nsg, PowerState"},
                                   {{{"VmName="}, "", "", false}, "needs a value"},
                                   {{{"Size=A1", "Size=A2"}, "", "", false}, "given twice"},
                                   {{{"VmName=a"}, "b", "", false}, "given twice"},
                                   {{{"PowerState=asleep"}, "", "", false}, "running, stopped, deallocated"},
                                   {{{"Vnet=", "Subnet=a"}, "", "", false}, "Subnet has no effect"},
                                   {{{"Vnet=a/b"}, "", "", false}, "no single name"},
                                   {{{"Vnet=a=b"}, "", "", false}, "no single name"},
                                   {{{"DiskRg=a b"}, "", "", false}, "no single name"},
                                   {{{"Container=.."}, "", "", false}, "no single name"},
                                   {{{"Size=A\n1"}, "", "", false}, "no single name"},
                                   {{{}, "a/b", "", false}, "no single name"},
                                   {{{}, "", "s/g/vm", false}, "SUBSCRIPTION/GROUP"},
                                   {{{}, "", "s//", false}, "has not the form"},
                                   {{{"Size=A1"}, "", "s", false}, "Size has no effect with --to; what has is Vnet,"},
                                   {{{}, "new", "s", false}, "VmName has no effect with --to"},
                                   {{{"Nsg="}, "", "", true}, "Nsg has no effect with --disks-only"}};
  for (const Case& given : cases) {
    EXPECT_THAT([&] { host::read_changes(given.given); }, ThrowsMessage<host::UsageError>(HasSubstr(given.words)));
  }
}

// Whatever does not change the configuration leaves the plug-in to keep it.
TEST(RestoreChanges, KeepTheConfigurationUnlessItIsWhatChanges) {
  const auto keeps = [](std::vector<std::string> settings, const std::string& to = "") {
    return host::read_changes({std::move(settings), "", to, false}).keeps_configuration();
  };
  EXPECT_TRUE(keeps({}));
  EXPECT_TRUE(keeps({"StagingStorageAccount=a", "DiskRg=g", "StorageAccount=a.blob.b.c", "Container=c"}));
  EXPECT_TRUE(keeps({"Vnet=n", "Nsg=", "PowerState=Stopped"}, "s/g"));
  EXPECT_FALSE(keeps({"Nsg="}));
  EXPECT_FALSE(keeps({"BootDiagnostics=https://a.blob.b.c/"}));
}

}  // namespace
