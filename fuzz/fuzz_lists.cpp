// Lists of Resource Manager and its errors, and what is taken out of their elements.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "src/model/azurestack_network.h"
#include "src/model/resource_calls.h"
#include "src/rest/json_text.h"

namespace {

using namespace azurestackpi;

// What becomes part of an address or a path is what it looks like.
Status TakeElement(const json_t* element) {
  const std::string name = JsonStringOrEmpty(element, "name");
  if (IsPathSegment(name) && (name.find('/') != std::string::npos || name.find('\0') != std::string::npos)) {
    std::abort();
  }
  const std::string id = JsonStringOrEmpty(element, "id");
  if (LastPathComponent(id).find('/') != std::string::npos) {
    std::abort();
  }
  std::string parts[4];
  azurestack_network::parseResourceId(id, parts[0], parts[1], parts[2], parts[3]);
  return kOk;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const FunctionLog log(__func__);
  _Response response;
  response.header = "HTTP/1.1 200 OK\r\n\r\n";
  response.body.assign(reinterpret_cast<const char*>(data), size);
  const Status status = ReadList(log, response, {"vm", "VMs", kBadJson}, TakeElement);
  if (status != kOk && status != kBadJson) {
    std::abort();
  }
  const ServiceError error = ReadServiceError(response.body);
  for (const std::string& text : {error.code, error.message}) {
    if (text.find_first_of("\r\n") != std::string::npos) {
      std::abort();
    }
  }
  response.header = "HTTP/1.1 403 Forbidden\r\n\r\n";
  static_cast<void>(WhyUnusable(response));
  return 0;
}
