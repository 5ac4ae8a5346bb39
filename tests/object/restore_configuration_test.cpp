// What a machine's metadata objects make of its configuration, and which targets of disks are refused.

#include "src/base/text.h"
#include "src/object/object_maps.h"
#include "src/object/object_path.h"
#include "src/object/resource_groups.h"
#include "src/object/restore_state.h"
#include "src/object/restored_configuration.h"
#include "tests/object/restore_fixture.h"

namespace backup_test {
namespace {

using namespace azurestackpi;

TEST_F(RestoreTest, MetadataObjectsMakeTheMachinesConfiguration) {
  StartRestore();
  const std::string vm = "/" + subscription + "/web-rg/web-01";
  const auto give = [&](const std::string& object, const std::string& data, std::uint64_t piece) {
    EXPECT_EQ(Ask(vm + "/Metadata/" + object), kNotFoundYet);
    EXPECT_EQ(Restore(vm + "/Metadata/" + object, data, piece), kOk) << object;
  };
  give("UseManagedDisk=YES", "METADATA_FILE", 100);
  give("SubId=other", "dropped", 100);
  give("RgName=", "", 100);
  give("Size=Standard_A1", "", 100);
  give("PowerState=", "", 100);
  give("Vnet=", "/an/id", 100);
  give("Vnet=", "/the/network's/id", 5);
  give("Nsg=wall", "/the/wall's/id", 1);
  EXPECT_EQ(Ask(vm + "/Metadata/Nsg="), kNotFoundYet);
  give("Subnet=inner", "", 100);
  give("Key1=value", "", 100);
  give("BootDiagnostics=DemoDiag1", "METADATA_FILE", 100);
  give("StagingStorageAccount=DemoDisks1", "", 100);
  give("VmName=web-02", "{} behind it", 100);
  const vm_details_t& made = vm_details_recovery_map().at(vm);
  EXPECT_TRUE(made.m_is_managed);
  EXPECT_EQ(made.m_subscription_id, "other");
  EXPECT_EQ(made.m_resource_group + made.m_power_state, "");
  EXPECT_EQ(made.m_vm_size, "Standard_A1");
  EXPECT_EQ(made.m_network_profile.m_vnet_name, "");
  EXPECT_EQ(made.m_network_profile.m_vnet_id, "/the/network's/id");
  EXPECT_EQ(made.m_network_profile.m_nsg_name, "") << "renamed to nothing";
  EXPECT_EQ(made.m_network_profile.m_nsg_id, "/the/wall's/id") << "a query clears no data";
  EXPECT_EQ(made.m_network_profile.m_subnet, "inner");
  EXPECT_TRUE(made.m_boot_diagnostics_enabled);
  EXPECT_EQ(made.m_boot_diagnostics_storage_uri, "demodiag1");
  EXPECT_EQ(made.m_name, "web-02");
  EXPECT_EQ(made.m_json, "{} behind it");
  EXPECT_EQ(made.m_provisioning_state, "NOT_SPECIFIED");
  EXPECT_FALSE(made.m_flag);
  EXPECT_EQ(vm_staging_sta_map().at(vm).name, "DemoDisks1");

  give("BootDiagnostics=oFF", "", 100);
  EXPECT_FALSE(made.m_boot_diagnostics_enabled);
  EXPECT_EQ(made.m_boot_diagnostics_storage_uri, "");
  EXPECT_EQ(Ask(vm + "/Metadata/VmName=a=b"), kInvalidArgument);
  EXPECT_EQ(made.m_name, "web-02");
  EXPECT_TRUE(TellsError("its value holds a \"=\""));
  EXPECT_EQ(Ask(vm), kOk);
  EXPECT_TRUE(made.m_flag);
  EXPECT_EQ(Ask(vm + "/Metadata"), kOk);
  EXPECT_EQ(Ask("/Metadata/Size=x"), kInvalidArgument) << "of no machine";
  EXPECT_EQ(Ask(vm + "/Metadata/Size=\xff"), kInvalidArgument) << "no request could hold it";
  EXPECT_EQ(made.m_vm_size, "Standard_A1");
}

struct TargetCase {
  const char* what;
  std::string objects;  // names of metadata objects that come before the disk, blanks between them
  std::string path;
  Status status;
  std::string line = {};
  std::string staging = {};  // configured accounts; "-" leaves them out
};

class RestoreTargetTest : public RestoreTest {
 protected:
  void Check(const TargetCase& c) {
    SCOPED_TRACE(c.what);
    StartRestore(c.staging == "-" ? Settings{}
                                  : Settings{{"STAGING_STORAGE_ACCOUNTS", c.staging.empty() ? account : c.staging}});
    log.clear();
    std::string vm_path;
    azurestackpi_get_vmpath(c.path, vm_path);
    const std::string metadata = vm_path + "/Metadata/";
    for (const std::string& object : SplitText(c.objects, ' ')) {
      EXPECT_NE(Ask(object == "KEEP" ? vm_path : metadata + object), kInvalidArgument);
    }
    EXPECT_EQ(Ask(c.path), kNotFoundYet) << "a refusal is told later";
    const auto refusal = vm_validation_status().find(vm_path);
    EXPECT_EQ(refusal == vm_validation_status().end() ? kOk : refusal->second, c.status);
    EXPECT_TRUE(c.line.empty() || TellsError(c.line)) << log.text();
    aapi_object_t* object = nullptr;
    EXPECT_EQ(table->create_object(server, c.path.c_str(), nullptr, &object), c.status);
    if (object != nullptr) {
      static_cast<void>(table->close_object(object));
    }
  }
};

TEST_F(RestoreTargetTest, ATargetIsCheckedBeforeItsDiskIsMade) {
  const std::string other = small_world.subscriptions[1].id;
  const std::string of = "/" + subscription;
  const std::string group = "/web-rg/web-01/ManagedDisks:Premium_LRS/";
  const std::string disk = group + "web-rg/d";
  const std::string vhd = PathOf({account, "c", "d.vhd"});
  const std::string vhd_rest = vhd.substr(of.size());
  const char* const unknown = "Failed to find subscription ID =";
  for (const TargetCase& c : std::initializer_list<TargetCase>{
           {"as it was", "SubId=" + subscription, of + disk, kOk},
           {"in other letters", "SubId=" + subscription, of + group + "WEB-RG/d", kOk},
           {"no object came", "", of + disk, kOk},
           {"unknown subscription", "SubId=nowhere", of + disk, kConfigurationInvalid, unknown},
           {"unknown subscription of the path", "", "/nowhere" + disk, kConfigurationInvalid, unknown},
           {"no subscription", "", "/" + disk, kConfigurationInvalid,
            "Ensure that the subscription ID is provided to restore"},
           {"unknown group", "", of + group + "no-rg/d", kConfigurationInvalid,
            "Failed to find disk resource group name=no-rg"},
           {"no group", "", of + group + "/d", kConfigurationInvalid,
            "Ensure that the disk resource group name is provided"},
           {"no type", "", of + "/web-rg/web-01/ManagedDisks:/web-rg/d", kConfigurationInvalid},
           {"a name that is no part of an address", "", of + group + "web-rg/d?x", kConfigurationInvalid},
           {"unknown staging account", "StagingStorageAccount=none", of + disk, kStorageAccountNotFound,
            "Failed to find Staging Storage Account=none under specified target subscription ID="},
           {"chosen over configured", "StagingStorageAccount=DEMOdiag1", of + disk, kOk, "", "none"},
           {"the second configured", "", of + disk, kOk, "", "none  " + account},
           {"unknown configured", "StagingStorageAccount=", of + disk, kStorageAccountNotFound,
            "required for creating managed disk under subscription ID", "none nor"},
           {"none configured", "", of + disk, kStorageAccountNotFound,
            "defined in either rename file or azurestack.conf file", "-"},
           {"staging account of another subscription", "SubId=" + other, of + disk, kStorageAccountNotFound},
           {"kept, its subscription written anew", "KEEP SubId=" + other, of + group + "gone-rg/d", kOk},
           {"kept in its subscription", "KEEP SubId=" + subscription, of + group + "gone-rg/d", kConfigurationInvalid},
           {"a VHD as it was", "SubId=" + subscription, vhd, kOk},
           {"a VHD of no known machine", "", vhd, kOk},
           {"a VHD to an unknown subscription", "SubId=nowhere", vhd, kConfigurationInvalid, unknown},
           {"a VHD to no subscription", "SubId=", vhd, kConfigurationInvalid,
            "Ensure that the subscription ID is provided to restore."},
           {"a kept VHD to an unknown subscription", "KEEP SubId=" + subscription, "/nowhere" + vhd_rest,
            kConfigurationInvalid, unknown},
           {"a VHD to another's account", "SubId=" + other, vhd, kStorageAccountNotFound,
            "Failed to find unmanaged disk Storage Account=demodisks1 in specified subscription ID="},
           {"a VHD to no account", "", of + "/Data_RG.1/DB-01/.blob.x/c/d.vhd", kStorageAccountNotFound}}) {
    Check(c);
  }
}

TEST_F(RestoreTargetTest, AMachineIsRefusedOnceAndAnewAfterItWasForgotten) {
  StartRestore({{"STAGING_STORAGE_ACCOUNTS", account}});
  const std::string vm = "/" + subscription + "/web-rg/web-01";
  ASSERT_EQ(Ask(vm + "/Metadata/SubId=nowhere"), kNotFoundYet);
  EXPECT_EQ(Restore(ManagedPath("os"), ""), kConfigurationInvalid);
  log.clear();
  EXPECT_EQ(Restore(ManagedPath("data"), ""), kConfigurationInvalid);
  EXPECT_FALSE(TellsError("Failed to find subscription ID ="));
  EXPECT_EQ(vm_recovery_map().count(vm), 0U);

  // Its group is made after the refusal.
  azurestackpi_delete_recovery_map_entry(vm);
  ASSERT_EQ(Ask(vm + "/Metadata/SubId=" + subscription), kNotFoundYet);
  Answer("/resourcegroups/", 200, {}, R"({"value":[{"name":"other"}]})");
  EXPECT_EQ(Restore(ManagedPath("os"), ""), kConfigurationInvalid);
  azurestackpi_delete_recovery_map_entry(vm);
  ASSERT_EQ(Ask(vm + "/Metadata/SubId=" + subscription), kNotFoundYet);
  ASSERT_EQ(Ask(ManagedPath("os")), kNotFoundYet);
  ASSERT_EQ(vm_recovery_map().at(vm).size(), 1U);
  const std::string name = vm_recovery_map().at(vm)[0].name;
  EXPECT_EQ(md_metadata_map().at(ManagedPath("os")).getUniqDiskId(), name);
  clock.advance(5);
  ASSERT_EQ(Ask(ManagedPath("os")), kNotFoundYet);
  EXPECT_EQ(vm_recovery_map().at(vm)[0].name, name);
  // The subscription may still change, the name within it not.
  ASSERT_EQ(Ask(vm + "/Metadata/StagingStorageAccount=" + account), kNotFoundYet);
  EXPECT_TRUE(HasResourceGroup(ToLower(subscription), "WEB-rg"));
  EXPECT_FALSE(HasResourceGroup(subscription, ""));
}

TEST_F(RestoreTargetTest, GroupsThatCouldNotBeListedAreAskedForAgain) {
  StartRestore();
  const auto list = [&] {
    return azurestackpi_get_rg_from_subscription(simulator.management_host(), small_world.subscriptions[0].id);
  };
  Answer("/resourcegroups/", 403);
  EXPECT_EQ(Restore(PathOf({account, "c", "d.vhd"}), ""), kConfigurationInvalid);
  Answer("/resourcegroups/", 200, {}, R"({"value":)");
  EXPECT_EQ(list(), kBadJson);
  EXPECT_EQ(list(), kOk);
  simulator.clear_requests();
  EXPECT_EQ(list(), kOk);
  EXPECT_EQ(simulator.requests().size(), 0U);
  EXPECT_EQ(azurestackpi_get_rg_from_subscription(simulator.management_host(), "a/../b"), kInvalidArgument);
}

}  // namespace
}  // namespace backup_test
