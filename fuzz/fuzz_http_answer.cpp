// An answer's header block and body, split at the first empty line, through every reader of the transport.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "src/rest/authentication.h"
#include "src/rest/http_message.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string answer(reinterpret_cast<const char*>(data), size);
  const std::size_t end = answer.find("\r\n\r\n");
  const std::string header = answer.substr(0, end);
  const std::string body = end == std::string::npos ? std::string() : answer.substr(end + 4);

  azurestackpi::CheckHeader(header.c_str(), body.c_str(), "fuzz");
  for (const char* tag : {"Azure-AsyncOperation: ", "Retry-After: ", "Location"}) {
    const std::string value = azurestackpi::GetTagValueFromResponseHeader(header, tag);
    if (value.find_first_of("\r\n") != std::string::npos) {
      std::abort();  // a value never spans lines
    }
  }
  azurestackpi::AuthenticationErrorDescription(header);
  azurestackpi::GetHttpStatusValueFromResponseBody(body, "status");

  azurestackpi::AzureStackPi_Authentication::Token token;
  if (azurestackpi::AzureStackPi_Authentication::ParseAuthResponse(header, body, token) == azurestackpi::kOk &&
      (token.value.empty() || token.value.find_first_of("\r\n ") != std::string::npos)) {
    std::abort();  // a token fits one header line
  }
  return 0;
}
