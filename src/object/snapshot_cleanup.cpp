#include "src/object/snapshot_cleanup.h"

#include "src/base/logging.h"

namespace azurestackpi {

Status azurestack_delete_snapshots(aapi_pgn_server_handle_s& /*server*/, const std::string& selections,
                                   const std::string& snapshot_name) {
  FunctionLog(__func__).error("Snapshots cannot be deleted yet; any of '%s' stay in %s", snapshot_name.c_str(),
                              selections.c_str());
  return kOperationFailed;
}

}  // namespace azurestackpi
