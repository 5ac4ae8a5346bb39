#include "host/restore_changes.h"

#include <strings.h>

#include <algorithm>
#include <array>
#include <utility>

#include "host/errors.h"
#include "host/printable.h"
#include "host/selection.h"

namespace host {

namespace {

struct Key {
  const char* name;
  KeyScope scope = KeyScope::machine;
  const char* empty = "";      // what an empty value means; "": none is allowed
  bool with_place = true;      // has effect beside --to
  bool with_disks = true;      // has effect beside --disks-only
  bool reconfigures = false;   // the machine does not come back as it was
  bool takes_address = false;  // the value may be an https address
};

constexpr std::array<Key, 14> keys{{
    {"Size", KeyScope::machine, "", false, false, true},
    {"Vnet", KeyScope::machine, "the default network of the resource group", true, false, true},
    {"Subnet", KeyScope::machine, "the subnet \"default\"", true, false, true},
    {"Nsg", KeyScope::machine, "no security group", true, false, true},
    {"RgName", KeyScope::machine, "", false, false, true},
    {"SubId", KeyScope::machine, "", false, true, true},
    {"VmName", KeyScope::machine, "", false, false, true},
    {"PowerState", KeyScope::machine, "left as it starts", true, false, true},
    {"StagingStorageAccount", KeyScope::machine, "", true, true, false},
    {"BootDiagnostics", KeyScope::machine, "", false, false, true, true},
    {"DiskRg", KeyScope::managed_disks},
    {"DiskType", KeyScope::managed_disks},
    {"StorageAccount", KeyScope::unmanaged_disks},
    {"Container", KeyScope::unmanaged_disks},
}};
constexpr std::array power_states{"running", "stopped", "poweroff", "deallocated", "deallocate"};

template <typename Fits>
std::string list_of(const Fits& fits) {
  std::string names;
  for (const Key& key : keys) {
    if (fits(key)) names.append(names.empty() ? "" : ", ").append(key.name);
  }
  return names;
}

const Key* find_key(std::string_view name) {
  const auto* key = std::find_if(keys.begin(), keys.end(), [&](const Key& known) { return known.name == name; });
  return key == keys.end() ? nullptr : key;
}

// The first is what a path is made of, the second ends the key in front of a value; the others are in no name that
// Azure Stack has.
bool breaks_names(char byte) {
  const auto value = static_cast<unsigned char>(byte);
  return value <= 0x20 || value == 0x7f || std::string_view("/=\\\"'?#%<>|*&:;").find(byte) != std::string_view::npos;
}

bool breaks_addresses(char byte) { return byte != '/' && byte != ':' && breaks_names(byte); }

void check_value(const Key& key, const std::string& value) {
  const std::string option = std::string("--set ") + key.name + "=" + printable(value, 100);
  if (value.empty()) {
    if (*key.empty != '\0') return;
    throw UsageError(option + " needs a value; empty may be " + list_of([](const Key& k) { return *k.empty != '\0'; }));
  }
  bool (*const breaks)(char) = key.takes_address ? &breaks_addresses : &breaks_names;
  if (std::any_of(value.begin(), value.end(), breaks) || value == "." || value == "..") {
    throw UsageError(option + ": that is no single name; give it without blanks, slashes and other signs");
  }
  if (std::string_view(key.name) == "PowerState" &&
      std::none_of(power_states.begin(), power_states.end(),
                   [&](const char* state) { return ::strcasecmp(state, value.c_str()) == 0; })) {
    throw UsageError(option + ": the power state is one of running, stopped, deallocated, or empty");
  }
}

void add(RestoreChanges& changes, const Key& key, std::string value) {
  check_value(key, value);
  if (!changes.settings.emplace(key.name, std::move(value)).second) {
    throw UsageError(std::string(key.name) + " is given twice");
  }
}

void add_setting(RestoreChanges& changes, const std::string& given) {
  const std::size_t equals = given.find('=');
  const Key* key = equals == std::string::npos ? nullptr : find_key(std::string_view(given).substr(0, equals));
  if (key == nullptr) {
    throw UsageError("--set takes KEY=VALUE, not \"" + printable(given, 100) + "\"; KEY is one of " +
                     list_of([](const Key& /*key*/) { return true; }));
  }
  add(changes, *key, given.substr(equals + 1));
}

// What would be ignored is refused: the operator would learn of it by the machine.
void check_effect(const RestoreChanges& changes, const char* option, bool Key::*has_effect) {
  for (const auto& [name, value] : changes.settings) {
    if (find_key(name)->*has_effect) continue;
    throw UsageError(name + " has no effect with " + option + "; what has is " +
                     list_of([&](const Key& key) { return key.*has_effect; }));
  }
}

std::string read_place(const std::string& given) {
  if (given.empty()) return "";
  std::string place = read_selections({given}).front();
  if (std::count(place.begin(), place.end(), '/') > 2) {
    throw UsageError("--to takes SUBSCRIPTION or SUBSCRIPTION/GROUP, not \"" + printable(given, 100) + "\"");
  }
  return place;
}

}  // namespace

const std::string* RestoreChanges::find(std::string_view key) const {
  const auto found = settings.find(key);
  return found == settings.end() ? nullptr : &found->second;
}

bool RestoreChanges::keeps_configuration() const {
  const auto changed = [this](const Key& key) { return key.reconfigures && find(key.name) != nullptr; };
  return !to.empty() || std::none_of(keys.begin(), keys.end(), changed);
}

KeyScope scope_of(std::string_view key) {
  const Key* known = find_key(key);
  return known == nullptr ? KeyScope::machine : known->scope;
}

RestoreChanges read_changes(const GivenChanges& given) {
  RestoreChanges changes;
  for (const std::string& setting : given.settings) add_setting(changes, setting);
  if (!given.as.empty()) add(changes, *find_key("VmName"), given.as);
  changes.to = read_place(given.to);
  changes.disks_only = given.disks_only;
  if (!changes.to.empty()) check_effect(changes, "--to", &Key::with_place);
  if (changes.disks_only) check_effect(changes, "--disks-only", &Key::with_disks);
  const std::string* network = changes.find("Vnet");
  if (network != nullptr && network->empty() && changes.find("Subnet") != nullptr) {
    throw UsageError("Subnet has no effect without a Vnet: the default network's subnet is \"default\"");
  }
  return changes;
}

}  // namespace host
