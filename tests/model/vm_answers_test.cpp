// Real answers of Resource Manager, each read to what matters of it.
#include <nlohmann/json.hpp>

#include "src/base/text.h"
#include "src/model/azurevm.h"
#include "tests/model/model_fixture.h"

namespace model_test {
namespace {

using namespace azurestackpi;

// Machine, name, subscription, group, role and kind of a managed disk.
std::string Managed(const DiskOwner& owner) {
  const vm_managed_disk_t* const disk = owner.managed();
  return disk == nullptr
             ? "none"
             : disk->m_vm_id + " " + disk->m_disk_name + " " + disk->m_disk_subscription_id + " " +
                   disk->m_disk_resource_group + " " + std::to_string(disk->m_disk_role) + " " + disk->m_disk_kind;
}

class VmAnswersTest : public ModelTest {
 protected:
  // Reads a file as the answer about its machine. Null when that is refused, with the status in `status`.
  const vm_details_t* Read(const std::string& file) { return ReadBody(ReadData(file)); }

  const vm_details_t* ReadBody(const std::string& body) {
    ServeOnce("/virtualMachines/", body);
    const auto description = nlohmann::json::parse(body);
    const std::vector<std::string> id = SplitText(description.value("id", "/subscriptions/sub/resourceGroups/rg"), '/');
    vm_env_t env = Env(id.at(4));
    env.m_subscription_id = id.at(2);
    reader = std::make_unique<azurevm>(rest, env);
    status = reader->GetVmDetails(description.value("name", "nameless"));
    return reader->vm_details().empty() ? nullptr : reader->vm_details().back().get();
  }

  std::unique_ptr<azurevm> reader;  // of the last machine
  azurevm vms{rest, Env()};
  Status status = kOk;
};

TEST_F(VmAnswersTest, EveryMachineIsReadWithItsDisks) {
  Serve("/networkInterfaces/", ReadData("nic-nsg-public-ip-running.json"));
  Serve("/disks/", ReadData("disk-unattached.json"));
  struct Row {
    const char* file;
    const char* expected;  // a description, or why there is none
  };
  const std::vector<Row> rows{
      {"vm-managed-4-data-disks.json",
       "vm4 contoso-rg-1 Standard_DS3_v2 running vm4-nic M:vm4_OsDisk_1:127:Premium_LRS:9999 "
       "M:vm4_d0:128:Standard_LRS:0 M:vm4_d1:128:Standard_LRS:1 M:vm4_d2:128:Standard_LRS:2 "
       "M:vm4_d3:128:Standard_LRS:3"},
      {"vm-managed-linux-2-data-disks-lun-gap-running.json",
       "vm-diskattach-test cli-test-disk000001 Standard_DS1_v2 running vm-diskattach-testVMNic "
       "M:vm-diskattach-test_OsDisk_1_ca5a395aef044f27811d3e779aa6deb1:30:Premium_LRS:9999 M:d1:1:Premium_LRS:0 "
       "M:d2:2:Standard_LRS:2"},
      {"vm-managed-linux-2-nics-deallocated.json",
       "multinicvm1 cli_test_multi_nic_vm000001 Standard_DS3 - nic2 "
       "M:multinicvm1_OsDisk_1_5da007e421b64c0b9a2b9b7223557de2:0:Premium_LRS:9999"},
      {"vm-managed-linux-attached-2-data-disks.json",
       "vm2 clitest.rg000001 Standard_DS1_v2 running vm2VMNic M:sDisk:100:Premium_LRS:9999 "
       "M:vm2_disk2_d087e57486644f2db8ae3418317c9756:3:Premium_LRS:0 M:dDisk:2:Premium_LRS:1"},
      {"vm-managed-linux-plan-data-disk-running.json",
       "vm2 clitest.rg000001 Standard_DS1_v2 running vm2VMNic "
       "M:vm2_disk1_2ff5bdb086704ca380d9cdf5847c0ec0:50:Standard_LRS:9999 "
       "M:vm2_disk2_16fe90735de14c509cd710833547ec19:100:Standard_LRS:0"},
      {"vm-managed-linux-ssh-definition.json", "6789"},
      {"vm-managed-marketplace-plan-definition.json", "6789"},
      {"vm-managed-windows-2-data-disks-2020-06-01.json",
       "myVM myResourceGroup Standard_DS3_v2 - {myNIC} M:myOsDisk:30:Premium_LRS:9999 M:myDataDisk0:30:Premium_LRS:0 "
       "M:myDataDisk1:100:Premium_LRS:1"},
      {"vm-managed-windows-2-empty-data-disks-definition.json", "6789"},
      {"vm-managed-windows-availability-set-definition.json", "6789"},
      {"vm-managed-windows-boot-diagnostics-definition.json", "6789"},
      {"vm-managed-windows-premium-definition.json", "6789"},
      {"vm-managed-windows-secrets-running.json",
       "vm-name clitest.rg000001 Standard_DS1_v2 running vm-nameVMNic "
       "M:vm-name_OsDisk_1_705a3ed62a9941e4995e61bf75bcb7e9:127:Premium_LRS:9999"},
      {"vm-power-state-missing.json",
       "vmps0 contoso-rg-1 Standard_DS3_v2 - vmps0-nic M:vmps0_OsDisk_1:127:Premium_LRS:9999"},
      {"vm-put-attach-managed-data-disk-response-200.json",
       "vm-diskattach-test cli-test-disk000001 Standard_DS1_v2 - vm-diskattach-testVMNic "
       "M:vm-diskattach-test_OsDisk_1_ca5a395aef044f27811d3e779aa6deb1:30:Premium_LRS:9999 M:d1:1:Standard_LRS:0"},
      {"vm-put-attach-vhd-data-disk-response-200.json",
       "vm-datadisk-test cli-test-disk000001 Standard_DS1_v2 - vm-datadisk-testVMNic "
       "V:osdisk_6521d3f89c:30:osdisk_6521d3f89c.vhd V:d7:0:d7.vhd"},
      {"vm-put-boot-diagnostics-off-response-200.json",
       "myvm cli_test_vm_diagnostics000001 Standard_DS1_v2 - myvmVMNic V:osdisk_158e1bac3b:30:osdisk_158e1bac3b.vhd"},
      {"vm-put-new-unmanaged-response-201.json",
       "pyvmirvm122014cf test_mgmt_compute_test_virtual_machines_operations122014cf Standard_A0 - pyvmirnic122014cf "
       "V:test:0:osdisk.vhd"},
      {"vm-unmanaged-linux-2-data-disks.json",
       "vm1 cli_test_vm_with_specialized_unmanaged_disk000001 Standard_DS1_v2 - vm1VMNic "
       "V:osdisk_cd94ce7886:30:osdisk_cd94ce7886.vhd V:vm1-2018-07-20-16-26-18:1:vm1-2018-07-20-16-26-18.vhd "
       "V:vm1-2018-07-20-16-27-14:2:vm1-2018-07-20-16-27-14.vhd"},
      {"vm-unmanaged-linux-attached-data-disk.json",
       "vm2 clitest.rg000001 Standard_DS1_v2 running vm2VMNic V:osdisk_7768afd33a:30:osdisk_7768afd33a.vhd "
       "V:vm1-2022-03-16-19-45-54:2:vm1-2022-03-16-19-45-54.vhd"},
      {"vm-unmanaged-linux-boot-diagnostics.json",
       "myvm cli_test_vm_diagnostics000001 Standard_DS1_v2 - myvmVMNic V:osdisk_158e1bac3b:30:osdisk_158e1bac3b.vhd"},
      {"vm-unmanaged-linux-data-disk-after-attach.json",
       "vm-datadisk-test cli-test-disk000001 Standard_DS1_v2 - vm-datadisk-testVMNic "
       "V:osdisk_6521d3f89c:30:osdisk_6521d3f89c.vhd V:d7:8:d7.vhd"},
      {"vm-unmanaged-linux-deallocated.json",
       "vm-state-mod cli_test_vm_state_mod000001 Standard_DS1_v2 deallocated vm-state-modVMNic "
       "V:osdisk_2c737d7e8e:30:osdisk_2c737d7e8e.vhd"},
      {"vm-unmanaged-linux-running.json",
       "vm-state-mod cli_test_vm_state_mod000001 Standard_DS1_v2 running vm-state-modVMNic "
       "V:osdisk_2c737d7e8e:30:osdisk_2c737d7e8e.vhd"},
      {"vm-unmanaged-linux-stopped.json",
       "vm-state-mod cli_test_vm_state_mod000001 Standard_DS1_v2 stopped vm-state-modVMNic "
       "V:osdisk_2c737d7e8e:30:osdisk_2c737d7e8e.vhd"},
      {"vm-unmanaged-windows-2-data-disks-definition.json",
       "myVM myResourceGroup Standard_D2_v2 - nsgExistingNic V:myVMosdisk:0:myDisk.vhd V:dataDisk0:1023:myDisk0.vhd "
       "V:dataDisk1:1023:myDisk1.vhd"},
      {"vm-unmanaged-windows-custom-image-definition.json",
       "myVM myResourceGroup Standard_D1_v2 - nsgExistingNic V:myVMosdisk:0:myDisk.vhd"},
  };
  for (const Row& row : rows) {
    const vm_details_t* const vm = Read(row.file);
    EXPECT_EQ(vm == nullptr ? std::to_string(status) : Describe(*vm), row.expected) << row.file;
    if (vm != nullptr) {
      EXPECT_EQ(vm->m_network_profile.m_nsg_name, "vm-nameNSG");
      EXPECT_EQ(vm->m_json, ReadData(row.file));
    }
  }
  EXPECT_EQ(Targets("/disks/"),
            std::vector<std::string>{"/subscriptions/00000000-0000-0000-0000-000000000000/resourceGroups/"
                                     "cli_test_multi_nic_vm000001/providers/Microsoft.Compute/disks/"
                                     "multinicvm1_OsDisk_1_5da007e421b64c0b9a2b9b7223557de2?api-version=2017-03-30"})
      << "only a disk whose machine does not tell its type is asked for";
  EXPECT_EQ(Targets("/vm4?"),
            std::vector<std::string>{"/subscriptions/7f3c1f0e-52c4-4f6e-9c0a-3d6f5b1e2a90/resourcegroups/contoso-rg-1/"
                                     "providers/Microsoft.Compute/virtualMachines/"
                                     "vm4?api-version=2017-12-01&$expand=instanceView"});
}

TEST_F(VmAnswersTest, TheRestOfAMachine) {
  Serve("/networkInterfaces/", "{}");
  struct Row {
    const char* file;
    const char* expected;
    std::string (*value)(const vm_details_t&);
  };
  const std::vector<Row> rows{
      {"vm-managed-windows-secrets-running.json",
       R"({"sourceVault":{"id":"/subscriptions/00000000-0000-0000-0000-000000000000/resourceGroups/clitest.rg000001/providers/Microsoft.KeyVault/vaults/vmkeyvault000002"},"vaultCertificates":[{"certificateUrl":"https://vmkeyvault000002.vault.azure.net/secrets/cert1/5521d72ebcf74d1cad26945bd1e68dd4","certificateStore":"My"}]})",
       [](const vm_details_t& vm) { return vm.m_os_profile.m_secrets[0] + vm.m_os_profile.m_secrets[1]; }},
      {"vm-managed-windows-secrets-running.json",
       "MicrosoftWindowsServer WindowsServer 2012-R2-Datacenter latest Windows FromImage ReadWrite westus {}",
       [](const vm_details_t& vm) {
         const vm_image_reference_t& image = vm.m_storage_profile.m_image_reference;
         const vm_os_disk_t& disk = vm.m_storage_profile.m_os_disk;
         return image.m_publisher + " " + image.m_offer + " " + image.m_sku + " " + image.m_version + " " +
                disk.m_os_type + " " + disk.m_create_option + " " + disk.m_caching + " " + vm.m_location + " " +
                vm.m_tags;
       }},
      {"vm-managed-linux-2-data-disks-lun-gap-running.json",
       "9e021fe1-4d4a-4542-a7f5-8b0961e5cdb9 d2 00000000-0000-0000-0000-000000000000 cli-test-disk000001 11 DataDisk "
       "9e021fe1-4d4a-4542-a7f5-8b0961e5cdb9 vm-diskattach-test_OsDisk_1_ca5a395aef044f27811d3e779aa6deb1 "
       "00000000-0000-0000-0000-000000000000 cli-test-disk000001 22 OSDisk",
       [](const vm_details_t& vm) {
         return Managed(vm.m_storage_profile.m_data_disks[1].m_disk) + " " +
                Managed(vm.m_storage_profile.m_os_disk.m_disk);
       }},
      {"vm-managed-linux-attached-2-data-disks.json", "managed ",
       [](const vm_details_t& vm) { return (vm.m_is_managed ? "managed " : "") + vm.m_os_profile.m_computer_name; }},
      {"vm-unmanaged-linux-deallocated.json",
       R"({"thirdtag":"","secondtag":"2","firsttag":"1"} Microsoft.Compute/virtualMachines Succeeded)",
       [](const vm_details_t& vm) {
         return (vm.m_is_managed ? "managed " : "") + vm.m_tags + " " + vm.m_type + " " + vm.m_provisioning_state;
       }},
      {"vm-put-boot-diagnostics-off-response-200.json", "off https://clitestbootdiag000002.blob.core.windows.net/",
       [](const vm_details_t& vm) {
         return (vm.m_boot_diagnostics_enabled ? "on " : "off ") + vm.m_boot_diagnostics_storage_uri;
       }},
      {"vm-unmanaged-linux-boot-diagnostics.json", "on",
       [](const vm_details_t& vm) { return std::string(vm.m_boot_diagnostics_enabled ? "on" : "off"); }}};
  for (const Row& row : rows) {
    const vm_details_t* const vm = Read(row.file);
    ASSERT_NE(vm, nullptr) << row.file;
    EXPECT_EQ(row.value(*vm), row.expected) << row.file;
  }
  EXPECT_TRUE(log.contains(1, "parseOsDisk: line: "));
  EXPECT_TRUE(log.contains(1, ", disablePasswordAuthentication = False"));
}

TEST_F(VmAnswersTest, ADiskWhoseTypeIsNotToldLeavesItsMachineInWithALine) {
  Serve("/networkInterfaces/", "{}");
  for (const char* answer : {"{}", R"({"sku":{"name":null}})"}) {
    log.clear();
    ServeOnce("/disks/", answer);
    EXPECT_NE(Read("vm-managed-linux-2-nics-deallocated.json"), nullptr);
    EXPECT_EQ(status, kOk);
    EXPECT_TRUE(log.contains(4, "Failed to get storageAccountType disk ID: /subscriptions/0000"));
    EXPECT_TRUE(log.contains(4, "Failed to get disk storageAccountType properties for vm multinicvm1"));
  }
  EXPECT_TRUE(log.contains(1, "getDiskStorageAccoutType: Disk suburl "));
}

TEST_F(VmAnswersTest, DisksAreAlsoPrintedOnStandardOutput) {
  Serve("/networkInterfaces/", "{}");
  testing::internal::CaptureStdout();
  EXPECT_NE(Read("vm-unmanaged-linux-data-disk-after-attach.json"), nullptr);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "diskSizeGB: 30\nlun: 0\nname: d7\ncreateOption: Attach\ncaching: ReadOnly\ndiskSizeGB: 8\n");
}

TEST_F(VmAnswersTest, NetworkInterfaces) {
  struct Row {
    const char* file;
    const char* expected;  // network, subnet, security group
  };
  const std::vector<Row> rows{{"nic-nsg-public-ip-running.json", "vm-nameVNET vm-nameSubnet vm-nameNSG"},
                              {"nic-definition.json", "rg1-vnet default nsg"},
                              {"nic-deallocated-no-mac.json", "myvnet mysubnet "},
                              {"nic-location-last.json", "vm1VNET vm1Subnet vm2NSG"},
                              {"nic-put-definition-response.json", "rg1-vnet default "},
                              {"nic-put-response-201.json", "myvnet mysubnet "}};
  for (const Row& row : rows) {
    ServeOnce(std::string("/networkInterfaces/") + row.file, ReadData(row.file));
    vm_details_t vm;
    EXPECT_EQ(vms.GetNetworkInterfaceDetails(std::string("/s/networkInterfaces/") + row.file, vm), kOk);
    const vm_network_profile_t& network = vm.m_network_profile;
    EXPECT_EQ(network.m_vnet_name + " " + network.m_subnet + " " + network.m_nsg_name, row.expected) << row.file;
    EXPECT_TRUE(network.m_vnet_id.ends_with("/virtualNetworks/" + network.m_vnet_name)) << network.m_vnet_id;
  }
  EXPECT_EQ(Targets("nic-definition"),
            std::vector<std::string>{"/s/networkInterfaces/nic-definition.json?api-version=2017-10-01"});
  EXPECT_FALSE(log.contains(4, "names no virtual network"));
  ServeOnce("/networkInterfaces/strange", R"({"properties":{"ipConfigurations":[{"properties":{"subnet":7}}]}})");
  vm_details_t vm;
  EXPECT_EQ(vms.GetNetworkInterfaceDetails("/s/networkInterfaces/strange", vm), kOk);
  EXPECT_TRUE(log.contains(4, "/s/networkInterfaces/strange names no virtual network"));
}

TEST_F(VmAnswersTest, MachineSizes) {
  const std::vector<std::string> answers{
      ReadData("vmsizes.json"), ReadData("vmsizes-null-nextlink-definition.json"),
      ReadData("vmsizes-older-family.json"),
      R"({"value":[{"name":"a","osDiskSizeInMB":30720},{"name":"b","osDiskSizeInMB":1023},{"name":"c"},
         {"osDiskSizeInMB":2048},{"name":"a","osDiskSizeInMB":1024},{"name":"d","osDiskSizeInMB":-5},null]})"};
  for (const std::string& answer : answers) {
    ServeOnce("/locations/local/vmSizes\\?api-version=2017-12-01$", answer);
    EXPECT_EQ(vms.GetOsDiskSizes(), kOk);
  }
  const std::map<std::string, std::uint64_t>& sizes = vms.os_disk_sizes();
  for (const auto& [name, gigabytes] : std::map<std::string, std::uint64_t>{
           {"Standard_B1ls", 1023}, {"Standard_DS11-1_v2", 1023}, {"a", 30}, {"b", 0}, {"c", 0}, {"d", 0}, {"", 2}}) {
    ASSERT_EQ(sizes.count(name), 1U) << name;
    EXPECT_EQ(sizes.at(name), gigabytes) << name;
  }
  ServeOnce("/vmSizes", "<html>", 200);
  EXPECT_EQ(vms.GetOsDiskSizes(), kBadJson);
  ServeOnce("/vmSizes", "", 403);
  EXPECT_EQ(vms.GetOsDiskSizes(), kCannotCommunicate);
}

}  // namespace
}  // namespace model_test
