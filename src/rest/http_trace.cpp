#include "src/rest/http_trace.h"

#include <algorithm>
#include <new>
#include <string_view>

#include "src/base/logging.h"
#include "src/base/secrets.h"

namespace azurestackpi {
namespace {

void MaskBetween(std::string& text, std::string_view begin_mark, std::string_view end_mark) {
  for (std::size_t found = text.find(begin_mark); found != std::string::npos; found = text.find(begin_mark, found)) {
    found += begin_mark.size();
    const std::size_t end = std::min(text.find(end_mark, found), text.size());
    text.replace(found, end - found, kSecretMask);
    found += kSecretMask.size();
  }
}

void Append(std::string& held, const char* data, std::size_t size) {
  held.append(data, std::min(size, kLongestLine - std::min(held.size(), kLongestLine)));
}

// One line of a trace; what is held is empty afterwards.
void Write(const char* kind, std::string& held) {
  if (held.empty()) {
    return;
  }
  std::replace(held.begin(), held.end(), '\0', '.');
  FunctionLog("CurloptDebugCallback").detail(" %s : %s", kind, held.c_str());
  held.clear();
}

}  // namespace

int HttpTrace::CurloptDebugCallback(CURL* /*handle*/, curl_infotype kind, char* data, std::size_t size,
                                    void* user) noexcept {
  try {
    static_cast<HttpTrace*>(user)->Take(kind, data, size);
  } catch (const std::bad_alloc&) {
    // A trace line that memory is too short for is lost; the transfer goes on.
  }
  return 0;
}

void HttpTrace::Take(curl_infotype kind, const char* data, std::size_t size) {
  const FunctionLog log("CurloptDebugCallback");
  switch (kind) {
    case CURLINFO_HEADER_OUT:
      FlushReceived();
      return Append(sent_.header, data, size);
    case CURLINFO_DATA_OUT:
      FlushReceived();
      return Append(sent_.data, data, size);
    case CURLINFO_HEADER_IN:
      FlushSent();
      return Append(received_.header, data, size);
    case CURLINFO_DATA_IN:
      FlushSent();
      return Append(received_.data, data, size);
    // The bytes of TLS itself tell nobody anything, and are secrets in part.
    case CURLINFO_SSL_DATA_OUT:
      return log.detail(" => Send SSL data : %zu bytes", size);
    case CURLINFO_SSL_DATA_IN:
      return log.detail(" <= Recv SSL data : %zu bytes", size);
    default:
      return log.detail("=> Info: %s", std::string(data, size).c_str());
  }
}

void HttpTrace::FlushSent() {
  // The identity that a token request carries, on top of what every log line is searched for.
  for (const std::string_view field : {"client_id=", "username="}) {
    MaskBetween(sent_.data, field, "&");
  }
  Write("=> Send header", sent_.header);
  Write("=> Send data", sent_.data);
}

void HttpTrace::FlushReceived() {
  Write("<= Recv header", received_.header);
  Write("<= Recv data", received_.data);
}

void HttpTrace::Flush() noexcept {
  try {
    FlushSent();
    FlushReceived();
  } catch (const std::bad_alloc&) {
    // As above.
  }
}

}  // namespace azurestackpi
