// A page blob of an Azure storage account, its snapshots and its contents.
#pragma once

#include <cstdint>
#include <ctime>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "storage/azurestorage_exception.h"
#include "storage/client_options.h"
#include "storage/page_ranges.h"
#include "storage/streams.h"

namespace azurestoragewrapper {

/// One page blob, or one snapshot of it. Members throw azurestorage_exception, and std::bad_alloc; a 404 is a failure
/// unless a member says otherwise. Requests that may be sent again are, up to client_options::most_repeats times, with
/// pauses by platform's clock. Used by one thread at a time; its streams may outlive it and be used by another.
class page_blob {
 public:
  /// An existing blob. connection_string:
  /// "DefaultEndpointsProtocol=http;AccountName=..;AccountKey=..;EndpointSuffix=.."; container and name as they are,
  /// not percent-encoded. Asks nothing of the service.
  page_blob(const std::string& connection_string, const std::string& container, const std::string& name,
            const client_options& options);

  /// Creates the blob with that size in bytes, a multiple of 512, all zeros, and its container when that is missing. A
  /// blob of that name is never overwritten: 409.
  page_blob(const std::string& connection_string, const std::string& container, const std::string& name,
            std::uint64_t size, const client_options& options);

  /// The blob or snapshot behind a shared-access address. Asks nothing of the service.
  page_blob(const std::string& access_uri, const client_options& options);

  ~page_blob();
  page_blob(page_blob&&) noexcept;
  page_blob& operator=(page_blob&&) noexcept;

  /// The blob's name, as it is.
  std::string name() const;
  /// Address of the blob, without any secret.
  std::string primary_uri() const;
  /// The same with "?snapshot=TIME" for a snapshot.
  std::string snapshot_qualified_primary_uri() const;
  /// When the snapshot was taken, seconds since the epoch; 0 for a blob that is none.
  std::time_t snapshot_time() const;

  /// Snapshots the blob; the snapshot carries the two texts (letters a to z of metadata: snapid, snapkey). Sent once.
  /// async: returns as soon as the service accepts; otherwise the snapshot is looked at, and null returned when it is
  /// not there.
  std::unique_ptr<page_blob> create_snapshot(const std::string& snapid, const std::string& snapkey, bool async);

  /// Whether the blob is there; takes its size.
  bool fetch_blob();

  /// The newest snapshot that carries the two texts, or null. Looks up to `lookups` times, a second apart, the
  /// keep-alive called before each pause.
  std::unique_ptr<page_blob> fetch_snapshot_blob(const std::string& snapid, const std::string& snapkey, int lookups);

  /// Deletes the blob with all its snapshots. Returns false when there was none.
  bool delete_blob();

  /// Deletes snapshots of the blob that carry the key: with a snapid, those that carry it too, however young; with an
  /// empty one, those that are at least `minutes` old. All are tried; the first failure is thrown at the end. Each
  /// snapshot looked at and each deleted is logged. Returns how many were deleted.
  std::size_t delete_snapshots(const std::string& snapid, const std::string& snapkey, int minutes);

  /// The size and the ranges that hold data.
  void download_page_ranges(azurestoragewrapper_VHD_Metadata& metadata);

  /// Length of the blob in bytes, asked for once.
  std::uint64_t size();

  /// A stream at offset 0 that asks for the next of `ranges` before they are read. `ranges`: sorted, of this blob;
  /// copied by no one, so they must outlive the stream; empty: only what is read is asked for.
  std::unique_ptr<read_stream> open_read(std::span<const PageRange> ranges);

  /// A stream at offset 0 into the blob, whose size is asked for when it is not known. Pages of zeros are not sent to a
  /// blob that this object created, where nothing else was written before.
  std::unique_ptr<write_stream> open_write();

 private:
  struct State;
  explicit page_blob(std::unique_ptr<State> state);
  std::unique_ptr<page_blob> of_snapshot(const std::string& snapshot) const;
  std::unique_ptr<page_blob> find_snapshot(const std::string& snapid, const std::string& snapkey);

  std::unique_ptr<State> state_;
};

/// As page_blob::delete_snapshots, for all blobs of all containers of the account.
std::size_t delete_stale_snapshots(const std::string& connection_string, const std::string& snapid,
                                   const std::string& snapkey, int minutes, const client_options& options);

/// Names of the account's containers.
std::vector<std::string> list_containers(const std::string& connection_string, const client_options& options);

/// Makes the container; returns false when it was there.
bool create_container(const std::string& connection_string, const std::string& container,
                      const client_options& options);

}  // namespace azurestoragewrapper
