#include "src/blob/md_metadata.h"

#include <algorithm>
#include <initializer_list>
#include <string_view>

#include "platform/clock.h"
#include "src/base/logging.h"
#include "src/base/status.h"
#include "src/base/text.h"

namespace azurestackpi {
namespace {

constexpr std::size_t kComponents = 7;
constexpr std::string_view kDiskMarker = "ManagedDisks:";
// Leaves room for the suffix in the 80 characters that a disk's name may have.
constexpr std::size_t kLongestBase = 58;
constexpr std::string_view kOsDiskMark = "OsDisk_";
constexpr std::string_view kRestoreMark = "-RESTORE-";

bool ContainsAny(const std::string& text, std::initializer_list<const char*> words) {
  return std::any_of(words.begin(), words.end(),
                     [&](const char* word) { return text.find(word) != std::string::npos; });
}

std::string Before(const std::string& text, std::string_view mark) { return text.substr(0, text.find(mark)); }

// A disk that was restored before is not given a second suffix.
std::string UniqueName(const std::string& disk_name, std::int64_t seconds) {
  std::string base = Before(Before(disk_name, ".vhd"), kRestoreMark);
  if (base.size() > kLongestBase) {
    const std::size_t mark = base.rfind(kOsDiskMark);
    // A mark beyond the bound would leave a name that Azure Stack refuses.
    base.resize(mark == std::string::npos ? kLongestBase : std::min(mark + kOsDiskMark.size(), kLongestBase));
  }
  return base + std::string(kRestoreMark) + std::to_string(seconds);
}

std::string StorageType(const std::string& component) { return component.substr(component.find(':') + 1); }

}  // namespace

md_metadata::md_metadata(const std::string& path) {
  std::vector<std::string> components;
  splitPath(components, path);
  valid_ = validatePath(components);
  if (!valid_) {
    FunctionLog(__func__).flow("path is not valid : %s.", path.c_str());
    return;
  }
  subId = components[1];
  m_vmRgName = components[2];
  m_vmName = components[3];
  m_diskStaType = StorageType(components[4]);
  m_diskRgName = components[5];
  m_diskName = components[6];
  setRestoreTime(platform::clock().now());
}

void md_metadata::setRestoreTime(std::int64_t seconds) { m_uniqDiskName = UniqueName(m_diskName, seconds); }

void md_metadata::splitPath(std::vector<std::string>& components, const std::string& path) {
  components = SplitText(path, '/');
}

bool md_metadata::validatePath(const std::vector<std::string>& components) {
  const FunctionLog log(__func__);
  constexpr const char* kAdvice =
      "Ensure that the storage account type defined / configured in Azure Stack is provided to restore";
  if (components.size() != kComponents) {
    log.error("Managed disk path is not valid.");
    return false;
  }
  if (components[4].compare(0, kDiskMarker.size(), kDiskMarker) != 0) {
    log.error("Not a managed disk path.");
    return false;
  }
  const std::string type = StorageType(components[4]);
  if (type.empty()) {
    log.error("storage account type is empty.");
    log.detail("%s", kAdvice);
    return false;
  }
  log.detail("storage account type is %s.", type.c_str());
  const bool known_kind = ContainsAny(type, {"Standard", "Premium", "Ultra"});
  if (!known_kind || !ContainsAny(type, {"LRS", "GRS", "ZRS"})) {
    log.error("%sFailed to find storage account type=%s in a valid format. error=%d", known_kind ? " " : "",
              type.c_str(), static_cast<int>(kConfigurationInvalid));
    log.detail("%s", kAdvice);
    return false;
  }
  log.detail("Found Valid storage account type in rename file %s.", type.c_str());
  return true;
}

void md_metadata::setStagingStavalue(const std::string& value) {
  const FunctionLog log(__func__);
  log.flow("MD_META");
  staging_storage_account_ = value;
  log.flow("MD_META sta value is %s", value.c_str());
}

std::string md_metadata::getUniqDiskId() const {
  return "/subscriptions/" + subId + "/resourceGroups/" + m_diskRgName + "/providers/Microsoft.Compute/disks/" +
         m_uniqDiskName;
}

void md_metadata::dump() const {
  const FunctionLog log(__func__);
  log.detail("DEBUG MD_META : subId [%s]", subId.c_str());
  log.detail("DEBUG MD_META : m_vmRgName [%s]", m_vmRgName.c_str());
  log.detail("DEBUG MD_META : m_vmName [%s]", m_vmName.c_str());
  log.detail("DEBUG MD_META : m_diskStaType [%s]", m_diskStaType.c_str());
  log.detail("DEBUG MD_META : m_diskRgName [%s]", m_diskRgName.c_str());
  log.detail("DEBUG MD_META : m_diskName [%s]", m_diskName.c_str());
  log.detail("DEBUG MD_META : m_uniqDiskName [%s]", m_uniqDiskName.c_str());
}

}  // namespace azurestackpi
