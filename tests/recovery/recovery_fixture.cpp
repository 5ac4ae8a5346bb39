#include "tests/recovery/recovery_fixture.h"

#include "src/model/azurevm.h"
#include "src/object/object_maps.h"

namespace recovery_test {

using azurestackpi::vm_details_t;

namespace {

std::string Id(const std::string& subscription, const std::string& group, const std::string& rest) {
  return "/subscriptions/" + subscription + "/resourceGroups/" + group + "/providers/Microsoft." + rest;
}

std::string SavedDisk(bool managed, const std::string& name) {
  return R"("name":")" + name +
         (managed ? R"(","managedDisk":{"id":")" + Id(kHere, "web-rg", "Compute/disks/" + name)
                  : R"(","vhd":{"uri":"https://old.blob.x/vhds/)" + name + ".vhd") +
         R"("})";
}

// What follows the group, without the query.
std::string ShortTarget(const std::string& target) {
  const std::size_t begin = target.find("/Microsoft.");
  const std::size_t type = target.find('/', begin + 1) + 1;
  const std::string path = target.substr(type, target.find('?') - type);
  return path.substr(0, path.find_last_not_of('/') + 1);
}

}  // namespace

std::string SavedMachine(bool managed, const std::string& subscription, const std::string& storage) {
  return R"({"resources":[{"type":"Microsoft.Compute/virtualMachines","configuration":{"id":")" +
         Id(subscription, "web-rg", "Compute/virtualMachines/web-01") +
         R"(","name":"web-01","location":"local","tags":{"a":"b"},"properties":{"vmId":"v",)" +
         R"("hardwareProfile":{"vmSize":"Standard_A1"},"diagnosticsProfile":{"bootDiagnostics":{"enabled":)" +
         (storage.empty() ? "false" : R"(true,"storageUri":")" + storage + '"') +
         R"(}},"storageProfile":{"dataDisks":[{"lun":2,)" + SavedDisk(managed, "d2") + R"(},{"lun":0,)" +
         SavedDisk(managed, "d0") + R"(}],"osDisk":{"osType":"Linux",)" + SavedDisk(managed, "os") + "}}}}}]}";
}

vm_details_t ParsedMachine(const std::string& document) {
  vm_details_t machine;
  EXPECT_EQ(azurestackpi::azurevm::ParseResources(document, machine), azurestackpi::kOk) << document;
  return machine;
}

vm_details_t Entry(bool managed, const std::string& subscription) {
  vm_details_t entry;
  entry.m_subscription_id = subscription;
  entry.m_resource_group = "web-rg";
  entry.m_name = "new";
  entry.m_is_managed = managed;
  entry.m_power_state = "Deallocated";
  entry.m_network_profile.m_vnet_name = "web-vnet";
  entry.m_network_profile.m_vnet_id = Id(subscription, "net-rg", "Network/virtualNetworks/web-vnet");
  entry.m_network_profile.m_subnet = "front";
  entry.m_network_profile.m_nsg_name = "web-nsg";
  entry.m_network_profile.m_nsg_id = Id(subscription, "web-rg", "Network/networkSecurityGroups/web-nsg");
  entry.m_json = SavedMachine(managed, subscription);
  return entry;
}

RecoveryTest::RecoveryTest() { EXPECT_EQ(Open(AadSetup()), azurestackpi::kOk); }

void RecoveryTest::Remember(bool managed) {
  azurestackpi::vm_details_recovery_map()[vm_path] = Entry(managed);
  // The network's group is the machine's here: the demonstration world has no other with networks.
  Remembered().m_network_profile.m_vnet_id = Id(kHere, "web-rg", "Network/virtualNetworks/web-vnet");
  for (const std::string name : {"d0", "d2", "os"}) {
    const std::string path =
        managed ? vm_path + "/ManagedDisks:Premium_LRS/web-rg/" + name : vm_path + "/new.blob.x/vhds/" + name + ".vhd";
    Disks().push_back({path, managed ? "/id/" + name : "https://new.blob.x/vhds/" + name + "-RESTORE-1.vhd", true});
  }
}

vm_details_t& RecoveryTest::Remembered() { return azurestackpi::vm_details_recovery_map()[vm_path]; }

std::vector<azurestackpi::RestoredDisk>& RecoveryTest::Disks() { return azurestackpi::vm_recovery_map()[vm_path]; }

Status RecoveryTest::Recover() { return table->set_object_utimes(server, (vm_path + "/Metadata/VmName=new").c_str()); }

void RecoveryTest::Reply(const std::string& method, const std::string& target, int status, const std::string& body) {
  sim::AnswerWith answer;
  answer.response.status = status;
  answer.response.body = body;
  simulator.add_fault({method, target, 1, 1, answer});
}

void RecoveryTest::MakeAddress() {
  Reply("PUT", "publicIPAddresses/", 201, R"({"properties":{"ipConfiguration":{"id":"/inner"}},"id":"/pip"})");
}

void RecoveryTest::MakeNic() {
  Reply("PUT", "networkInterfaces/", 201, R"({"name":"n","id":"/nic","properties":{"id":"/inner"}})");
}

void RecoveryTest::MakeVm() { Reply("PUT", "virtualMachines/", 200); }

void RecoveryTest::MakeAll() {
  MakeAddress();
  MakeNic();
  MakeVm();
}

Texts RecoveryTest::Changes() const {
  Texts changes;
  for (const sim::RecordedRequest& request : ManagementRequests()) {
    if (request.method != "GET") {
      changes.push_back(request.method + " " + ShortTarget(request.target));
    }
  }
  return changes;
}

std::string RecoveryTest::BodyOf(const std::string& change) const {
  std::string body;
  for (const sim::RecordedRequest& request : ManagementRequests()) {
    if (request.method + " " + ShortTarget(request.target) == change) {
      body = request.body;
    }
  }
  return body;
}

}  // namespace recovery_test
