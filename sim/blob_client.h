// The simulator's own client of the blob server that holds its disks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "sim/resources.h"

namespace sim {

/// Where the blob server listens on 127.0.0.1 and how it is spoken to: "http" or "https".
struct BlobServer {
  std::string scheme = "http";
  std::uint16_t port = 0;  // 0: there is none
};

/// A request that the blob server refused (its status), or did not answer (0).
class BlobError : public std::runtime_error {
 public:
  BlobError(int status, const std::string& what) : std::runtime_error(what), status_(status) {}
  int status() const { return status_; }

 private:
  int status_;
};

/// A stored access policy that lets its address read.
struct ReadPolicy {
  std::string id;
  std::int64_t expiry = 0;  // seconds since the epoch
};

/// One connection, for one thread at a time. The account in each Blob must be one of those given to the constructor.
/// Every member throws BlobError.
class BlobClient {
 public:
  BlobClient(const BlobServer& server, Named<StorageAccount> accounts);
  ~BlobClient();
  BlobClient(const BlobClient&) = delete;
  BlobClient& operator=(const BlobClient&) = delete;

  /// Nothing happens when the container is there already.
  void create_container(const std::string& account, const std::string& container);
  void delete_container(const std::string& account, const std::string& container);

  /// In place of all that the container had.
  void set_policies(const std::string& account, const std::string& container, const std::vector<ReadPolicy>& policies);

  /// False, and nothing changed, when a blob of that name is there already.
  bool create_page_blob(const Blob& blob, std::int64_t size);

  /// Offset and size are multiples of 512; any size.
  void write(const Blob& blob, std::int64_t offset, std::string_view bytes);
  std::string read(const Blob& blob, std::int64_t offset, std::int64_t size);

  std::int64_t size_of(const Blob& blob);

  /// What was written, in ascending order; ranges may touch.
  std::vector<ByteRange> ranges(const Blob& blob);

  /// The snapshot's time, which is its name: "2026-11-22T20:03:35.2410000Z".
  std::string create_snapshot(const Blob& blob);
  void delete_snapshot(const Blob& blob, const std::string& snapshot);

 private:
  struct Message;
  struct Answer;
  Answer send(const Message& message, std::initializer_list<int> accepted);

  class Connection;
  const Named<StorageAccount> accounts_;
  std::unique_ptr<Connection> connection_;
};

}  // namespace sim
