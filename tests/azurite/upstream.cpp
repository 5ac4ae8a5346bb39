#include "tests/azurite/upstream.h"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "sim/letter_case.h"

namespace azurite {
namespace {

using HeaderList = std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)>;

bool is_one_of(std::string_view name, std::initializer_list<std::string_view> names) {
  return std::any_of(names.begin(), names.end(),
                     [&](std::string_view known) { return sim::equal_ignoring_case(name, known); });
}

void append(HeaderList& list, const std::string& line) {
  list.reset(curl_slist_append(list.release(), line.c_str()));  // gives nullptr only when memory is exhausted
}

/// The client's headers and none of libcurl's own.
HeaderList header_lines(const sim::Request& request) {
  HeaderList list(nullptr, curl_slist_free_all);
  for (const auto& [name, value] : request.headers) {
    if (is_one_of(name, {"Connection", "Content-Length", "Expect", "Keep-Alive"})) continue;
    append(list, std::string(name).append(value.empty() ? ";" : ": ").append(value));
  }
  for (const char* own : {"Accept", "Content-Type"}) {
    if (!sim::find_header(request.headers, own)) append(list, std::string(own) + ":");
  }
  append(list, "Expect:");
  return list;
}

std::size_t take_body(const char* data, std::size_t size, std::size_t count, void* text) {
  static_cast<std::string*>(text)->append(data, size * count);
  return size * count;
}

/// A status line begins a head anew: the one before was an interim answer's.
std::size_t take_header(const char* data, std::size_t size, std::size_t count, void* headers) {
  auto& found = *static_cast<sim::Headers*>(headers);
  std::string_view line(data, size * count);
  if (line.starts_with("HTTP/")) found.clear();
  while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.remove_suffix(1);
  const std::size_t colon = line.find(':');
  if (colon == std::string_view::npos) return size * count;
  const std::string_view name = line.substr(0, colon);
  line.remove_prefix(std::min(line.find_first_not_of(' ', colon + 1), line.size()));
  found.emplace_back(name, line);
  return size * count;
}

void set_method(CURL* curl, const sim::Request& request) {
  if (request.method == "HEAD") {
    curl_easy_setopt(curl, CURLOPT_NOBODY, 1L);
    return;
  }
  if (sim::find_header(request.headers, "Content-Length")) {
    curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.body.size()));
    curl_easy_setopt(curl, CURLOPT_POSTFIELDS, request.body.data());
  }
  curl_easy_setopt(curl, CURLOPT_CUSTOMREQUEST, request.method.c_str());
}

/// Only the answer to HEAD has a length that is not its body's.
void remove_connection_headers(const std::string& method, sim::Headers& headers) {
  std::erase_if(headers, [&](const auto& header) {
    return is_one_of(header.first, {"Connection", "Keep-Alive", "Transfer-Encoding"}) ||
           (method != "HEAD" && is_one_of(header.first, {"Content-Length"}));
  });
}

}  // namespace

Upstream::Handle Upstream::borrow() {
  const std::lock_guard lock(mutex_);
  if (idle_.empty()) return {curl_easy_init(), curl_easy_cleanup};
  Handle handle = std::move(idle_.back());
  idle_.pop_back();
  return handle;
}

void Upstream::give_back(Handle handle) {
  curl_easy_reset(handle.get());  // keeps the connection
  const std::lock_guard lock(mutex_);
  idle_.push_back(std::move(handle));
}

sim::Response Upstream::send(const sim::Request& request) {
  Handle handle = borrow();
  CURL* curl = handle.get();
  const HeaderList lines = header_lines(request);
  sim::Response response;
  std::array<char, CURL_ERROR_SIZE> reason{};
  curl_easy_setopt(curl, CURLOPT_ERRORBUFFER, reason.data());
  curl_easy_setopt(curl, CURLOPT_NOPROXY, "*");
  curl_easy_setopt(curl, CURLOPT_URL, ("http://127.0.0.1:" + std::to_string(port_)).c_str());
  curl_easy_setopt(curl, CURLOPT_REQUEST_TARGET, request.target.c_str());
  curl_easy_setopt(curl, CURLOPT_HTTPHEADER, lines.get());
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, take_body);
  curl_easy_setopt(curl, CURLOPT_WRITEDATA, &response.body);
  curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, take_header);
  curl_easy_setopt(curl, CURLOPT_HEADERDATA, &response.headers);
  set_method(curl, request);
  if (curl_easy_perform(curl) != CURLE_OK) throw std::runtime_error(reason.data());
  long status = 0;
  curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
  response.status = static_cast<int>(status);
  remove_connection_headers(request.method, response.headers);
  give_back(std::move(handle));
  return response;
}

}  // namespace azurite
