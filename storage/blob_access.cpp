#include "storage/blob_access.h"

#include <curl/curl.h>

#include <algorithm>
#include <map>
#include <memory>

#include "storage/azurestorage_exception.h"
#include "storage/encoding.h"

namespace azurestoragewrapper {
namespace {

using Fields = std::vector<std::pair<std::string, std::string>>;

[[noreturn]] void refuse(const std::string& message) { throw azurestorage_exception(Failure{.message = message}); }

// "NAME=VALUE;..." by name; a value may hold "=".
std::map<std::string, std::string> pieces_of(const std::string& connection_string) {
  std::map<std::string, std::string> pieces;
  std::size_t begin = 0;
  while (begin < connection_string.size()) {
    const std::size_t end = std::min(connection_string.find(';', begin), connection_string.size());
    const std::string piece = connection_string.substr(begin, end - begin);
    const std::size_t equals = piece.find('=');
    if (equals != std::string::npos) pieces[piece.substr(0, equals)] = piece.substr(equals + 1);
    begin = end + 1;
  }
  return pieces;
}

std::string piece_of(const std::map<std::string, std::string>& pieces, const std::string& name) {
  const auto found = pieces.find(name);
  if (found == pieces.end() || found->second.empty())
    refuse("the connection string of a storage account has no " + name);
  return found->second;
}

using UrlPtr = std::unique_ptr<CURLU, decltype(&curl_url_cleanup)>;

std::string url_part(const UrlPtr& url, CURLUPart part) {
  char* text = nullptr;
  if (curl_url_get(url.get(), part, &text, 0) != CURLUE_OK || text == nullptr) return {};
  const std::unique_ptr<char, decltype(&curl_free)> owner(text, &curl_free);
  return text;
}

// The decoded value of a query's field, empty when it is missing.
std::string field_of(const std::string& query, const std::string& name) {
  std::size_t begin = 0;
  while (begin < query.size()) {
    const std::size_t end = std::min(query.find('&', begin), query.size());
    const std::string field = query.substr(begin, end - begin);
    if (to_lower(field.substr(0, field.find('='))) == name && field.find('=') != std::string::npos) {
      return percent_decode(field.substr(field.find('=') + 1));
    }
    begin = end + 1;
  }
  return {};
}

std::string encoded_query(const Fields& query) {
  std::string text;
  for (const auto& [name, value] : query) {
    if (!text.empty()) text += '&';
    text.append(name).append("=").append(percent_encode(value, "/,:"));
  }
  return text;
}

}  // namespace

BlobAccess::BlobAccess(const std::string& connection_string, std::string container, std::string blob)
    : container_(std::move(container)), blob_(std::move(blob)) {
  const auto pieces = pieces_of(connection_string);
  const std::string protocol = to_lower(piece_of(pieces, "DefaultEndpointsProtocol"));
  if (protocol != "http" && protocol != "https") refuse("a storage account is asked by http or https, not " + protocol);
  // The account is part of the host name, and the service compares the signed name with the host's letters.
  account_ = to_lower(piece_of(pieces, "AccountName"));
  const auto key = base64_decode(piece_of(pieces, "AccountKey"));
  if (!key) refuse("the key of storage account " + account_ + " is not base64");
  key_ = *key;
  endpoint_ = protocol + "://" + account_ + ".blob." + to_lower(piece_of(pieces, "EndpointSuffix"));
}

BlobAccess::BlobAccess(const std::string& access_uri) {
  const UrlPtr url(curl_url(), &curl_url_cleanup);
  if (!url) throw std::bad_alloc();
  if (curl_url_set(url.get(), CURLUPART_URL, access_uri.c_str(), CURLU_URLENCODE | CURLU_PATH_AS_IS) != CURLUE_OK) {
    refuse("the shared-access address of a blob is not an address");
  }
  const std::string scheme = url_part(url, CURLUPART_SCHEME);
  const std::string port = url_part(url, CURLUPART_PORT);
  const std::string path = url_part(url, CURLUPART_PATH);
  const std::size_t slash = path.find('/', 1);
  if ((scheme != "http" && scheme != "https") || slash == std::string::npos || slash + 1 == path.size()) {
    refuse("the shared-access address is not the http or https address of a blob");
  }
  endpoint_ = scheme + "://" + to_lower(url_part(url, CURLUPART_HOST)) + (port.empty() ? "" : ":" + port);
  container_ = percent_decode(path.substr(1, slash - 1));
  blob_ = percent_decode(path.substr(slash + 1));
  signature_ = url_part(url, CURLUPART_QUERY);
  snapshot_ = field_of(signature_, "snapshot");
}

BlobAccess BlobAccess::with_snapshot(const std::string& snapshot) const {
  BlobAccess other(*this);
  other.snapshot_ = snapshot;
  return other;
}

BlobAccess BlobAccess::with_blob(const std::string& container, const std::string& blob) const {
  BlobAccess other(*this);
  other.container_ = container;
  other.blob_ = blob;
  other.snapshot_.clear();
  return other;
}

std::string BlobAccess::path(Resource resource) const {
  if (resource == Resource::account) return "/";
  const std::string container = "/" + percent_encode(container_);
  return resource == Resource::container ? container : container + "/" + percent_encode(blob_, "/");
}

std::string BlobAccess::uri() const { return endpoint_ + path(blob_.empty() ? Resource::container : Resource::blob); }

std::string BlobAccess::described() const { return uri() + (snapshot_.empty() ? "" : " as of " + snapshot_); }

SignedRequest BlobAccess::sign(const Request& request, std::time_t now, const std::string& api_version) const {
  Fields query = request.query;
  const bool in_signature = !field_of(signature_, "snapshot").empty();
  if (request.resource == Resource::blob && !snapshot_.empty() && !in_signature)
    query.emplace_back("snapshot", snapshot_);
  Fields headers = request.headers;
  headers.emplace_back("x-ms-version", api_version);
  // Only this one: where Date is sent too, servers do not agree on which of them is signed.
  if (signature_.empty()) headers.emplace_back("x-ms-date", http_date(now));
  std::sort(headers.begin(), headers.end());

  const std::string path = this->path(request.resource);
  std::string query_text = encoded_query(query);
  if (!signature_.empty()) query_text += (query_text.empty() ? "" : "&") + signature_;
  SignedRequest result{endpoint_ + path + (query_text.empty() ? "" : "?" + query_text), {}};
  for (const auto& [name, value] : headers) result.header_lines.push_back(std::string(name).append(": ").append(value));
  if (!request.if_none_match.empty()) result.header_lines.push_back("If-None-Match: " + request.if_none_match);
  if (!account_.empty()) {
    result.header_lines.push_back("Authorization: " + authorization(request, path, query, headers));
  }
  return result;
}

std::string BlobAccess::authorization(const Request& request, const std::string& path, const Fields& query,
                                      const Fields& headers) const {
  std::string text = request.method + "\n\n\n";  // no Content-Encoding, no Content-Language
  if (!request.body.empty()) text += std::to_string(request.body.size());
  // No MD5, type, date, other condition or Range is sent as a header of HTTP's own.
  text += "\n\n\n\n\n\n" + request.if_none_match + "\n\n\n";
  for (const auto& [name, value] : headers) text.append(name).append(":").append(value).append("\n");
  text += "/" + account_ + path;
  Fields sorted = query;
  std::sort(sorted.begin(), sorted.end());
  for (const auto& [name, value] : sorted) text.append("\n").append(name).append(":").append(value);
  return "SharedKey " + account_ + ":" + hmac_sha256_base64(key_, text);
}

}  // namespace azurestoragewrapper
