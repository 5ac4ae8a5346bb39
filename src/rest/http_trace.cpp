#include "src/rest/http_trace.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <new>
#include <string_view>

#include "src/base/logging.h"
#include "src/base/secrets.h"

namespace azurestackpi {
namespace {

const char* KindText(curl_infotype kind) {
  switch (kind) {
    case CURLINFO_HEADER_OUT:
      return "=> Send header";
    case CURLINFO_DATA_OUT:
      return "=> Send data";
    case CURLINFO_SSL_DATA_OUT:
      return "=> Send SSL data";
    case CURLINFO_HEADER_IN:
      return "<= Recv header";
    case CURLINFO_DATA_IN:
      return "<= Recv data";
    case CURLINFO_SSL_DATA_IN:
      return "<= Recv SSL data";
    default:
      return "=> Info";
  }
}

void MaskBetween(std::string& text, std::string_view begin_mark, std::string_view end_mark) {
  for (std::size_t found = text.find(begin_mark); found != std::string::npos; found = text.find(begin_mark, found)) {
    found += begin_mark.size();
    const std::size_t end = std::min(text.find(end_mark, found), text.size());
    text.replace(found, end - found, kSecretMask);
    found += kSecretMask.size();
  }
}

// The identity that a token request carries, on top of what every log line is searched for.
void MaskSent(curl_infotype kind, std::string& text) {
  if (kind == CURLINFO_DATA_OUT) {
    for (const std::string_view field : {"client_id=", "client_secret=", "username=", "password="}) {
      MaskBetween(text, field, "&");
    }
  } else if (kind == CURLINFO_HEADER_OUT && text.find("Content-Length:") != std::string::npos) {
    MaskBetween(text, "Authorization:", "Content-Length:");
  }
}

bool IsBinary(curl_infotype kind) { return kind == CURLINFO_SSL_DATA_OUT || kind == CURLINFO_SSL_DATA_IN; }

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
  if (kind != kind_ || kind == CURLINFO_TEXT) {
    Flush();
  }
  kind_ = kind;
  const std::size_t room = kLongestLine - std::min(held_.size(), kLongestLine);
  held_.append(data, std::min(size, room));
}

void HttpTrace::Flush() noexcept {
  if (held_.empty()) {
    return;
  }
  try {
    std::replace_if(
        held_.begin(), held_.end(),
        [this](char c) { return c == '\0' || (IsBinary(kind_) && std::isprint(static_cast<unsigned char>(c)) == 0); },
        '.');
    MaskSent(kind_, held_);
    const FunctionLog log("CurloptDebugCallback");
    if (kind_ == CURLINFO_TEXT) {
      log.detail("=> Info: %s", held_.c_str());
    } else {
      log.detail(" %s : %s", KindText(kind_), held_.c_str());
    }
  } catch (const std::bad_alloc&) {
    // As above.
  }
  held_.clear();
}

}  // namespace azurestackpi
