#include "storage/transfer.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <string_view>
#include <utility>

#include "platform/curl_wrapper.h"
#include "storage/encoding.h"

namespace azurestoragewrapper {
namespace {

constexpr std::size_t kLongestErrorBody = 65536;
constexpr std::size_t kMostHeaders = 200;
constexpr long kBufferSize = 128L * 1024;  // of curl's own: few reads of the socket, and it stays in the cache

constexpr long kUploadBufferSize = 512L * 1024;

std::string_view trimmed(std::string_view text) {
  const std::size_t begin = text.find_first_not_of(" \t\r\n");
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(" \t\r\n") - begin + 1);
}

}  // namespace

const std::string& Answer::header(const std::string& name) const {
  static const std::string kNone;
  const auto found = headers.find(name);
  return found == headers.end() ? kNone : found->second;
}

Transfer::Transfer(Connections connections)
    : handle_(connections == Connections::of_thread ? CVGSS_curl_easy_init() : curl_easy_init(),
              connections == Connections::of_thread ? &CVGSS_curl_easy_cleanup : &curl_easy_cleanup) {
  if (!handle_) throw std::bad_alloc();
}

template <typename Value>
void Transfer::set(CURLoption option, Value value) {
  if (curl_easy_setopt(handle_.get(), option, value) == CURLE_OUT_OF_MEMORY) throw std::bad_alloc();
}

void Transfer::prepare(const SignedRequest& signed_request, const Request& request, const client_options& options,
                       Sink sink) {
  sink_ = std::move(sink);
  answer_ = {};
  thrown_ = nullptr;
  error_.fill('\0');
  success_ = request.success;
  upload_ = request.body;
  uploaded_ = 0;
  curl_easy_reset(handle_.get());
  set(CURLOPT_URL, signed_request.url.c_str());
  set_headers(signed_request);
  set_method(request);
  set_connection(options);
  set(CURLOPT_ERRORBUFFER, error_.data());
  set(CURLOPT_WRITEFUNCTION, &Transfer::on_body);
  set(CURLOPT_WRITEDATA, static_cast<void*>(this));
  set(CURLOPT_HEADERFUNCTION, &Transfer::on_header);
  set(CURLOPT_HEADERDATA, static_cast<void*>(this));
}

void Transfer::set_headers(const SignedRequest& signed_request) {
  headers_.reset();
  const auto add = [this](const char* line) {
    curl_slist* const longer = curl_slist_append(headers_.get(), line);
    if (longer == nullptr) throw std::bad_alloc();
    static_cast<void>(headers_.release());
    headers_.reset(longer);
  };
  for (const std::string& line : signed_request.header_lines) add(line.c_str());
  add("Expect:");  // the service answers an upload that it refuses soon enough; a round trip saved
  set(CURLOPT_HTTPHEADER, headers_.get());
}

void Transfer::set_method(const Request& request) {
  if (request.method == "HEAD") {
    set(CURLOPT_NOBODY, 1L);
  } else if (request.method == "PUT") {
    set(CURLOPT_UPLOAD, 1L);
    set(CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(upload_.size()));
    set(CURLOPT_READFUNCTION, &Transfer::on_upload);
    set(CURLOPT_READDATA, static_cast<void*>(this));
    set(CURLOPT_SEEKFUNCTION, &Transfer::on_rewind);
    set(CURLOPT_SEEKDATA, static_cast<void*>(this));
    set(CURLOPT_UPLOAD_BUFFERSIZE, kUploadBufferSize);
  } else if (request.method != "GET") {
    set(CURLOPT_CUSTOMREQUEST, request.method.c_str());
  }
}

void Transfer::set_connection(const client_options& options) {
  set(CURLOPT_NOSIGNAL, 1L);
  set(CURLOPT_PATH_AS_IS, 1L);  // it is signed so
  set(CURLOPT_PROTOCOLS_STR, "http,https");
  set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
  set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
  set(CURLOPT_BUFFERSIZE, kBufferSize);
  set(CURLOPT_CONNECTTIMEOUT, options.connect_timeout_seconds);
  set(CURLOPT_LOW_SPEED_LIMIT, 1024L);
  set(CURLOPT_LOW_SPEED_TIME, options.stall_timeout_seconds);
  set(CURLOPT_SSL_VERIFYPEER, options.verify_tls ? 1L : 0L);
  set(CURLOPT_SSL_VERIFYHOST, options.verify_tls ? 2L : 0L);
  if (!options.ca_file.empty()) {
    set(CURLOPT_CAINFO, options.ca_file.c_str());
    set(CURLOPT_CAPATH, static_cast<const char*>(nullptr));
  }
  if (!options.proxy.empty()) {
    set(CURLOPT_PROXY, options.proxy.c_str());
    set(CURLOPT_PROXYAUTH, static_cast<long>(CURLAUTH_ANY));
    if (!options.proxy_credentials.empty()) set(CURLOPT_PROXYUSERPWD, options.proxy_credentials.c_str());
  }
}

const Answer& Transfer::answer() {
  long status = 0;
  curl_easy_getinfo(handle_.get(), CURLINFO_RESPONSE_CODE, &status);
  answer_.status = static_cast<int>(status);
  return answer_;
}

std::optional<Failure> Transfer::failure(CURLcode result, const std::string& doing) {
  if (thrown_) std::rethrow_exception(std::exchange(thrown_, nullptr));
  const bool refused = answer().status >= 300;  // then its body may have been broken off as too long
  if (result != CURLE_OK && !(result == CURLE_WRITE_ERROR && refused))
    return failure_of_transfer(result, error_.data(), doing);
  if (!answer_.succeeded()) return failure_of_answer(answer_, doing);
  if (answer_.status == success_) return std::nullopt;
  Failure failure = failure_of_form("the answer is not the blob service's", doing, false);
  failure.http_status = answer_.status;
  return failure;
}

double Transfer::answer_wait_ms() const { return ms_since_sending(CURLINFO_STARTTRANSFER_TIME_T); }

double Transfer::duration_ms() const { return ms_since_sending(CURLINFO_TOTAL_TIME_T); }

double Transfer::ms_since_sending(CURLINFO until) const {
  curl_off_t sent = 0;
  curl_off_t end = 0;
  curl_easy_getinfo(handle_.get(), CURLINFO_PRETRANSFER_TIME_T, &sent);
  curl_easy_getinfo(handle_.get(), until, &end);
  return end > sent ? static_cast<double>(end - sent) / 1000.0 : 0.0;
}

std::size_t Transfer::take(std::span<const std::byte> bytes) {
  if (answer().succeeded()) return sink_ && sink_(bytes) ? bytes.size() : 0;
  const std::size_t room = kLongestErrorBody - answer_.body.size();
  answer_.body.append(reinterpret_cast<const char*>(bytes.data()), std::min(room, bytes.size()));
  return bytes.size() <= room ? bytes.size() : 0;
}

// No exception may pass through curl: it ends the transfer and goes on in failure().
std::size_t Transfer::on_body(char* data, std::size_t size, std::size_t count, void* self) {
  auto& transfer = *static_cast<Transfer*>(self);
  try {
    return transfer.take(std::as_bytes(std::span(data, size * count)));
  } catch (...) {
    transfer.thrown_ = std::current_exception();
    return 0;
  }
}

std::size_t Transfer::on_header(char* data, std::size_t size, std::size_t count, void* self) {
  auto& transfer = *static_cast<Transfer*>(self);
  auto& headers = transfer.answer_.headers;
  const std::string_view line(data, size * count);
  try {
    const std::size_t colon = line.find(':');
    if (line.starts_with("HTTP/")) {
      headers.clear();  // of several answers, 100 Continue or a proxy's, the last one counts
    } else if (colon != std::string_view::npos && headers.size() < kMostHeaders) {
      headers[to_lower(std::string(line.substr(0, colon)))] = std::string(trimmed(line.substr(colon + 1)));
    }
    return line.size();
  } catch (...) {
    transfer.thrown_ = std::current_exception();
    return 0;
  }
}

std::size_t Transfer::on_upload(char* buffer, std::size_t size, std::size_t count, void* self) {
  auto& transfer = *static_cast<Transfer*>(self);
  const std::size_t piece = std::min(size * count, transfer.upload_.size() - transfer.uploaded_);
  std::memcpy(buffer, transfer.upload_.data() + transfer.uploaded_, piece);
  transfer.uploaded_ += piece;
  return piece;
}

int Transfer::on_rewind(void* self, curl_off_t offset, int origin) {
  auto& transfer = *static_cast<Transfer*>(self);
  if (origin != SEEK_SET || offset < 0 || static_cast<std::size_t>(offset) > transfer.upload_.size()) {
    return CURL_SEEKFUNC_FAIL;
  }
  transfer.uploaded_ = static_cast<std::size_t>(offset);
  return CURL_SEEKFUNC_OK;
}

}  // namespace azurestoragewrapper
