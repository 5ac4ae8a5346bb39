#include "sim/blob_client.h"

#include <httplib.h>

#include <algorithm>
#include <pugixml.hpp>
#include <utility>

#include "sim/blob_accounts.h"
#include "sim/clock.h"
#include "sim/form.h"
#include "sim/shared_key.h"

namespace sim {
namespace {

constexpr std::int64_t request_bytes = 4 << 20;  // the most that the service takes at once
constexpr const char* service_version = "2018-11-09";

std::string range_text(std::int64_t offset, std::int64_t size) {
  return "bytes=" + std::to_string(offset) + "-" + std::to_string(offset + size - 1);
}

std::string query_text(const std::map<std::string, std::string>& query) {
  std::string text;
  for (const auto& [name, value] : query) {
    text.append(text.empty() ? "?" : "&").append(name).append("=").append(percent_encoded(value));
  }
  return text;
}

}  // namespace

struct BlobClient::Message {
  std::string method;
  const std::string& account;
  std::string path;  // percent-encoded
  std::map<std::string, std::string> query = {};
  std::map<std::string, std::string> ms_headers = {};
  std::string if_none_match = {};
  std::string body = {};

  Message(std::string method_of, const std::string& account_of, const std::string& container)
      : method(std::move(method_of)), account(account_of), path("/" + percent_encoded(container)) {}
  Message(std::string method_of, const Blob& blob) : Message(std::move(method_of), blob.account, blob.container) {
    path += "/" + percent_encoded(blob.name, "/");
  }
};

struct BlobClient::Answer {
  int status;
  httplib::Headers headers;
  std::string body;
};

class BlobClient::Connection {
 public:
  explicit Connection(const BlobServer& server)
      : port_(std::to_string(server.port)), client_(server.scheme + "://127.0.0.1:" + port_) {
    client_.set_keep_alive(true);
    client_.set_tcp_nodelay(true);
    client_.set_url_encode(false);                          // what is signed has to be what is sent
    client_.enable_server_certificate_verification(false);  // it does not leave this machine
    client_.set_read_timeout(std::chrono::seconds(60));
  }

  httplib::Client& client() { return client_; }
  const std::string& port() const { return port_; }

 private:
  const std::string port_;
  httplib::Client client_;
};

BlobClient::BlobClient(const BlobServer& server, Named<StorageAccount> accounts)
    : accounts_(std::move(accounts)), connection_(std::make_unique<Connection>(server)) {}

BlobClient::~BlobClient() = default;

BlobClient::Answer BlobClient::send(const Message& message, std::initializer_list<int> accepted) {
  const StorageAccount& account = accounts_.at(message.account);
  SignedParts parts{.method = message.method,
                    .path = message.path,
                    .query = message.query,
                    .ms_headers = message.ms_headers,
                    .if_none_match = message.if_none_match};
  // The server does not compare clocks, and the simulator's own may have been moved.
  parts.ms_headers["x-ms-date"] = utc_text(SimulatedClock().now(), "%a, %d %b %Y %H:%M:%S GMT");
  parts.ms_headers["x-ms-version"] = service_version;
  if (!message.body.empty()) {
    parts.content_length = std::to_string(message.body.size());
    parts.content_type = "application/octet-stream";
  }
  httplib::Request request;
  request.method = message.method;
  request.path = message.path + query_text(message.query);
  request.body = message.body;
  request.headers.emplace("Host", message.account + ".blob." + account.endpoint_suffix + ":" + connection_->port());
  for (const auto& [name, value] : parts.ms_headers) request.headers.emplace(name, value);
  if (!message.if_none_match.empty()) request.headers.emplace("If-None-Match", message.if_none_match);
  if (!message.body.empty()) request.headers.emplace("Content-Type", parts.content_type);
  request.headers.emplace("Authorization", shared_key_authorization({message.account, signing_key(account)}, parts));
  httplib::Result result = connection_->client().send(request);
  // A server may close an idle connection in the moment in which the next request comes.
  if (result.error() == httplib::Error::Read) result = connection_->client().send(request);
  if (!result) {
    throw BlobError(0, "no answer of the blob server at 127.0.0.1:" + connection_->port() + ": " +
                           httplib::to_string(result.error()));
  }
  if (std::find(accepted.begin(), accepted.end(), result->status) == accepted.end()) {
    throw BlobError(result->status, "the blob server answered " + message.method + " " + message.account +
                                        message.path + " with " + std::to_string(result->status) + " " +
                                        result->get_header_value("x-ms-error-code"));
  }
  return {result->status, result->headers, result->body};
}

void BlobClient::create_container(const std::string& account, const std::string& container) {
  Message message("PUT", account, container);
  message.query = {{"restype", "container"}};
  send(message, {201, 409});
}

void BlobClient::delete_container(const std::string& account, const std::string& container) {
  Message message("DELETE", account, container);
  message.query = {{"restype", "container"}};
  send(message, {202});
}

void BlobClient::set_policies(const std::string& account, const std::string& container,
                              const std::vector<ReadPolicy>& policies) {
  Message message("PUT", account, container);
  message.query = {{"restype", "container"}, {"comp", "acl"}};
  message.body = "<?xml version=\"1.0\" encoding=\"utf-8\"?><SignedIdentifiers>";
  for (const ReadPolicy& policy : policies) {
    message.body += "<SignedIdentifier><Id>" + policy.id + "</Id><AccessPolicy><Expiry>" +
                    utc_text(policy.expiry, "%Y-%m-%dT%H:%M:%SZ") +
                    "</Expiry><Permission>r</Permission></AccessPolicy></SignedIdentifier>";
  }
  message.body += "</SignedIdentifiers>";
  send(message, {200});
}

bool BlobClient::create_page_blob(const Blob& blob, std::int64_t size) {
  Message message("PUT", blob);
  message.ms_headers = {{"x-ms-blob-type", "PageBlob"}, {"x-ms-blob-content-length", std::to_string(size)}};
  message.if_none_match = "*";
  return send(message, {201, 409}).status == 201;
}

void BlobClient::write(const Blob& blob, std::int64_t offset, std::string_view bytes) {
  while (!bytes.empty()) {
    const std::string_view piece = bytes.substr(0, request_bytes);
    Message message("PUT", blob);
    message.query = {{"comp", "page"}};
    message.ms_headers = {{"x-ms-page-write", "update"},
                          {"x-ms-range", range_text(offset, static_cast<std::int64_t>(piece.size()))}};
    message.body = piece;
    send(message, {201});
    bytes.remove_prefix(piece.size());
    offset += static_cast<std::int64_t>(piece.size());
  }
}

std::string BlobClient::read(const Blob& blob, std::int64_t offset, std::int64_t size) {
  std::string bytes;
  for (const std::int64_t end = offset + size; offset < end; offset += request_bytes) {
    Message message("GET", blob);
    message.ms_headers = {{"x-ms-range", range_text(offset, std::min(request_bytes, end - offset))}};
    bytes += send(message, {200, 206}).body;
  }
  return bytes;
}

std::int64_t BlobClient::size_of(const Blob& blob) {
  const Answer answer = send(Message("HEAD", blob), {200});
  const auto size = answer.headers.find("Content-Length");
  return size == answer.headers.end() ? 0 : std::stoll(size->second);
}

std::vector<ByteRange> BlobClient::ranges(const Blob& blob) {
  Message message("GET", blob);
  message.query = {{"comp", "pagelist"}};
  const Answer answer = send(message, {200});
  pugi::xml_document document;
  if (!document.load_string(answer.body.c_str())) throw BlobError(200, "the blob server's list of pages is no XML");
  std::vector<ByteRange> ranges;
  for (const pugi::xml_node& range : document.child("PageList").children("PageRange")) {
    const std::int64_t start = range.child("Start").text().as_llong();
    ranges.push_back({start, range.child("End").text().as_llong() - start + 1});
  }
  return ranges;
}

std::string BlobClient::create_snapshot(const Blob& blob) {
  Message message("PUT", blob);
  message.query = {{"comp", "snapshot"}};
  const Answer answer = send(message, {201});
  const auto name = answer.headers.find("x-ms-snapshot");
  if (name == answer.headers.end()) throw BlobError(201, "the blob server did not name its snapshot");
  return name->second;
}

void BlobClient::delete_snapshot(const Blob& blob, const std::string& snapshot) {
  Message message("DELETE", blob);
  message.query = {{"snapshot", snapshot}};
  send(message, {202});
}

}  // namespace sim
