// What is known of one virtual machine: its description, its disks, and the environment of a request for it. Plain
// records with value semantics; a copy owns disk records of its own. Texts are UTF-8 as received, empty when absent.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

namespace azurestackpi {

/// One disk, of either kind.
struct vm_disk_t {
  explicit vm_disk_t(bool is_managed) : m_is_managed(is_managed) {}
  virtual ~vm_disk_t() = default;
  virtual std::unique_ptr<vm_disk_t> Clone() const = 0;

  bool m_is_managed;

 protected:
  vm_disk_t(const vm_disk_t&) = default;
  vm_disk_t& operator=(const vm_disk_t&) = default;
};

/// A page blob in a storage account.
struct vm_unmanaged_disk_t final : vm_disk_t {
  vm_unmanaged_disk_t() : vm_disk_t(false) {}
  std::unique_ptr<vm_disk_t> Clone() const override { return std::make_unique<vm_unmanaged_disk_t>(*this); }

  std::string m_uri;  // https address of the VHD blob
};

/// Roles of a managed disk, as its record carries them.
inline constexpr std::int32_t kOsDiskRole = 22;
inline constexpr std::int32_t kDataDiskRole = 11;

/// A disk resource of its own.
struct vm_managed_disk_t final : vm_disk_t {
  vm_managed_disk_t() : vm_disk_t(true) {}
  std::unique_ptr<vm_disk_t> Clone() const override { return std::make_unique<vm_managed_disk_t>(*this); }

  std::string m_storage_account_type;  // "Premium_LRS", ...; fetched from the disk when the machine does not tell
  std::string m_disk_name;
  std::string m_vm_id;  // the owning machine's m_vm_id
  std::string m_lun;    // decimal; "9999" for the OS disk
  std::string m_disk_id;
  std::int32_t m_disk_role = 0;  // kOsDiskRole or kDataDiskRole
  std::string m_extra1;          // address of the export
  std::string m_extra2;          // snapshot name
  std::string m_disk_kind;       // "OSDisk" or "DataDisk"
  std::string m_disk_subscription_id;
  std::string m_disk_resource_group;
  std::string m_extra3;
};

/// Owns a disk record, or none; a copy has a record of its own.
class DiskOwner {
 public:
  DiskOwner() = default;
  DiskOwner(std::unique_ptr<vm_disk_t> disk) : disk_(std::move(disk)) {}  // NOLINT(google-explicit-constructor)
  DiskOwner(const DiskOwner& other) : disk_(other.disk_ ? other.disk_->Clone() : nullptr) {}
  DiskOwner(DiskOwner&&) noexcept = default;
  DiskOwner& operator=(DiskOwner other) noexcept {
    disk_ = std::move(other.disk_);
    return *this;
  }
  ~DiskOwner() = default;

  vm_disk_t* get() const { return disk_.get(); }
  explicit operator bool() const { return disk_ != nullptr; }

  /// The record if it is of that kind, else null.
  vm_managed_disk_t* managed() const {
    return disk_ && disk_->m_is_managed ? static_cast<vm_managed_disk_t*>(disk_.get()) : nullptr;
  }
  vm_unmanaged_disk_t* unmanaged() const {
    return disk_ && !disk_->m_is_managed ? static_cast<vm_unmanaged_disk_t*>(disk_.get()) : nullptr;
  }

 private:
  std::unique_ptr<vm_disk_t> disk_;
};

struct vm_plan_t {
  std::string m_name;
  std::string m_publisher;
  std::string m_product;
};

/// The network of one interface: a machine's last one.
struct vm_network_profile_t {
  std::string m_nic_id;
  std::string m_nic_name;
  std::string m_vnet_name;
  std::string m_vnet_id;
  std::string m_subnet;
  std::string m_nsg_name;
  std::string m_nsg_id;
};

inline constexpr std::size_t kMostSecrets = 4;

struct vm_os_profile_t {
  std::string m_computer_name;
  std::string m_admin_username;
  bool m_disable_password_authentication = false;
  std::array<std::string, kMostSecrets> m_secrets;  // each element's compact JSON
};

struct vm_image_reference_t {
  std::string m_publisher;
  std::string m_offer;
  std::string m_sku;
  std::string m_version;
};

struct vm_os_disk_t {
  std::string m_os_type;
  std::string m_name;
  std::string m_create_option;
  DiskOwner m_disk;  // none until the description names a VHD or a managed disk
  std::string m_caching;
  std::int64_t m_disk_size_gb = 0;
};

struct vm_data_disks_t {
  std::int64_t m_lun = 0;
  std::string m_name;
  std::string m_create_option;
  DiskOwner m_disk;
  std::string m_caching;
  std::int64_t m_disk_size_gb = 0;
};

/// Most data disks of a machine that can be protected.
inline constexpr std::size_t kMostDataDisks = 4;

struct vm_storage_profile_t {
  vm_image_reference_t m_image_reference;
  vm_os_disk_t m_os_disk;
  std::int32_t m_data_disk_count = 0;  // as received: may exceed the slots
  std::array<vm_data_disks_t, kMostDataDisks> m_data_disks;
};

/// One virtual machine.
struct vm_details_t {
  std::string m_subscription_id;
  std::string m_resource_group;
  std::string m_vm_id;
  bool m_is_managed = false;  // the OS disk is a managed one
  std::string m_type;
  std::string m_location;
  std::string m_id;
  std::string m_name;
  vm_plan_t m_plan;
  bool m_boot_diagnostics_enabled = false;
  std::string m_boot_diagnostics_storage_uri;
  vm_network_profile_t m_network_profile;
  vm_os_profile_t m_os_profile;
  vm_storage_profile_t m_storage_profile;
  std::string m_vm_size;
  std::string m_provisioning_state;
  std::string m_power_state;
  bool m_flag = false;  // a restore keeps the original configuration
  std::string m_tags;   // compact JSON of the whole object
  std::string m_json;   // the whole description as received
};

/// The environment of a request for one machine; the fields from the tenth on are a restore's.
struct vm_env_t {
  std::string m_tenant_id;
  std::string m_client_id;
  std::string m_client_secret;  // never logged
  std::string m_subscription_id;
  std::string m_resource_group;
  std::string m_vm_state_filter;  // a power state; empty: none
  std::string m_compute_api_version;
  std::string m_network_api_version;
  std::string m_disk_api_version;
  std::string m_location;
  std::string m_vm_name;
  std::string m_vm_size;
  std::string m_vnet_name;
  std::string m_vnet_resource_group;
  std::string m_nsg_name;
  std::string m_nsg_resource_group;
  std::string m_subnet;
  std::string m_nic_name;
  std::string m_public_ip_name;
  std::string m_os_type;
  std::string m_power_state;
  std::string m_tags;
  bool m_boot_diagnostics_enabled = false;
  std::string m_boot_diagnostics_storage_uri;
};

}  // namespace azurestackpi
