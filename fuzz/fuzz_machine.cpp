// Descriptions of machines and interfaces, and what is made of them.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "src/model/azurestack_network.h"
#include "src/model/azurevm.h"
#include "src/model/vm_reader.h"
#include "src/rest/json_text.h"

using azurestackpi::azurestack_network;
using azurestackpi::azurevm;

namespace {

// A record that is published has a disk record in every slot that counts.
void CheckPublished(const azurestackpi::vm_details_t& vm) {
  const azurestackpi::vm_storage_profile_t& storage = vm.m_storage_profile;
  if (storage.m_data_disk_count < 0 ||
      static_cast<std::size_t>(storage.m_data_disk_count) > azurestackpi::kMostDataDisks || !storage.m_os_disk.m_disk) {
    std::abort();
  }
  for (std::int32_t i = 0; i < storage.m_data_disk_count; ++i) {
    if (!storage.m_data_disks[static_cast<std::size_t>(i)].m_disk) {
      std::abort();
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  return std::freopen("/dev/null", "w", stdout) == nullptr ? 1 : 0;  // the reader prints facts of disks there
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  json_error_t error{};
  if (const azurestackpi::JsonPtr root = azurestackpi::ParseJson(text, error)) {
    azurestackpi::vm_details_t vm;
    if (azurestackpi::ReadVmDescription(root.get(), vm).status == azurestackpi::kOk) {
      CheckPublished(vm);
      const azurestackpi::vm_details_t copy = vm;
      std::vector<std::string> paths;
      azurevm::azurestackpi_get_metapaths(copy, paths);
      if (paths.size() != (vm.m_network_profile.m_nsg_name.empty() ? 8U : 9U)) {
        std::abort();
      }
    }
    azurestackpi::ReadNetworkInterface(root.get(), vm.m_network_profile);
  }
  azurestackpi::vm_details_t saved;
  static_cast<void>(azurevm::ParseResources(text, saved));
  std::string parts[4];
  azurestack_network::parseResourceId(text, parts[0], parts[1], parts[2], parts[3]);
  return 0;
}
