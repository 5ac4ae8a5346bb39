// The grammar of object paths: what an object is, told by its path alone, and what its path names. No predicate fails
// or logs. Only the number of slashes counts, not where they stand; markers are found anywhere, their letter case
// matters.
#pragma once

#include <string>

#include "src/base/status.h"
#include "src/model/vm_records.h"

namespace azurestackpi {

/// How many "/" stand in the path, wherever they stand.
std::size_t CountSlashes(const std::string& path);

/// Exactly three slashes: "/SUBSCRIPTION/GROUP/VM".
bool azurestackpi_is_vmpath(const std::string& path);

/// Exactly six slashes: "/SUBSCRIPTION/GROUP/VM/HOST/CONTAINER/BLOB". A managed disk's path is one too.
bool azurestackpi_is_vhdpath(const std::string& path);

/// "/ManagedDisks:" stands in the path.
bool azurestackpi_is_mdpath(const std::string& path);

/// "/Metadata/" stands in the path.
bool azurestackpi_is_metapath(const std::string& path);

/// The path names one of the metadata objects that a machine has.
bool azurestackpi_is_metafile(const std::string& path);

/// One whose value is carried as the object's data, not in its name alone.
bool azurestackpi_is_metafile_with_contents(const std::string& path);

/// "/Metadata/VmName=" stands in the path: the object that completes a machine's metadata at restore.
bool azurestackpi_is_last_metafile(const std::string& path);

/// The path without the slash at its end when it has seven slashes: the same disk, as a directory's name is written.
std::string WithoutEndSlash(const std::string& path);

/// Sets vm_path to what stands before the fourth slash; empty, so invalid, when there is none.
void azurestackpi_get_vmpath(const std::string& path, std::string& vm_path);

/// Sets uri to the https address of an unmanaged disk's blob. Returns 0, or 6601 when the path has not six slashes.
Status azurestackpi_get_vhd(const std::string& path, std::string& uri);

/// Sets account to the storage account of a blob's address: without "https://" and from the first ".blob" on.
void azurestackpi_get_storage_account_from_url(const std::string& url, std::string& account);

/// Takes apart the resource id of a managed disk's snapshot, .../snapshots/VMID_KIND_LUN_SECONDS_TAG, and tells whether
/// a clean-up may delete that snapshot. search_time: the seconds of the one backup whose snapshots are meant; empty for
/// all that are at least age_limit minutes old. A time that is no number or lies in the future is never old.
/// Fills snapshot (m_disk_subscription_id, m_disk_resource_group, m_vm_id, m_disk_kind, m_lun) and time_text as far as
/// the id goes. Returns false for every malformed or protected id; a line says why.
bool ParseAndValidateMDSnapshotID(const std::string& snapshot_id, const std::string& search_time, long age_limit,
                                  vm_managed_disk_t& snapshot, std::string& time_text);

}  // namespace azurestackpi
