// The blob service's REST calls, one function for each. All throw azurestorage_exception; an answer of 400 or more is a
// failure unless a function says otherwise.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "storage/blob_client.h"
#include "storage/page_ranges.h"

namespace azurestoragewrapper {

/// One page of a list of containers.
struct ContainerPage {
  std::vector<std::string> names;
  std::string next_marker;  // empty on the last page
};
ContainerPage list_containers(BlobClient& client, const std::string& marker);

/// Returns false when the container was there.
bool create_container(BlobClient& client);

struct BlobItem {
  std::string name;
  std::string snapshot;  // its time as the service writes it; empty for the blob itself
  std::vector<std::pair<std::string, std::string>> metadata;  // lower-case names
};
struct BlobPage {
  std::vector<BlobItem> items;
  std::string next_marker;
};
/// Blobs of the container whose names begin with prefix, with their snapshots and metadata.
BlobPage list_blobs(BlobClient& client, const std::string& prefix, const std::string& marker);

/// An empty page blob. Never overwrites: 409 when there is one.
void create_page_blob(BlobClient& client, std::uint64_t size);

/// Length in bytes. Throws for what is no page blob.
std::uint64_t get_page_blob_size(BlobClient& client);

using Metadata = std::vector<std::pair<std::string, std::string>>;

/// Returns the snapshot's time as the service writes it. Sent once.
std::string snapshot_blob(BlobClient& client, const Metadata& metadata);

/// Deletes the blob with its snapshots, or the one snapshot that the client's access names. Returns false when it was
/// not there.
bool delete_blob(BlobClient& client);

/// The pages that hold data between two places, appended as the service lists them, of one page of the list; returns
/// the marker of the next one, empty on the last.
std::string get_page_ranges(BlobClient& client, const PageRange& window, const std::string& marker,
                            std::vector<PageRange>& ranges);

/// The requests of the streams, which send them by themselves: a part of the blob, ...
Request get_range_request(const PageRange& range);
/// ... and pages to be stored; pages lives as long as the request is under way.
Request put_pages_request(std::uint64_t offset, std::span<const std::byte> pages);

}  // namespace azurestoragewrapper
