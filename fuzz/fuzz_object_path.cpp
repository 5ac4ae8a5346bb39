// Object paths, managed-disk paths and snapshot ids: one text for all of them.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "src/blob/md_metadata.h"
#include "src/object/object_path.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string path(reinterpret_cast<const char*>(data), size);
  std::string text;
  azurestackpi::azurestackpi_get_vmpath(path, text);
  if (!text.empty() && (azurestackpi::CountSlashes(text) != 3 || path.compare(0, text.size(), text) != 0)) {
    std::abort();  // the beginning of the path, up to the fourth slash
  }
  static_cast<void>(azurestackpi::azurestackpi_get_vhd(path, text));
  azurestackpi::azurestackpi_get_storage_account_from_url(path, text);
  static_cast<void>(azurestackpi::azurestackpi_is_metafile(path));

  for (const char* search_time : {"", "1700000000"}) {
    azurestackpi::vm_managed_disk_t snapshot;
    std::string time_text;
    if (azurestackpi::ParseAndValidateMDSnapshotID(path, search_time, 1440, snapshot, time_text) &&
        snapshot.m_disk_kind != "OSDisk" && snapshot.m_disk_kind != "DataDisk") {
      std::abort();  // only snapshots of disks may be deleted
    }
  }

  const azurestackpi::md_metadata disk(path);
  if (disk.getUniqDiskName().size() > 77 || (!disk.isValidPath() && !disk.getUniqDiskName().empty())) {
    std::abort();
  }
  return 0;
}
