#include "src/object/restored_configuration.h"

#include <algorithm>
#include <array>

#include "src/base/logging.h"
#include "src/base/text.h"
#include "src/model/azurevm.h"
#include "src/object/object_maps.h"
#include "src/object/object_path.h"
#include "src/object/restore_state.h"

namespace azurestackpi {
namespace {

using Field = std::string& (*)(vm_details_t&);

// An object whose value, and data if it has any, are kept as they come.
struct TextKey {
  std::string_view name;  // as the path ends in front of its value
  const char* shown;
  Field value;
  const char* data_shown = nullptr;
  Field data = nullptr;
};
constexpr std::array<TextKey, 8> kTextKeys{
    {{"/Size=", "VM Size", [](vm_details_t& vm) -> std::string& { return vm.m_vm_size; }},
     {"/Vnet=", "VirtualNetwork", [](vm_details_t& vm) -> std::string& { return vm.m_network_profile.m_vnet_name; },
      "VnetId", [](vm_details_t& vm) -> std::string& { return vm.m_network_profile.m_vnet_id; }},
     {"/Nsg=", "NSG", [](vm_details_t& vm) -> std::string& { return vm.m_network_profile.m_nsg_name; }, "NsgId",
      [](vm_details_t& vm) -> std::string& { return vm.m_network_profile.m_nsg_id; }},
     {"/Subnet=", "Subnet", [](vm_details_t& vm) -> std::string& { return vm.m_network_profile.m_subnet; }},
     {"/PowerState=", "PowerState", [](vm_details_t& vm) -> std::string& { return vm.m_power_state; }},
     {"/SubId=", "SubId", [](vm_details_t& vm) -> std::string& { return vm.m_subscription_id; }},
     {"/RgName=", "RgName", [](vm_details_t& vm) -> std::string& { return vm.m_resource_group; }},
     {"/VmName=", "VM Name", [](vm_details_t& vm) -> std::string& { return vm.m_name; }, "VM configuration",
      [](vm_details_t& vm) -> std::string& { return vm.m_json; }}}};

void TakeText(const FunctionLog& log, const TextKey& key, const std::string& value, const MetadataPiece& data,
              vm_details_t& vm) {
  key.value(vm) = value;
  log.detail("Got %s %s", key.shown, value.c_str());
  if (key.data == nullptr || data.text.empty()) {
    return;
  }
  std::string& held = key.data(vm);
  if (data.offset == 0) {
    held.clear();
  }
  held += data.text;
  log.flow("Got %s %s", key.data_shown, std::string(data.text).c_str());
}

void TakeBootDiagnostics(const FunctionLog& log, const std::string& value, vm_details_t& vm) {
  const std::string storage = ToLower(value);
  vm.m_boot_diagnostics_enabled = storage != "off";
  vm.m_boot_diagnostics_storage_uri = vm.m_boot_diagnostics_enabled ? storage : std::string();
  log.detail("Got BootDiagnostics %s", storage.c_str());
}

void TakeDiskKind(const FunctionLog& log, const std::string& value, vm_details_t& vm) {
  const std::string managed = ToLower(value);
  vm.m_is_managed = managed == "yes";
  log.detail("Got UseManagedDisk %s", managed.c_str());
}

void TakeStagingAccount(const FunctionLog& log, const std::string& value, const std::string& vm_path) {
  vm_staging_sta_map()[vm_path] = {value, false};
  log.detail("Storage Account value find in rename entry is %s", value.c_str());
}

// Objects "Key1", "Key2" and so on say nothing of the machine; any other that has no known key was renamed to what
// cannot be taken.
Status TakeObject(const FunctionLog& log, const std::string& path, const std::string& vm_path,
                  const MetadataPiece& data, vm_details_t& vm) {
  const std::size_t value_at = path.rfind('=') + 1;  // 0 when there is none
  const std::string before = path.substr(0, value_at);
  const std::string value = path.substr(value_at);
  const auto* const key =
      std::ranges::find_if(kTextKeys, [&](const TextKey& known) { return before.ends_with(known.name); });
  if (key != kTextKeys.end()) {
    TakeText(log, *key, value, data, vm);
  } else if (before.ends_with("/BootDiagnostics=")) {
    TakeBootDiagnostics(log, value, vm);
  } else if (before.ends_with("/UseManagedDisk=")) {
    TakeDiskKind(log, value, vm);
  } else if (before.ends_with("/StagingStorageAccount=")) {
    TakeStagingAccount(log, value, vm_path);
  } else if (before.find("/Metadata/Key") == std::string::npos) {
    log.error("%s is not taken: its value holds a \"=\"", path.c_str());
    return kInvalidArgument;
  }
  return kOk;
}

}  // namespace

Status azurestackpi_set_vm_details(const std::string& path, bool keep_original, const MetadataPiece& data) {
  const FunctionLog log(__func__);
  std::string vm_path = path;
  if (!keep_original) {
    azurestackpi_get_vmpath(path, vm_path);
  }
  if (vm_path.empty()) {
    log.error("Invalid path: %s", path.c_str());
    return kInvalidArgument;
  }
  ForgetAcceptedTargets(vm_path);
  const auto [entry, made] = vm_details_recovery_map().try_emplace(vm_path);
  vm_details_t& vm = entry->second;
  if (made) {
    vm.m_provisioning_state = "NOT_SPECIFIED";
  }
  if (keep_original) {
    log.flow("Using original configuration.");
    vm.m_flag = true;
    return kOk;
  }
  return TakeObject(log, path, vm_path, data, vm);
}

std::string SavedLocation(const std::string& path) {
  std::string vm_path;
  azurestackpi_get_vmpath(path, vm_path);
  const auto entry = vm_details_recovery_map().find(vm_path);
  vm_details_t saved;
  if (entry != vm_details_recovery_map().end() && !entry->second.m_json.empty()) {
    // What cannot be read is told there, and ends the recovery.
    static_cast<void>(azurevm::ParseResources(entry->second.m_json, saved));
  }
  return saved.m_location;
}

}  // namespace azurestackpi
