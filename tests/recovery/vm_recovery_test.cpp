// Recoveries as a host starts them, with the last metadata object of a machine.
#include "src/recovery/vm_recovery.h"

#include <functional>

#include "src/model/resource_calls.h"
#include "src/object/object_maps.h"
#include "tests/recovery/recovery_fixture.h"

namespace recovery_test {
namespace {

const std::string kPip = "PUT publicIPAddresses/new-pip-1700000000";
const std::string kNic = "PUT networkInterfaces/new-nic-1700000000";
const std::string kVm = "PUT virtualMachines/new";
const Texts kAllMade{kPip, kNic, kVm};
const std::string kSorry = R"({"error":{"message":"no \n more","code":"QuotaExceeded"}})";

class VmRecovery : public RecoveryTest {
 protected:
  bool Holds(const std::string& change, const std::string& text) {
    return BodyOf(change).find(text) != std::string::npos;
  }
};

TEST_F(VmRecovery, MakesAMachineOfEitherKind) {
  for (const bool managed : {true, false}) {
    Remember(managed);
    MakeAll();
    Reply("POST", "virtualMachines/new/deallocate", 202);
    EXPECT_EQ(Recover(), azurestackpi::kOk) << log.text();
    Texts expected = kAllMade;
    expected.push_back("POST virtualMachines/new/deallocate");
    EXPECT_EQ(Changes(), expected);
    EXPECT_TRUE(Holds(kNic, R"("publicIPAddress": {"id":  "/pip"})"));
    EXPECT_TRUE(
        Holds(kNic, "resourceGroups/web-rg/providers/Microsoft.Network/virtualNetworks/web-vnet/subnets/front"));
    EXPECT_TRUE(Holds(kVm, R"({ "id": "/nic")"));
    EXPECT_TRUE(Holds(kVm, R"("tags": {"a":"b"})"));
    EXPECT_TRUE(Holds(kVm, managed ? R"([{"lun":2,  "createOption": "Attach", "managedDisk": { "id": "/id/d2" }},)"
                                   : R"("vhd": { "uri": "https://new.blob.x/vhds/os-RESTORE-1.vhd"})"));
    simulator.clear_requests();
  }
  EXPECT_EQ(table->restore_postprocess(), azurestackpi::kOk);
}

TEST_F(VmRecovery, FailsBeforeAnythingIsMade) {
  struct Case {
    std::function<void()> prepare;
    Status status;
    std::string line;
  };
  const Case cases[] = {
      {[&] { azurestackpi::vm_validation_status()[vm_path] = 6792; }, 6792, "refused when it was checked: 6792"},
      {[&] { azurestackpi::vm_recovery_map().clear(); }, 6614, "Failed to find VHD list for this VM."},
      {[&] { azurestackpi::vm_details_recovery_map().clear(); }, 6614,
       "Failed to find Updated configuration for this VM."},
      {[&] { Disks()[1].complete = false; }, 6614, "Premium_LRS/web-rg/d2 is not restored completely"},
      {[&] { Remembered().m_is_managed = false; }, 6614, "is not of the kind that UseManagedDisk=No tells"},
      {[&] { Remembered().m_json.clear(); }, 6614, "Failed to parse configuration 5"},
      {[&] { Remembered().m_json = R"({"resources":[]})"; }, 6614, "Failed to parse configuration 5"},
      {[&] { Remembered().m_resource_group = "gone"; }, 6789,
       "Failed to find resource group gone of VM new under subscription ID " + kHere + " error=6789"},
      {[&] {
         Remembered().m_network_profile.m_nsg_id.replace(Remembered().m_network_profile.m_nsg_id.find("web"), 3, "x");
       },
       6789, "Failed to find resourcegroup x-rg for NSG web-nsg under"},
      {[&] { Remembered().m_network_profile.m_vnet_id = Entry(true).m_network_profile.m_vnet_id; }, 6789,
       "Failed to find resource group net-rg for VNET web-vnet under"},
      {[&] { Remembered().m_name = "web-01"; }, 6793, "VM web-01 is there already"},
      {[&] { Reply("GET", "virtualMachines/new", 403, kSorry); }, 6793,
       "VM new is there already: Resource Manager answered 403: QuotaExceeded: no   more"}};
  for (const Case& one : cases) {
    Remember(true);
    one.prepare();
    log.clear();
    EXPECT_EQ(Recover(), one.status) << log.text();
    EXPECT_TRUE(log.contains(4, one.line)) << one.line << "\n" << log.text();
    EXPECT_TRUE(log.contains(4, "Machine " + vm_path + " is not recovered: " + std::to_string(one.status)));
    EXPECT_TRUE(log.contains(4, "Failed to recover VM : status = " + std::to_string(one.status)));
    EXPECT_EQ(Changes(), Texts{});
    EXPECT_TRUE(azurestackpi::vm_recovery_map().empty() && azurestackpi::vm_details_recovery_map().empty() &&
                azurestackpi::vm_validation_status().empty());
  }
}

TEST_F(VmRecovery, TellsWhatTheServiceRefused) {
  struct Case {
    const char* method;
    const char* target;
    Status status;
    Texts changes;
    Texts lines;
  };
  const Case cases[] = {
      {"PUT",
       "networkInterfaces/",
       6794,
       {kPip, kNic},
       {"Error = no   more ", "new-nic-1700000000 of VM new could not be made: Resource Manager answered 409: QuotaExc",
        "The public IP address /pip was made for VM new and stays", "NIC creation failed. error=6794"}},
      {"PUT",
       "virtualMachines/new",
       6793,
       kAllMade,
       {"VM new could not be made: Resource Manager answered 409: QuotaExceeded: no   more",
        "Failed to create the VM new.", "For details check the HTTP response log message .",
        "The network interface /nic was made for VM new and stays",
        "The public IP address /pip was made for VM new and stays", "was restored as /id/os and stays"}},
      {"POST",
       "virtualMachines/new/deallocate",
       6614,
       {kPip, kNic, kVm, "POST virtualMachines/new/deallocate"},
       {R"(VM new was made, but "deallocate" failed: Resource Manager answered 409)"}}};
  for (const Case& one : cases) {
    Remember(true);
    Reply(one.method, one.target, 409, kSorry);
    MakeAddress();
    if (one.status != 6794) {
      MakeNic();
    }
    if (one.status == 6614) {
      MakeVm();
    }
    simulator.clear_requests();
    EXPECT_EQ(Recover(), one.status);
    EXPECT_EQ(Changes(), one.changes);
    for (const std::string& line : one.lines) {
      EXPECT_TRUE(log.contains(4, line)) << line << "\n" << log.text();
    }
    EXPECT_EQ(table->restore_postprocess(), 6614U);
  }
  // The one whose answer is lost may be there.
  Remember(true);
  MakeAddress();
  MakeNic();
  simulator.add_fault({"PUT", "virtualMachines/new", 1, 2, sim::LoseAnswer{}});  // libcurl sends it twice
  EXPECT_EQ(Recover(), 6793U);
  EXPECT_TRUE(log.contains(4, "not known whether it is there now")) << log.text();
}

TEST_F(VmRecovery, AnOperationThatFailsIsTheRefusal) {
  Remember(false);
  MakeAddress();
  MakeNic();
  Answer("virtualMachines/new/.api-version", 201,
         {{"Azure-AsyncOperation", "https://" + simulator.management_host() + "/operations/1"}}, "{}", 2);
  Answer("^/operations/1", 200, {}, R"({"status":"Failed",)" + kSorry.substr(1));
  EXPECT_EQ(Recover(), azurestackpi::kRecoveryFailed);
  EXPECT_TRUE(log.contains(4, "QuotaExceeded: no   more")) << log.text();
  EXPECT_TRUE(log.contains(4, "Failed to Create vm new. Either VM with same name already exists"));
}

TEST_F(VmRecovery, PowerStatesLeadToActions) {
  const std::pair<const char*, const char*> cases[] = {
      {"sToPPed", "poweroff"}, {"PowerOff", "poweroff"}, {"deallocate", "deallocate"},
      {"Running", ""},         {"starting", ""},         {"", ""}};
  for (const auto& [state, action] : cases) {
    Remember(true);
    Remembered().m_power_state = state;
    MakeAll();
    Texts expected = kAllMade;
    if (*action != '\0') {
      Reply("POST", "virtualMachines/new/", 202);
      expected.push_back(std::string("POST virtualMachines/new/") + action);
    }
    simulator.clear_requests();
    EXPECT_EQ(Recover(), azurestackpi::kOk) << log.text();
    EXPECT_EQ(Changes(), expected) << state;
  }
  EXPECT_TRUE(log.contains(4, "Invalid PowerState specified."));
}

TEST_F(VmRecovery, AnInterfaceDoesWithoutAPublicAddress) {
  Remember(true);
  Remembered().m_power_state = "running";
  Remembered().m_network_profile.m_vnet_name.clear();
  Reply("PUT", "publicIPAddresses/", 400, kSorry);
  MakeNic();
  MakeVm();
  EXPECT_EQ(Recover(), azurestackpi::kOk);
  EXPECT_TRUE(Holds(kNic, R"("properties":{"subnet": {"id": )"));
  EXPECT_TRUE(Holds(kNic, "virtualNetworks/web-rg-vnet/subnets/default"));
}

}  // namespace
}  // namespace recovery_test
