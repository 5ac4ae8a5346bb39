#include "src/rest/http_message.h"

#include <strings.h>

#include <algorithm>
#include <cstring>

#include "src/base/logging.h"
#include "src/base/text.h"
#include "src/rest/json_text.h"

namespace azurestackpi {
namespace {

constexpr const char* kNotAvailable = "n/a";

std::string_view NextLine(std::string_view& block) {
  const std::size_t end = std::min(block.find_first_of("\r\n"), block.size());
  const std::string_view line = block.substr(0, end);
  block.remove_prefix(std::min(block.find_first_not_of("\r\n", end), block.size()));
  return line;
}

}  // namespace

bool IsOverload(long http_status) {
  return http_status == 429 || http_status == 500 || http_status == 502 || http_status == 503;
}

std::string GetTagValueFromResponseHeader(std::string_view header_block, std::string_view tag) {
  const std::string_view name = tag.substr(0, tag.find_last_not_of(": ") + 1);
  if (header_block.empty() || name.empty()) {
    const FunctionLog log(__func__);
    log.error("Empty header or tag value specified");
    return {};
  }
  while (!header_block.empty()) {
    std::string_view line = NextLine(header_block);
    if (line.size() > name.size() && EqualIgnoringCase(line.substr(0, name.size()), name)) {
      line.remove_prefix(std::min(line.find_first_not_of(' ', name.size()), line.size()));
      if (!line.empty() && line.front() == ':') {
        return trimSpace(std::string(line.substr(1)), " \t");
      }
    }
  }
  return {};
}

std::string AuthenticationErrorDescription(std::string_view header_block) {
  constexpr std::string_view mark = "error_description=\"";
  const std::string lower = ToLower(header_block);
  const std::size_t found = lower.find(mark);
  if (found == std::string::npos) {
    return {};
  }
  const std::size_t begin = found + mark.size();
  const std::size_t end = lower.find_first_of("\"\r\n", begin);
  return end != std::string::npos && lower[end] == '"' ? lower.substr(begin, end - begin) : std::string();
}

Status CheckHeader(const char* header, const char* content, const char* api_name) {
  const FunctionLog log(__func__);
  if (header == nullptr) {
    log.error("Invalid arguments. AAPI_Errno = %d", static_cast<int>(kInvalidArgument));
    return kInvalidArgument;
  }
  if (std::strncmp(header, "HTTP/", 5) != 0 || std::strstr(header, "200 OK") != nullptr) {
    return kOk;
  }
  log.error("header: %s", header);
  log.error("content: %s", content == nullptr ? "" : content);
  Status status = kCannotCommunicate;
  if (std::strstr(header, "401 Unauthorized") != nullptr) {
    status = kNotAuthorized;
  } else if (std::strstr(header, "404 Not Found") != nullptr) {
    status = kServerUnavailable;
  }
  log.error("Error calling AzureStack API (%s). AAPI_Errno = %d", api_name, static_cast<int>(status));
  return status;
}

std::string GetHttpStatusValueFromResponseBody(std::string_view body, const char* key) {
  const FunctionLog log(__func__);
  if (body.empty() || key == nullptr || *key == '\0') {
    log.error("Empty body or tag value specified");
    return kNotAvailable;
  }
  json_error_t error{};
  const JsonPtr root = ParseJson(body, error);
  if (!root) {
    log.error("error while parsing json: on line %d: %s", error.line, error.text);
    return kNotAvailable;
  }
  const json_t* const member = json_object_get(root.get(), key);
  if (!json_is_string(member)) {
    return kNotAvailable;
  }
  log.flow("Found %s value as %s", key, json_string_value(member));
  return json_string_value(member);
}

}  // namespace azurestackpi
