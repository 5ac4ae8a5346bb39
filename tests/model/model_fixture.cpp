#include "tests/model/model_fixture.h"

#include <nlohmann/json.hpp>

#include "tests/support/read_file.h"

namespace model_test {
namespace {

std::string DescribeDisk(const std::string& name, std::int64_t size, const azurestackpi::DiskOwner& owner) {
  const std::string head = ":" + name + ":" + std::to_string(size) + ":";
  if (const azurestackpi::vm_managed_disk_t* disk = owner.managed()) {
    return " M" + head + disk->m_storage_account_type + ":" + disk->m_lun;
  }
  if (const azurestackpi::vm_unmanaged_disk_t* disk = owner.unmanaged()) {
    return " V" + head + disk->m_uri.substr(disk->m_uri.rfind('/') + 1);
  }
  return " none" + head;
}

}  // namespace

std::string ReadData(const std::string& name) { return test_support::read_file(ARM_DATA "/" + name); }

std::string Describe(const azurestackpi::vm_details_t& vm) {
  const azurestackpi::vm_storage_profile_t& storage = vm.m_storage_profile;
  std::string text = vm.m_name + " " + vm.m_resource_group + " " + vm.m_vm_size + " " +
                     (vm.m_power_state.empty() ? "-" : vm.m_power_state) + " " + vm.m_network_profile.m_nic_name +
                     DescribeDisk(storage.m_os_disk.m_name, storage.m_os_disk.m_disk_size_gb, storage.m_os_disk.m_disk);
  for (std::size_t i = 0; i < static_cast<std::size_t>(storage.m_data_disk_count); ++i) {
    const azurestackpi::vm_data_disks_t& slot = storage.m_data_disks.at(i);
    text += DescribeDisk(slot.m_name, slot.m_disk_size_gb, slot.m_disk);
  }
  return text;
}

std::string WithId(const std::string& description, const std::string& name) {
  nlohmann::json body = nlohmann::json::parse(description);
  body["id"] = "/subscriptions/sub/resourceGroups/rg/providers/Microsoft.Compute/virtualMachines/" + name;
  return body.dump();
}

ModelTest::ModelTest() {
  EXPECT_EQ(Open(AadSetup()), azurestackpi::kOk);
  EXPECT_EQ(InitRestServerHandle(server, rest), azurestackpi::kOk);
}

void ModelTest::Serve(const std::string& target, const std::string& body, int status) {
  Answer(target, status, {}, body, 1, sim::Fault::forever);
}

void ModelTest::ServeOnce(const std::string& target, const std::string& body, int status) {
  Answer(target, status, {}, body);
}

std::vector<std::string> ModelTest::Targets(const std::string& part) const {
  std::vector<std::string> found;
  for (const sim::RecordedRequest& request : ManagementRequests()) {
    if (request.target.find(part) != std::string::npos) {
      found.push_back(request.target);
    }
  }
  return found;
}

azurestackpi::vm_env_t ModelTest::Env(const std::string& resource_group, const std::string& vm_name) {
  azurestackpi::vm_env_t env;
  env.m_subscription_id = "sub";
  env.m_resource_group = resource_group;
  env.m_vm_name = vm_name;
  env.m_compute_api_version = "2017-12-01";
  env.m_network_api_version = "2017-10-01";
  env.m_disk_api_version = "2018-09-01";
  return env;
}

}  // namespace model_test
