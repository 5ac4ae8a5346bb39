#include "src/model/azurestack_resource.h"

namespace azurestackpi {

Status azurestack_resource::MakeAPICall(const std::string& subpath, int method, const _buffer_s* body) {
  const FunctionLog log(__func__);
  log.flow("Enter :%s", subpath.c_str());
  if (const Status status = calls_.CreateUrl(subpath, " "); status != kOk) {
    log.error("error CreateUrl failed :%d", static_cast<int>(status));
    return status;
  }
  return calls_.Send(method, body, kShortRequest);
}

}  // namespace azurestackpi
