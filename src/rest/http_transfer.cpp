#include "src/rest/http_transfer.h"

#include <cstring>
#include <mutex>
#include <new>

#include "src/base/logging.h"
#include "src/base/secrets.h"
#include "src/config/config.h"

namespace azurestackpi {
namespace {

std::mutex m_curlInitMutex;
bool curl_initialised = false;  // curl's own state: made once, never torn down, so not reset with the rest

struct HeaderListDeleter {
  void operator()(curl_slist* list) const { CVGSS_curl_slist_free_all(list); }
};
using HeaderList = std::unique_ptr<curl_slist, HeaderListDeleter>;

HeaderList MakeHeaderList(const std::vector<std::string>& lines) {
  HeaderList list;
  for (const std::string& line : lines) {
    curl_slist* const longer = CVGSS_curl_slist_append(list.get(), line.c_str());
    if (longer == nullptr) {
      throw std::bad_alloc();
    }
    static_cast<void>(list.release());
    list.reset(longer);
  }
  return list;
}

// A proxy's address without the user and password that may stand in it; the password is remembered as a secret.
std::string WithoutUserInfo(const std::string& url) {
  const std::size_t at = url.rfind('@');
  if (at == std::string::npos) {
    return url;
  }
  const std::size_t scheme = url.find("://");
  const std::size_t begin = scheme == std::string::npos || scheme > at ? 0 : scheme + 3;
  const std::size_t colon = url.find(':', begin);
  if (colon < at) {
    RememberSecret(SecretKind::kCredential, url.substr(colon + 1, at - colon - 1));
  }
  return url.substr(0, begin) + url.substr(at + 1);
}

// A status line begins the header block anew, so that of several answers (100 Continue, a redirect) the last one stays.
std::size_t HeaderCallback(char* data, std::size_t size, std::size_t count, void* buffer) {
  if (buffer != nullptr && size * count >= 5 && std::memcmp(data, "HTTP/", 5) == 0) {
    static_cast<_buffer_s*>(buffer)->clear();
  }
  return WriteCallback(data, size, count, buffer);
}

}  // namespace

std::size_t WriteCallback(char* data, std::size_t size, std::size_t count, void* buffer) {
  const FunctionLog log(__func__);
  const std::size_t chunk = size * count;
  if (chunk == 0) {
    return 0;
  }
  if (buffer == nullptr) {
    log.error("ResponseBuffer is NULL for the callback write_callback.");
    return 0;
  }
  auto& taken = *static_cast<_buffer_s*>(buffer);
  if (chunk > kLongestBody - std::min(taken.size(), kLongestBody)) {
    log.error("The answer is longer than %zu bytes and is not taken. AAPI_Errno = %d", kLongestBody,
              static_cast<int>(kInternalError));
    return 0;
  }
  try {
    taken.append(data, chunk);
  } catch (const std::bad_alloc&) {
    log.error("fail to realloc in callback write_callback.");
    return 0;
  }
  return chunk;
}

void InitCurlGlobal() {
  const std::lock_guard<std::mutex> lock(m_curlInitMutex);
  if (!curl_initialised) {
    curl_initialised = CVGSS_curl_global_init(CURL_GLOBAL_ALL) == CURLE_OK;
  }
}

HttpTransfer::HttpTransfer() {
  InitCurlGlobal();
  handle_.reset(CVGSS_curl_easy_init());
  if (!handle_) {
    const FunctionLog log("HttpTransfer");
    log.error("in curl_easy_init.");
    log.error("failed to allocate memory. AAPI_Errno = %d", static_cast<int>(kOutOfMemory));
    return;
  }
  Set(CURLOPT_NOSIGNAL, 1L);
  // The token goes over TLS or not at all, wherever a redirect or an operation's address may point.
  Set(CURLOPT_PROTOCOLS_STR, "https");
  Set(CURLOPT_REDIR_PROTOCOLS_STR, "https");
  Set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
  Set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
}

void HttpTransfer::EnableTrace() {
  Set(CURLOPT_VERBOSE, 1L);
  Set(CURLOPT_DEBUGFUNCTION, &HttpTrace::CurloptDebugCallback);
  Set(CURLOPT_DEBUGDATA, static_cast<void*>(&trace_));
}

void HttpTransfer::ApplyTls(bool is_internet_call) {
  const FunctionLog log("SendHttpRequest");
  const AzureStackPi_Config& config = AzureStackPi_Config::getInstance();
  if (config.ValidatePeer()) {
    log.flow("Using SSL Peer and Host Validation.");
    Set(CURLOPT_SSL_VERIFYHOST, 2L);
    Set(CURLOPT_SSL_VERIFYPEER, 1L);
    Set(CURLOPT_CAINFO, config.CaFile().c_str());
    if (!is_internet_call) {
      Set(CURLOPT_CAPATH, static_cast<const char*>(nullptr));
    }
    log.flow("Using CURLOPT_CAINFO as %s", config.CaFile().c_str());
  } else {
    log.flow("SSL Peer and Host Validations would be skipped");
    Set(CURLOPT_SSL_VERIFYHOST, 0L);
    Set(CURLOPT_SSL_VERIFYPEER, 0L);
  }
}

void HttpTransfer::ApplyProxy(bool is_internet_call) {
  const FunctionLog log("SendHttpRequest");
  AzureStackPi_Config& config = AzureStackPi_Config::getInstance();
  const std::string prefix = is_internet_call ? "Internet" : "Intranet";
  log.detail("Checking for proxy settings ");
  std::string url;
  if (config.GetCredsVal(prefix + "ProxyUrl", url, true) != kOk || url.empty()) {
    return;
  }
  Set(CURLOPT_PROXY, url.c_str());
  log.flow("Using the %s proxy : %s", prefix.c_str(), WithoutUserInfo(url).c_str());
  std::string user;
  std::string password;
  if (config.GetCredsVal(prefix + "ProxyUsername", user, true) == kOk &&
      config.GetCredsVal(prefix + "ProxyPassword", password, true) == kOk) {
    Set(CURLOPT_PROXYAUTH, static_cast<long>(CURLAUTH_ANY));
    Set(CURLOPT_PROXYUSERPWD, (user + ":" + password).c_str());
    log.flow("Using following creds for %s proxy : %s:%s", prefix.c_str(), user.c_str(), kSecretMask.data());
  }
}

void HttpTransfer::Collect(_Response& response) {
  Set(CURLOPT_WRITEFUNCTION, &WriteCallback);
  Set(CURLOPT_HEADERFUNCTION, &HeaderCallback);
  Set(CURLOPT_WRITEDATA, static_cast<void*>(&response.body));
  Set(CURLOPT_HEADERDATA, static_cast<void*>(&response.header));
}

void HttpTransfer::SetUrl(const std::string& url) {
  url_ = url;
  Set(CURLOPT_URL, url_.c_str());
}

void HttpTransfer::FollowRedirects() { Set(CURLOPT_FOLLOWLOCATION, 1L); }

Status HttpTransfer::SetMethod(int method) {
  switch (method) {
    case kGet:
      return kOk;
    case kPut:
      Set(CURLOPT_CUSTOMREQUEST, "PUT");
      return kOk;
    case kPost:
      Set(CURLOPT_CUSTOMREQUEST, "POST");
      return kOk;
    case kDelete:
      Set(CURLOPT_CUSTOMREQUEST, "DELETE");
      return kOk;
    default: {
      const FunctionLog log("SendHttpRequest");
      log.error("Invalid HTTP method. AAPI_Errno = %d", static_cast<int>(kInvalidArgument));
      return kInvalidArgument;
    }
  }
}

void HttpTransfer::SetBody(const _buffer_s& body) {
  Set(CURLOPT_POSTFIELDS, body.data());
  Set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
}

Status HttpTransfer::Perform(const std::vector<std::string>& headers) {
  const HeaderList list = MakeHeaderList(headers);
  Set(CURLOPT_HTTPHEADER, list.get());
  const CURLcode result = first_failure_ == CURLE_OK ? CVGSS_curl_easy_perform(handle_.get()) : first_failure_;
  Set(CURLOPT_HTTPHEADER, static_cast<curl_slist*>(nullptr));
  trace_.Flush();
  if (result == CURLE_OK) {
    return kOk;
  }
  const Status status = MapCurlResult(result);
  const FunctionLog log("SendHttpRequest");
  log.error("preform the URL %s failed, <%d>: %s. AAPI_Errno = %d", url_.c_str(), static_cast<int>(result),
            CVGSS_curl_easy_strerror(result), static_cast<int>(status));
  return status;
}

long HttpTransfer::HttpStatus() const {
  long status = 0;
  CVGSS_curl_easy_getinfo(handle_.get(), CURLINFO_RESPONSE_CODE, &status);
  return status;
}

}  // namespace azurestackpi
