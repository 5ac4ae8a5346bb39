#include "host/saved_machine.h"

#include <strings.h>

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <set>

#include "host/printable.h"

namespace host {

namespace {

using Json = nlohmann::json;

constexpr std::string_view folder_mark = "/Metadata";
constexpr std::string_view metadata_mark = "/Metadata/";
constexpr std::string_view managed_mark = "ManagedDisks:";
constexpr std::array<std::string_view, 11> keys{"UseManagedDisk",
                                                "SubId",
                                                "StagingStorageAccount",
                                                "BootDiagnostics",
                                                "RgName",
                                                "Size",
                                                "PowerState",
                                                "Vnet",
                                                "Subnet",
                                                "Nsg",
                                                "VmName"};
constexpr std::size_t machine_slashes = 3;
constexpr std::size_t disk_slashes = 6;
constexpr std::size_t longest_path = 1023;
constexpr std::size_t digest_digits = 64;

[[noreturn]] void refuse(const std::string& machine, std::string_view object, const std::string& why) {
  std::string text = "the backup of " + printable(machine) + " is damaged: ";
  if (!object.empty()) text += printable(object) + " ";
  throw ManifestError(text + why);
}

bool is_control(char byte) {
  const auto value = static_cast<unsigned char>(byte);
  return value < 0x20 || value == 0x7f;
}

// What can be handed to the plug-in as it is.
bool is_path(std::string_view path) {
  return !path.empty() && path.front() == '/' && path.size() <= longest_path &&
         std::none_of(path.begin(), path.end(), is_control);
}

std::size_t count_slashes(std::string_view path) {
  return static_cast<std::size_t>(std::count(path.begin(), path.end(), '/'));
}

bool has_hollow_part(std::string_view path) {
  return path.ends_with('/') || path.find("//") != std::string_view::npos || path.ends_with("/.") ||
         path.ends_with("/..") || path.find("/./") != std::string_view::npos ||
         path.find("/../") != std::string_view::npos;
}

bool is_known(const std::string& key) {
  return key.starts_with("Key") || std::find(keys.begin(), keys.end(), key) != keys.end();
}

bool is_hexadecimal(const std::string& text) {
  return text.size() == digest_digits && text.find_first_not_of("0123456789abcdef") == std::string::npos;
}

bool same(const std::string& left, const std::string& right) { return ::strcasecmp(left.c_str(), right.c_str()) == 0; }

// "/SUBSCRIPTION/GROUP/NAME" as Azure Stack writes it.
std::string resource_id(const std::string& machine) {
  const std::size_t group = machine.find('/', 1);
  const std::size_t name = machine.rfind('/');
  return "/subscriptions" + machine.substr(0, group) + "/resourceGroups" + machine.substr(group, name - group) +
         "/providers/Microsoft.Compute/virtualMachines" + machine.substr(name);
}

/// Why the text is not the configuration of the machine; empty: it is.
std::string configuration_problem(const std::string& machine, const std::string& text) {
  const Json saved = Json::parse(text, nullptr, false);
  if (saved.is_discarded() || !saved.is_object()) return "holds no configuration that can be read";
  try {
    const Json& resources = saved.at("resources");
    if (resources.size() != 1 || !resources.at(0).at("configuration").is_object()) {
      return "holds no configuration of one machine";
    }
    const std::string id = resources.at(0).at("id");
    return same(id, resource_id(machine)) ? "" : "holds the configuration of another machine: " + printable(id, 300);
  } catch (const Json::exception&) {
    return "holds no configuration of one machine";
  }
}

class Check {
 public:
  explicit Check(const Manifest& manifest) : manifest_(manifest) {}

  void run(const std::string& machine) {
    if (manifest_.machine != machine) refuse(machine, "", "its manifest is of " + printable(manifest_.machine));
    if (!is_path(machine) || count_slashes(machine) != machine_slashes || has_hollow_part(machine)) {
      refuse(machine, "", "that is no machine's path");
    }
    for (const SavedObject& object : manifest_.objects) check_object(object);
    for (const std::string key : {"UseManagedDisk", "VmName"}) {
      if (seen_.count(key) == 0) refuse(machine, key, "is missing");
    }
    if (manifest_.disks.empty()) refuse(machine, "", "it has no disk");
    for (const SavedDisk& disk : manifest_.disks) add_disk(disk);
  }

 private:
  void check_object(const SavedObject& object) {
    const std::string& machine = manifest_.machine;
    const auto fail = [&](const std::string& why) { refuse(machine, object.path, why); };
    if (!is_path(object.path) || !object.path.starts_with(machine + std::string(folder_mark))) {
      fail("is no object of this machine");
    }
    if (object.data && object.data->find('\0') != std::string::npos) fail("holds a zero byte");
    if (object.path.size() == machine.size() + folder_mark.size()) return;  // the folder of the others
    const Setting setting = setting_of(machine, object.path);
    if (!is_known(setting.key)) fail("is of no known kind");
    if (setting.value.find('=') != std::string::npos) fail("has a value that nothing can take");
    check_place(object, setting);
    if (setting.key == "UseManagedDisk") use_managed(setting.value, fail);
    if (setting.key == "VmName") {
      const std::string problem = configuration_problem(machine, object.data.value_or(""));
      if (!problem.empty()) fail(problem);
    }
  }

  // A value that holds slashes brings its beginnings along as folders, each before what goes on from it.
  void check_place(const SavedObject& object, const Setting& setting) {
    if (seen_.count("VmName") != 0) refuse(manifest_.machine, object.path, "stands behind the last object, VmName");
    const bool goes_on = object.path.starts_with(last_path_ + "/") && !last_path_.empty();
    if (!seen_.insert(setting.key).second && !goes_on) {
      refuse(manifest_.machine, object.path, "stands there a second time");
    }
    last_path_ = object.path;
  }

  template <typename Fail>
  void use_managed(const std::string& value, const Fail& fail) {
    if (!same(value, "Yes") && !same(value, "No")) fail("is neither Yes nor No");
    managed_ = same(value, "Yes");
  }

  void add_disk(const SavedDisk& disk) {
    check_disk(manifest_, disk);
    const bool managed = std::string_view(disk.path).substr(manifest_.machine.size() + 1).starts_with(managed_mark);
    if (managed != managed_) refuse(manifest_.machine, disk.path, "is not of the machine's kind of disks");
    if (!disks_.insert(disk.path).second) refuse(manifest_.machine, disk.path, "stands there a second time");
  }

  const Manifest& manifest_;
  std::set<std::string> seen_;   // keys
  std::set<std::string> disks_;  // paths
  std::string last_path_;
  bool managed_ = false;
};

}  // namespace

Setting setting_of(std::string_view machine, std::string_view object) {
  if (object.size() < machine.size()) return {};
  const std::string_view entry = object.substr(machine.size());
  const std::size_t equals = entry.find('=');
  if (!entry.starts_with(metadata_mark) || equals == std::string_view::npos) return {};
  return {std::string(entry.substr(metadata_mark.size(), equals - metadata_mark.size())),
          std::string(entry.substr(equals + 1))};
}

void check_manifest(const Manifest& manifest, const std::string& machine) { Check(manifest).run(machine); }

void check_disk(const Manifest& manifest, const SavedDisk& disk) {
  const auto fail = [&](const char* why) { refuse(manifest.machine, disk.path, why); };
  if (!is_path(disk.path) || !disk.path.starts_with(manifest.machine + "/")) fail("is no disk of this machine");
  if (count_slashes(disk.path) != disk_slashes || has_hollow_part(disk.path)) fail("is no disk's path");
  if (disk.size == 0 || disk.skipped > disk.size || disk.stream_bytes == 0) fail("has sizes that cannot be");
  if (!is_hexadecimal(disk.sha256) || !is_hexadecimal(disk.snapshot)) fail("names no stored stream");
}

}  // namespace host
