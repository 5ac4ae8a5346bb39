#include "src/object/restored_object.h"

#include <algorithm>

#include "platform/clock.h"
#include "src/blob/managed_disk_import.h"
#include "src/model/azurestack_storagekeys.h"
#include "src/object/object_path.h"
#include "src/object/open_object.h"
#include "src/object/restore_state.h"
#include "src/object/restore_target.h"
#include "src/object/restored_configuration.h"

namespace azurestackpi {
namespace {

constexpr std::string_view kExtension = ".vhd";
constexpr const char* kStagingContainer = "vhds";

bool IsTaken(const std::string& address) {
  return std::ranges::any_of(vm_recovery_map(), [&](const auto& machine) {
    return std::ranges::find(machine.second, address, &RestoredDisk::name) != machine.second.end();
  });
}

// Beside the blob at that address, by the first second from now that no other restored blob has. A disk that was
// restored before is not given a second suffix.
std::string RestoredBlob(const std::string& uri) {
  std::string address = uri.ends_with(kExtension) ? uri.substr(0, uri.size() - kExtension.size()) : uri;
  address.resize(std::min(address.find("-RESTORE-", address.rfind('/')), address.size()));
  address.append("-RESTORE-");
  std::string name;
  for (std::int64_t seconds = platform::clock().now(); name.empty() || IsTaken(name); ++seconds) {
    name = address + std::to_string(seconds);
    name.append(kExtension);
  }
  return name;
}

std::string StagingBlob(const md_metadata& target) {
  const std::string& account = target.getStagingStavalue();
  const std::string suffix = azurestack_storagekeys::getInstance()->EndpointSuffix(account);
  std::string address = "https://" + account + ".blob." + suffix + "/";
  return address.append(kStagingContainer).append("/").append(target.getUniqDiskName()).append(kExtension);
}

// The first try's name may be taken by what became of it, so each try has one of its own.
Status PlaceUnmanaged(const FunctionLog& log, const std::string& path, std::string& uri) {
  if (const Status status = azurestackpi_get_vhd(path, uri); status != kOk) {
    return status;
  }
  log.detail("VHD_URI: %s", uri.c_str());
  if (uri.ends_with('/')) {
    log.error("Invalid path: %s names no blob", path.c_str());
    return kInvalidArgument;
  }
  uri = RestoredBlob(uri);
  azurestackpi_add_vhd_to_recovery_list(path, uri);
  RestoredDisk& disk = *FindRestoredDisk(path);
  if (disk.complete) {
    log.error("%s is restored once more; its first blob stays: %s", path.c_str(), disk.name.c_str());
  }
  disk.name = uri;
  return kOk;
}

}  // namespace

Status OpenRestoredDisk(const FunctionLog& log, aapi_object_s& object) {
  const std::string& path = object.path;
  Status status =
      accepted_targets().count(path) != 0 ? static_cast<Status>(kOk) : ValidateRestoreTarget(path, *object.server);
  if (status != kOk) {
    log.error("%s cannot be restored: its target is refused. rc : %d", path.c_str(), static_cast<int>(status));
    return status;
  }
  std::string uri;
  object.is_managed = azurestackpi_is_mdpath(path);
  if (object.is_managed) {
    azurestackpi_get_md_metadata(path, object.target);
    uri = StagingBlob(object.target);
    // Made by an earlier try, perhaps one whose answer was lost: told before all of it is written once more.
    status = IsManagedDiskThere(object.server->server_name, object.target) ? kInternalError : kOk;
  } else {
    status = PlaceUnmanaged(log, path, uri);
  }
  if (status != kOk) {
    return status;
  }
  log.flow("Restore Path: %s", uri.c_str());
  FindRestoredDisk(path)->complete = false;
  object.writer.emplace(uri);
  return kOk;
}

Status CloseRestoredDisk(const FunctionLog& log, aapi_object_s& object) {
  DiskImageWriter& writer = *object.writer;
  Status status = writer.Close(log);
  if (status == kOk && object.is_managed) {
    const std::string saved = SavedLocation(object.path);
    status = azurestack_convertblob_to_manageddisk(object.server->server_name, object.path, writer.uri(),
                                                   saved.empty() ? object.server->region_name : saved,
                                                   writer.disk_size(), object.target);
  }
  RestoredDisk* const disk = FindRestoredDisk(object.path);
  // Another handle may have begun the disk once more: then this blob is not the one that counts.
  const bool counts = disk != nullptr && (object.is_managed || disk->name == writer.uri());
  if (status == kOk && counts) {
    disk->complete = true;
  } else if (status == kOk) {
    log.error("%s was begun once more meanwhile; its first blob stays: %s", object.path.c_str(), writer.uri().c_str());
  }
  return status;
}

Status WriteRestoredMetadata(const FunctionLog& log, const std::string& path, std::string_view data,
                             std::uint64_t offset, std::uint64_t& bytes_written) {
  if (!azurestackpi_is_metafile_with_contents(path)) {
    bytes_written = data.size();
    return kOk;
  }
  const std::string text(data.substr(0, data.find('\0')));
  log.detail("received = %s buflen = %d bufptr = %s", path.c_str(), static_cast<int>(data.size()), text.c_str());
  log.detail("restoring = %s toWrite = %d config = %s", path.c_str(), static_cast<int>(text.size()), text.c_str());
  // An object of no machine was refused when it was asked for.
  static_cast<void>(azurestackpi_set_vm_details(path, false, {text, offset}));
  bytes_written = text.size();
  return kOk;
}

}  // namespace azurestackpi
