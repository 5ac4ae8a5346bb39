#include "storage/page_blob.h"

#include <algorithm>
#include <optional>

#include "platform/clock.h"
#include "storage/blob_client.h"
#include "storage/blob_read_stream.h"
#include "storage/blob_write_stream.h"
#include "storage/encoding.h"
#include "storage/page_range_download.h"
#include "storage/page_walk.h"
#include "storage/wire.h"

namespace azurestoragewrapper {
namespace {

constexpr const char* kIdName = "snapid";
constexpr const char* kKeyName = "snapkey";

/// Which snapshots are meant: an empty snapid means any that is old enough.
struct SnapshotFilter {
  std::string snapid;
  std::string snapkey;
  int minutes = 0;
};

std::string metadata_value(const BlobItem& item, const char* name) {
  const auto named = [name](const auto& field) { return field.first == name; };
  const auto found = std::find_if(item.metadata.begin(), item.metadata.end(), named);
  return found == item.metadata.end() ? std::string() : found->second;
}

// By the service's own time of the snapshot; one that lies in the future, or that cannot be read, is not old.
bool is_old(const BlobItem& item, int minutes) {
  const auto taken = parse_service_time(item.snapshot);
  return taken && platform::clock().now() - *taken >= std::time_t{60} * minutes;
}

bool is_meant(const BlobItem& item, const SnapshotFilter& filter) {
  if (item.snapshot.empty() || metadata_value(item, kKeyName) != filter.snapkey) return false;
  return filter.snapid.empty() ? is_old(item, filter.minutes) : metadata_value(item, kIdName) == filter.snapid;
}

/// Calls take for every blob and snapshot of the container whose name begins with prefix.
template <typename Take>
void for_each_blob(BlobClient& client, const std::string& prefix, const Take& take) {
  walk_pages("the list of container " + client.access.container(), [&](const std::string& marker) {
    if (!marker.empty()) keep_alive(client.options, "list_blobs");
    BlobPage page = list_blobs(client, prefix, marker);
    for (const BlobItem& item : page.items) take(item);
    return std::move(page.next_marker);
  });
}

/// Tries all of several steps: what fails is logged, and the first failure thrown at the end. A service that does not
/// answer at all ends it at once: every further step would wait for it as long again.
class TryAll {
 public:
  explicit TryAll(const client_options& options) : options_(options) {}

  template <typename Step>
  void step(const Step& step) {
    try {
      step();
    } catch (const azurestorage_exception& error) {
      log_line(options_, kLogError, error.what());
      if (error.http_status() == 0 && error.isRetryable()) throw;
      if (!first_) first_ = error;
    }
  }

  void throw_first() const {
    if (first_) throw azurestorage_exception(*first_);
  }

 private:
  const client_options& options_;
  std::optional<azurestorage_exception> first_;
};

// The list is read to its end before anything is deleted, so that deleting does not move its pages.
std::size_t delete_meant(BlobClient& client, const std::string& prefix, const std::optional<std::string>& only_blob,
                         const SnapshotFilter& filter) {
  std::vector<BlobItem> meant;
  for_each_blob(client, prefix, [&](const BlobItem& item) {
    if (item.snapshot.empty() || (only_blob && item.name != *only_blob)) return;
    const bool chosen = is_meant(item, filter);
    log_line(client.options, kLogDetail,
             "snapshot of " + client.access.container() + "/" + item.name + " as of " + item.snapshot + ": " + kIdName +
                 " \"" + metadata_value(item, kIdName) + "\", " + kKeyName + " \"" + metadata_value(item, kKeyName) +
                 "\", " + (chosen ? "to be deleted" : "kept"));
    if (chosen) meant.push_back(item);
  });
  std::size_t deleted = 0;
  TryAll all(client.options);
  for (const BlobItem& item : meant) {
    keep_alive(client.options, "delete_snapshots");
    all.step([&] {
      BlobClient of_snapshot{client.access.with_blob(client.access.container(), item.name).with_snapshot(item.snapshot),
                             client.options};
      if (!delete_blob(of_snapshot)) return;
      ++deleted;
      log_line(client.options, kLogDetail, "deleted snapshot " + of_snapshot.access.described());
    });
  }
  all.throw_first();
  return deleted;
}

// A container that is gone has no snapshots left.
std::size_t delete_if_there(BlobClient& client, const std::string& prefix, const std::optional<std::string>& only_blob,
                            const SnapshotFilter& filter) {
  try {
    return delete_meant(client, prefix, only_blob, filter);
  } catch (const azurestorage_exception& error) {
    if (error.http_status() != 404) throw;
    return 0;
  }
}

template <typename Take>
void for_each_container(BlobClient& client, const Take& take) {
  walk_pages("the list of containers", [&](const std::string& marker) {
    if (!marker.empty()) keep_alive(client.options, "list_containers");
    ContainerPage page = list_containers(client, marker);
    for (const std::string& name : page.names) take(name);
    return std::move(page.next_marker);
  });
}

void create_with_container(BlobClient& client, std::uint64_t size) {
  try {
    create_page_blob(client, size);
  } catch (const azurestorage_exception& error) {
    if (error.error_code() != "ContainerNotFound") throw;
    create_container(client);
    create_page_blob(client, size);
  }
}

}  // namespace

struct page_blob::State {
  BlobClient client;
  std::optional<std::uint64_t> size = {};
  bool all_zeros = false;  // created here, and no stream opened yet
};

page_blob::page_blob(std::unique_ptr<State> state) : state_(std::move(state)) {}

page_blob::page_blob(const std::string& connection_string, const std::string& container, const std::string& name,
                     const client_options& options)
    : state_(new State{{BlobAccess(connection_string, container, name), options}}) {}

page_blob::page_blob(const std::string& connection_string, const std::string& container, const std::string& name,
                     std::uint64_t size, const client_options& options)
    : page_blob(connection_string, container, name, options) {
  create_with_container(state_->client, size);
  state_->size = size;
  state_->all_zeros = true;
}

page_blob::page_blob(const std::string& access_uri, const client_options& options)
    : state_(new State{{BlobAccess(access_uri), options}}) {}

page_blob::~page_blob() = default;
page_blob::page_blob(page_blob&&) noexcept = default;
page_blob& page_blob::operator=(page_blob&&) noexcept = default;

std::string page_blob::name() const { return state_->client.access.blob(); }

std::string page_blob::primary_uri() const { return state_->client.access.uri(); }

std::string page_blob::snapshot_qualified_primary_uri() const {
  const BlobAccess& access = state_->client.access;
  return access.uri() + (access.snapshot().empty() ? "" : "?snapshot=" + percent_encode(access.snapshot(), ":"));
}

std::time_t page_blob::snapshot_time() const {
  return parse_service_time(state_->client.access.snapshot()).value_or(0);
}

std::unique_ptr<page_blob> page_blob::of_snapshot(const std::string& snapshot) const {
  const BlobClient& client = state_->client;
  return std::unique_ptr<page_blob>(
      new page_blob(std::make_unique<State>(State{{client.access.with_snapshot(snapshot), client.options}})));
}

std::unique_ptr<page_blob> page_blob::create_snapshot(const std::string& snapid, const std::string& snapkey,
                                                      bool async) {
  const std::string time = snapshot_blob(state_->client, {{kIdName, snapid}, {kKeyName, snapkey}});
  if (time.empty()) return nullptr;
  auto snapshot = of_snapshot(time);
  if (!async && !snapshot->fetch_blob()) return nullptr;
  return snapshot;
}

bool page_blob::fetch_blob() {
  try {
    state_->size = get_page_blob_size(state_->client);
    return true;
  } catch (const azurestorage_exception& error) {
    if (error.http_status() == 404) return false;
    throw;
  }
}

std::unique_ptr<page_blob> page_blob::find_snapshot(const std::string& snapid, const std::string& snapkey) {
  BlobClient& client = state_->client;
  std::string newest;
  try {
    for_each_blob(client, name(), [&](const BlobItem& item) {
      const bool ours = item.name == client.access.blob() && !item.snapshot.empty() &&
                        metadata_value(item, kIdName) == snapid && metadata_value(item, kKeyName) == snapkey;
      // The service's times are of one length, so they sort as texts.
      if (ours && item.snapshot > newest) newest = item.snapshot;
    });
  } catch (const azurestorage_exception& error) {
    if (error.http_status() != 404) throw;
  }
  return newest.empty() ? nullptr : of_snapshot(newest);
}

std::unique_ptr<page_blob> page_blob::fetch_snapshot_blob(const std::string& snapid, const std::string& snapkey,
                                                          int lookups) {
  const client_options& options = state_->client.options;
  for (int lookup = 1;; ++lookup) {
    if (auto snapshot = find_snapshot(snapid, snapkey)) return snapshot;
    if (lookup >= lookups) return nullptr;
    if (options.keepalive != nullptr) static_cast<void>(options.keepalive("fetch_snapshot_blob"));
    platform::clock().sleep(1);
  }
}

bool page_blob::delete_blob() { return azurestoragewrapper::delete_blob(state_->client); }

std::size_t page_blob::delete_snapshots(const std::string& snapid, const std::string& snapkey, int minutes) {
  return delete_if_there(state_->client, name(), name(), {snapid, snapkey, minutes});
}

std::uint64_t page_blob::size() {
  if (!state_->size) state_->size = get_page_blob_size(state_->client);
  return *state_->size;
}

void page_blob::download_page_ranges(azurestoragewrapper_VHD_Metadata& metadata) {
  constexpr std::uint64_t kWords = 40;
  metadata = {};
  metadata.display_size = size();
  metadata.ranges = download_all_page_ranges(state_->client, metadata.display_size);
  metadata.number_of_ranges = metadata.ranges.size();
  metadata.metadata_size = kWords + sizeof(PageRange) * metadata.number_of_ranges;
  for (const PageRange& range : metadata.ranges) metadata.allocated_size += range.length;
}

std::unique_ptr<read_stream> page_blob::open_read(std::span<const PageRange> ranges) {
  const std::uint64_t end = size();
  return std::make_unique<BlobReadStream>(state_->client, ranges, end);
}

std::unique_ptr<write_stream> page_blob::open_write() {
  const std::uint64_t end = size();
  const bool all_zeros = std::exchange(state_->all_zeros, false);
  return std::make_unique<BlobWriteStream>(state_->client, end, all_zeros);
}

std::size_t delete_stale_snapshots(const std::string& connection_string, const std::string& snapid,
                                   const std::string& snapkey, int minutes, const client_options& options) {
  BlobClient account{BlobAccess(connection_string, "", ""), options};
  std::size_t deleted = 0;
  TryAll all(options);
  for_each_container(account, [&](const std::string& container) {
    BlobClient client{account.access.with_blob(container, ""), options};
    all.step([&] { deleted += delete_if_there(client, "", std::nullopt, {snapid, snapkey, minutes}); });
  });
  all.throw_first();
  return deleted;
}

std::vector<std::string> list_containers(const std::string& connection_string, const client_options& options) {
  BlobClient client{BlobAccess(connection_string, "", ""), options};
  std::vector<std::string> names;
  for_each_container(client, [&](const std::string& name) { names.push_back(name); });
  return names;
}

bool create_container(const std::string& connection_string, const std::string& container,
                      const client_options& options) {
  BlobClient client{BlobAccess(connection_string, container, ""), options};
  return create_container(client);
}

}  // namespace azurestoragewrapper
