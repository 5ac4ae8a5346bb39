#include "storage/wire.h"

#include <algorithm>
#include <pugixml.hpp>

#include "storage/encoding.h"
#include "storage/page_list.h"

namespace azurestoragewrapper {
namespace {

constexpr std::uint64_t kLongestBlob = std::uint64_t{8} << 40U;
constexpr std::size_t kLongestList = std::size_t{64} << 20U;

std::string range_text(std::uint64_t offset, std::uint64_t length) {
  return "bytes=" + std::to_string(offset) + "-" + std::to_string(offset + length - 1);
}

pugi::xml_document read_xml(const std::string& body, const std::string& doing) {
  pugi::xml_document document;
  if (!document.load_buffer(body.data(), body.size())) {
    throw azurestorage_exception(failure_of_form("the answer is not XML", doing, true));
  }
  return document;
}

// A header line ends where its value does, whatever stands in the value.
void check_metadata(const Metadata& metadata) {
  for (const auto& [name, value] : metadata) {
    const bool plain = std::all_of(value.begin(), value.end(), [](char c) { return c > ' ' && c < '\x7f'; });
    if (!plain)
      throw azurestorage_exception(Failure{.message = "the text for " + name + " of a snapshot is not plain"});
  }
}

bool is_absent(const azurestorage_exception& error) { return error.http_status() == 404; }

BlobItem read_item(const pugi::xml_node& node) {
  BlobItem item{node.child_value("Name"), node.child_value("Snapshot"), {}};
  for (const pugi::xml_node& field : node.child("Metadata").children()) {
    item.metadata.emplace_back(to_lower(field.name()), field.child_value());
  }
  return item;
}

}  // namespace

ContainerPage list_containers(BlobClient& client, const std::string& marker) {
  Request request{.method = "GET", .resource = Resource::account, .query = {{"comp", "list"}}};
  if (!marker.empty()) request.query.emplace_back("marker", marker);
  const std::string doing = "listing the containers of a storage account";
  const Answer answer = perform(client, request, doing, kLongestList);
  const pugi::xml_document document = read_xml(answer.body, doing);
  const pugi::xml_node root = document.child("EnumerationResults");
  ContainerPage page{{}, root.child_value("NextMarker")};
  for (const pugi::xml_node& node : root.child("Containers").children("Container")) {
    page.names.emplace_back(node.child_value("Name"));
  }
  return page;
}

bool create_container(BlobClient& client) {
  const Request request{
      .method = "PUT", .resource = Resource::container, .query = {{"restype", "container"}}, .success = 201};
  try {
    perform(client, request, "making container " + client.access.container());
    return true;
  } catch (const azurestorage_exception& error) {
    if (error.error_code() == "ContainerAlreadyExists") return false;
    throw;
  }
}

BlobPage list_blobs(BlobClient& client, const std::string& prefix, const std::string& marker) {
  Request request{.method = "GET",
                  .resource = Resource::container,
                  .query = {{"restype", "container"}, {"comp", "list"}, {"include", "snapshots,metadata"}}};
  if (!prefix.empty()) request.query.emplace_back("prefix", prefix);
  if (!marker.empty()) request.query.emplace_back("marker", marker);
  const std::string doing = "listing container " + client.access.container();
  const Answer answer = perform(client, request, doing, kLongestList);
  const pugi::xml_document document = read_xml(answer.body, doing);
  const pugi::xml_node root = document.child("EnumerationResults");
  BlobPage page{{}, root.child_value("NextMarker")};
  for (const pugi::xml_node& node : root.child("Blobs").children("Blob")) page.items.push_back(read_item(node));
  return page;
}

void create_page_blob(BlobClient& client, std::uint64_t size) {
  const Request request{.method = "PUT",
                        .headers = {{"x-ms-blob-type", "PageBlob"}, {"x-ms-blob-content-length", std::to_string(size)}},
                        .if_none_match = "*",
                        .success = 201,
                        .repeat = Repeat::if_refused};
  perform(client, request, "making page blob " + client.access.described());
}

std::uint64_t get_page_blob_size(BlobClient& client) {
  const std::string doing = "asking for the size of " + client.access.described();
  const Answer answer = perform(client, {.method = "HEAD"}, doing);
  const std::string& type = answer.header("x-ms-blob-type");
  if (!type.empty() && type != "PageBlob") {
    throw azurestorage_exception(failure_of_form("it is no page blob but a " + type, doing, false));
  }
  const auto size = parse_number(answer.header("content-length"));
  if (!size) throw azurestorage_exception(failure_of_form("the answer has no length", doing, true));
  if (*size > kLongestBlob || *size % 512 != 0) {
    throw azurestorage_exception(
        failure_of_form("no page blob has a length of " + std::to_string(*size), doing, false));
  }
  return *size;
}

std::string snapshot_blob(BlobClient& client, const Metadata& metadata) {
  check_metadata(metadata);
  Request request{.method = "PUT", .query = {{"comp", "snapshot"}}, .success = 201, .repeat = Repeat::never};
  for (const auto& [name, value] : metadata) {
    if (!value.empty()) request.headers.emplace_back("x-ms-meta-" + name, value);
  }
  return perform(client, request, "taking a snapshot of " + client.access.described()).header("x-ms-snapshot");
}

bool delete_blob(BlobClient& client) {
  Request request{.method = "DELETE", .success = 202};
  if (client.access.snapshot().empty()) request.headers.emplace_back("x-ms-delete-snapshots", "include");
  try {
    perform(client, request, "deleting " + client.access.described());
    return true;
  } catch (const azurestorage_exception& error) {
    if (is_absent(error)) return false;
    throw;
  }
}

std::string get_page_ranges(BlobClient& client, const PageRange& window, const std::string& marker,
                            std::vector<PageRange>& ranges) {
  Request request{.method = "GET",
                  .query = {{"comp", "pagelist"}},
                  .headers = {{"x-ms-range", range_text(window.offset, window.length)}}};
  if (!marker.empty()) request.query.emplace_back("marker", marker);
  const std::string doing = "listing the pages of " + client.access.described();
  const Answer answer = perform(client, request, doing, kLongestList);
  try {
    return parse_page_list(answer.body, ranges);
  } catch (const azurestorage_exception& error) {
    throw azurestorage_exception(failure_of_form(error.failure().message, doing, true));
  }
}

Request get_range_request(const PageRange& range) {
  return {.method = "GET", .headers = {{"x-ms-range", range_text(range.offset, range.length)}}, .success = 206};
}

Request put_pages_request(std::uint64_t offset, std::span<const std::byte> pages) {
  return {.method = "PUT",
          .query = {{"comp", "page"}},
          .headers = {{"x-ms-page-write", "update"}, {"x-ms-range", range_text(offset, pages.size())}},
          .body = pages,
          .success = 201};
}

}  // namespace azurestoragewrapper
