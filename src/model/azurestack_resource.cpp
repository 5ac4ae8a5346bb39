#include "src/model/azurestack_resource.h"

namespace azurestackpi {

Status azurestack_resource::MakeAPICall(const std::string& subpath, int method, const _buffer_s* body) {
  const FunctionLog log(__func__);
  log.flow("Enter :%s", subpath.c_str());
  return calls_.Send(subpath, method, body, kShortRequest);
}

}  // namespace azurestackpi
