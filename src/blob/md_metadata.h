// What the path of a managed disk tells, and the name and id of the disk that a restore makes of it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace azurestackpi {

/// The parts of "/SUBSCRIPTION/GROUP/VM/ManagedDisks:STORAGE_TYPE/DISK_GROUP/DISK".
class md_metadata {
 public:
  /// Not valid, every text empty.
  md_metadata() = default;

  /// Not valid, every text empty, when the path is not of that form or names no storage account type: error lines say
  /// why. The unique name carries the second of this call, so that two calls in one second give the same.
  explicit md_metadata(const std::string& path);

  bool isValidPath() const { return valid_; }

  const std::string& getSubId() const { return subId; }
  const std::string& getVMRgName() const { return m_vmRgName; }
  const std::string& getVMName() const { return m_vmName; }
  const std::string& getDiskStaType() const { return m_diskStaType; }
  const std::string& getDiskRgName() const { return m_diskRgName; }
  const std::string& getDiskName() const { return m_diskName; }
  /// "BASE-RESTORE-SECONDS", at most 77 bytes: a base of up to 58, "-RESTORE-" and the seconds since the epoch.
  const std::string& getUniqDiskName() const { return m_uniqDiskName; }
  const std::string& getStagingStavalue() const { return staging_storage_account_; }

  /// Gives the unique name other seconds: two disks may share the rest of theirs.
  void setRestoreTime(std::int64_t seconds);

  void setSubId(const std::string& value) { subId = value; }
  void setDiskRgName(const std::string& value) { m_diskRgName = value; }
  void setStagingStavalue(const std::string& value);

  /// The pieces between the slashes, empty ones included; a slash at the end adds no empty piece.
  static void splitPath(std::vector<std::string>& components, const std::string& path);

  /// Whether the pieces are a managed disk's: seven, the fourth after the leading empty one naming a storage account
  /// type. The type only has to contain a known kind and a known redundancy, so that types to come pass too.
  static bool validatePath(const std::vector<std::string>& components);

  /// The resource id of the restored disk, in the resource group of the disk that was backed up.
  std::string getUniqDiskId() const;

  /// Logs every field, as details.
  void dump() const;

 private:
  bool valid_ = false;
  std::string subId;
  std::string m_vmRgName;
  std::string m_vmName;
  std::string m_diskStaType;
  std::string m_diskRgName;
  std::string m_diskName;
  std::string m_uniqDiskName;
  std::string staging_storage_account_;
};

}  // namespace azurestackpi
