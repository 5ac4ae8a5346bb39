#include "src/object/object_properties.h"

#include "platform/bounded_text.h"
#include "platform/clock.h"
#include "src/base/logging.h"
#include "src/object/object_path.h"

namespace azurestackpi {
namespace {

constexpr std::size_t kDiskSlashes = 6;

void Preset(aapi_object_info_v1_t& info, const std::string& path, const aapi_pgn_server_handle_s& server) {
  info = aapi_object_info_v1_t{};
  info.record_version = 2;
  info.access_time = info.modification_time = info.change_time = platform::clock().now();
  info.mode = 6;
  V_strlcpy(info.owner, "root", sizeof(info.owner));
  V_strlcpy(info.group, "root", sizeof(info.group));
  info.ids[0] = info.ids[1] = 100;
  V_strlcpy(info.server_name, server.server_name.c_str(), sizeof(info.server_name));
  V_strlcpy(info.object_name, path.c_str(), sizeof(info.object_name));
}

}  // namespace

Status azurestackpi_get_object_metadata(const std::string& path, aapi_object_info_v1_t& info,
                                        const aapi_pgn_server_handle_s& server) {
  const FunctionLog log(__func__);
  log.detail("enter: objname: %s, objname_sz: %lu", path.c_str(), static_cast<unsigned long>(path.size()));
  Preset(info, path, server);
  const bool restored_machine = server.session_kind == AAPI_SESSION_RESTORE && azurestackpi_is_vmpath(path);
  if (restored_machine || azurestackpi_is_metapath(path)) {
    return kOperationFailed;
  }
  const std::size_t slashes = CountSlashes(path);
  if (slashes > kDiskSlashes) {
    log.error("Invalid path: %s", path.c_str());
    return kInvalidArgument;
  }
  log.detail("Not a Meta Path %s dirlevel  %d", path.c_str(), static_cast<int>(slashes));
  if (slashes == kDiskSlashes) {
    return kOperationFailed;
  }
  info.object_type = AAPI_OBJECT_DIRECTORY;
  return kOk;
}

}  // namespace azurestackpi
