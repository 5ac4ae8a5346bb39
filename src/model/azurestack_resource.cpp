#include "src/model/azurestack_resource.h"

#include "src/base/logging.h"
#include "src/rest/authentication.h"

namespace azurestackpi {

azurestack_resource::azurestack_resource(const azs_rest_server_s* rest)
    : rest_(rest), client_(MakeResourceManagerClient(*rest)) {}

Status azurestack_resource::CreateUrl(const std::string& subpath) {
  const FunctionLog log(__func__);
  const Status status = client_.CreateQueryURL(rest_->management_endpoint.c_str(), &m_url, subpath.c_str());
  if (status != kOk) {
    log.error("Query Url formation failed rc: %d ", static_cast<int>(status));
    return status;
  }
  log.detail("m_url: %s", m_url.c_str());
  return kOk;
}

Status azurestack_resource::MakeAPICall(const std::string& subpath, int method, const _buffer_s* body, int block_type) {
  const FunctionLog log(__func__);
  log.flow("Enter :%s", subpath.c_str());
  if (const Status status = CreateUrl(subpath); status != kOk) {
    log.error("error CreateUrl failed :%d", static_cast<int>(status));
    return status;
  }
  ResetResponse();
  HttpRequest request;
  request.url = m_url;
  request.method = method;
  request.headers = {"Version: 4", "Content-Type: application/json", "Accept: application/json", "charset=utf-8"};
  request.body = body;
  request.block_type = block_type;
  return client_.SendHttpRequest(request, response_);
}

}  // namespace azurestackpi
