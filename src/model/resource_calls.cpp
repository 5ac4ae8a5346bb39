#include "src/model/resource_calls.h"

#include <algorithm>

#include "src/base/text.h"
#include "src/rest/authentication.h"
#include "src/rest/json_text.h"

namespace azurestackpi {
namespace {

bool IsAddressByte(unsigned char byte) {
  return byte >= 0x20 && byte != 0x7f && byte != '?' && byte != '#' && byte != '%' && byte != '\\';
}

constexpr std::size_t kLongestReason = 100;
constexpr std::size_t kLongestMessage = 1000;

// What an error code looks like; anything else does not belong into a line that hosts read.
bool IsErrorCode(const std::string& text) {
  constexpr const char* known = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789._-";
  return !text.empty() && text.size() <= kLongestReason && text.find_first_not_of(known) == std::string::npos;
}

// What a service writes becomes one piece of a line, whatever it holds.
std::string Printable(std::string text, std::size_t longest) {
  text.resize(std::min(text.size(), longest));
  std::replace_if(
      text.begin(), text.end(), [](unsigned char byte) { return byte < 0x20 || byte == 0x7f; }, ' ');
  return text;
}

// One odd element must not hide the others; somebody has to look, since the list may lack something.
Status OpenList(const FunctionLog& log, const _Response& response, const char* kind, JsonPtr& root) {
  const Status status = OpenAnswer(log, response, kind, root);
  if (status != kBadJson) {
    return status;
  }
  root = ParseJsonLeniently(response.body);
  if (!root) {
    return kBadJson;
  }
  log.error("A part of the list cannot be read");
  return kOk;
}

// The list in an answer; null, with an error line, when there is none.
const json_t* ListedValues(const FunctionLog& log, const json_t* root) {
  const json_t* const values = json_object_get(root, "value");
  if (!json_is_array(values)) {
    log.error("The answer holds no list");
    return nullptr;
  }
  return values;
}

}  // namespace

ResourceCalls::ResourceCalls(const azs_rest_server_s& rest) : client_(MakeResourceManagerClient(rest)) {}

Status ResourceCalls::CreateUrl(const std::string& subpath, const char* line_end) {
  const FunctionLog log(__func__);
  const std::string& host = client_.RestServer().management_endpoint;
  const Status status = client_.CreateQueryURL(host.c_str(), &m_url, subpath.c_str());
  if (status != kOk) {
    log.error("Query Url formation failed rc: %d%s", static_cast<int>(status), line_end);
    return status;
  }
  log.detail("m_url: %s", m_url.c_str());
  return kOk;
}

Status ResourceCalls::Send(int method, const _buffer_s* body, int block_type, Redirect redirect) {
  HttpRequest request;
  request.url = m_url;
  request.method = method;
  request.headers = {"Version: 4", "Content-Type: application/json", "Accept: application/json", "charset=utf-8"};
  request.body = body;
  request.redirect = redirect;
  request.block_type = block_type;
  sent_ = client_.SendHttpRequest(request, response_);
  return sent_;
}

ResourceCalls::Presence ResourceCalls::Look() {
  constexpr long kThereStatus = 200;
  constexpr long kAbsentStatus = 404;
  if (Get() != kOk) {
    return Presence::kUnknown;
  }
  const bool absent = HttpStatus() == kAbsentStatus;
  return HttpStatus() == kThereStatus ? Presence::kThere : absent ? Presence::kAbsent : Presence::kUnknown;
}

const _Response& ResourceCalls::failure_response() const {
  const bool by_operation = sent_ >= kAsyncNoStatus && sent_ <= kAsyncUnknown;
  return by_operation ? client_.AsyncResponse() : response_;
}

std::string ResourceCalls::WhyFailed() const {
  std::string why = sent_ == kOk ? "Resource Manager answered " + std::to_string(HttpStatus())
                                 : "status " + std::to_string(sent_) + ", " + StatusText(sent_);
  const ServiceError error = ReadServiceError(failure_response().body);
  for (const std::string* const part : {&error.code, &error.message}) {
    if (!part->empty()) {
      why.append(": ").append(*part);
    }
  }
  return why;
}

std::string ResourceCalls::WhyNotMade() const {
  return sent_ == kOk ? WhyFailed() : WhyFailed() + "; without an answer it is not known whether it is there now";
}

ServiceError ReadServiceError(const std::string& body) {
  json_error_t ignored{};
  const JsonPtr root = ParseJson(body, ignored);
  const json_t* const error = json_object_get(root.get(), "error");
  return {Printable(JsonStringOrEmpty(error, "code"), kLongestReason),
          Printable(JsonStringOrEmpty(error, "message"), kLongestMessage)};
}

Status OpenJson(const FunctionLog& log, const std::string& body, JsonPtr& root, const char* what) {
  json_error_t error{};
  root = ParseJson(body, error);
  if (!root) {
    log.error("error while parsing json%s: on line %d: %s", what, error.line, error.text);
    return kBadJson;
  }
  return kOk;
}

Status OpenAnswer(const FunctionLog& log, const _Response& response, const char* kind, JsonPtr& root,
                  const char* what) {
  if (const Status status = CheckHeader(response.header.c_str(), response.body.c_str(), kind); status != kOk) {
    return status;
  }
  log.flow("Response Header Looks Good !!");
  return OpenJson(log, response.body, root, what);
}

std::string WhyUnusable(const _Response& response) {
  const std::string status_line = response.header.substr(0, response.header.find_first_of("\r\n"));
  const std::size_t code = status_line.find(' ');
  if (code == std::string::npos || status_line.find(" 200 ") == code) {
    return "Resource Manager sent something that is not JSON";
  }
  json_error_t ignored{};
  const JsonPtr root = ParseJson(response.body, ignored);
  const std::string error = JsonStringOrEmpty(json_object_get(root.get(), "error"), "code");
  std::string why = "Resource Manager answered" + status_line.substr(code, kLongestReason);
  return IsErrorCode(error) ? why.append(" (").append(error).append(")") : why;
}

Status ReadList(const FunctionLog& log, const _Response& response, const Listing& listing,
                const std::function<Status(const json_t*)>& take) {
  JsonPtr root;
  if (const Status status = OpenList(log, response, listing.kind, root); status != kOk) {
    return status;
  }
  const json_t* const values = ListedValues(log, root.get());
  if (values == nullptr && listing.without_list != kOk) {
    return listing.without_list;
  }
  log.detail("Total %s: %d", listing.counted, static_cast<int>(json_array_size(values)));
  for (std::size_t i = 0; i < json_array_size(values); ++i) {
    if (const Status status = take(json_array_get(values, i)); status != kOk) {
      return status;
    }
  }
  LogOtherMembers(log, root.get(), "value");
  return kOk;
}

void LogOtherMembers(const FunctionLog& log, json_t* root, std::string_view known) {
  const char* key = nullptr;
  json_t* value = nullptr;
  json_object_foreach(root, key, value) {
    if (known == key) {
      continue;
    }
    const std::string text = CompactJson(value);
    if (std::string_view("nextLink") == key && json_is_string(value) && !text.empty()) {
      log.error("Next Page Exists at %s", text.c_str());
    } else {
      log.detail("%s = %s", key, text.c_str());
    }
  }
}

std::string CompactJson(const json_t* value) {
  if (json_is_string(value)) {
    return json_string_value(value);
  }
  const CText text(json_dumps(value, JSON_COMPACT | JSON_ENCODE_ANY));
  return getValue(text.get());
}

bool IsUrlPath(std::string_view text) {
  if (!std::all_of(text.begin(), text.end(), IsAddressByte)) {
    return false;
  }
  while (true) {
    const std::size_t end = std::min(text.find('/'), text.size());
    const std::string_view segment = text.substr(0, end);
    if (segment == "." || segment == "..") {
      return false;
    }
    if (end == text.size()) {
      return true;
    }
    text.remove_prefix(end + 1);
  }
}

bool IsPathSegment(std::string_view text) {
  return !text.empty() && text.find('/') == std::string_view::npos && IsUrlPath(text);
}

std::string LastPathComponent(const std::string& id) {
  const std::string path = rtrim(id, "/");
  return path.substr(path.rfind('/') + 1);
}

}  // namespace azurestackpi
