// Page blobs of a demonstration account: the plug-in reaches them through a proxy that makes faults, a test by clients
// that share no code with it where what is stored matters.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "sim/blob_client.h"
#include "src/base/status.h"
#include "src/blob/azure_disk_snapshots.h"
#include "src/blob/page_blob_snapshots.h"
#include "storage/wire.h"
#include "tests/azurite/azurite_server.h"
#include "tests/azurite/fault_proxy.h"
#include "tests/transport/open_server.h"

namespace page_blob_test {

inline constexpr const char* kTag = "BDAZSNAP";

/// The names with which the plug-in called for a keep-alive, since the test began.
std::vector<std::string>& KeepAlives();
std::uint32_t CountKeepAlive(const char* caller);

class PageBlobTest : public transport_test::OpenServer {
 protected:
  PageBlobTest();
  ~PageBlobTest() override;

  // The plug-in's calls for a blob of the container.
  azurestackpi::Status Create(const std::string& name, const std::string& snapid) {
    return azurestackpi::AzureDiskSnapshots().CreateSnapshot(Address(name), snapid, kTag, CountKeepAlive);
  }
  azurestackpi::Status Delete(const std::string& name, const std::string& snapid) {
    return azurestackpi::AzureDiskSnapshots().DeleteSnapshot(Address(name), snapid, kTag, CountKeepAlive);
  }
  azurestackpi::Status Fetch(const std::string& name, const std::string& snapid, bool create, bool at_once) {
    return azurestackpi::FetchOrCreateSnapshot(Address(name), snapid, kTag, CountKeepAlive, create, at_once, snapshot_);
  }

  /// Opens the server anew with these settings in the configuration.
  void Configure(const transport_test::Settings& settings);

  /// "https://demodisks1.blob.local.azurestack.localhost:PORT/CONTAINER/NAME", through the proxy; the plug-in asks by
  /// http all the same. name is percent-encoded.
  std::string Address(const std::string& name) const;

  sim::Blob Blob(const std::string& name) const { return {account, container, name}; }

  /// A blob with that size in bytes and a text at its beginning.
  void MakeBlob(const std::string& name, std::int64_t size = 4096, const std::string& text = "first");
  void WriteText(const std::string& name, const std::string& text);

  /// Blobs and snapshots in the container whose names begin so, snapshots only when told; the oldest first.
  std::vector<azurestoragewrapper::BlobItem> Items(const std::string& prefix, bool snapshots = true);
  std::size_t Snapshots(const std::string& name) { return Items(name).size(); }

  /// Snapshots the blob past the plug-in; an empty text leaves its metadata out. Returns the snapshot's time.
  std::string TakeSnapshot(const std::string& name, const std::string& snapid, const std::string& snapkey = kTag);

  /// An address that lets its holder read the blob, or the snapshot of that time, until an hour from now.
  std::string AccessAddress(const std::string& name, const std::string& snapshot);

  /// The requests since the last call that match, "METHOD TARGET STATUS" each, the container's path left out.
  std::vector<std::string> Requests(const std::string& pattern);

  /// Every matching request from the first-th on, so many times, gets this in place of an answer.
  void Fail(const std::string& method, const std::string& target, azurite::ProxyAction action, std::uint64_t first = 1,
            std::uint64_t times = azurite::ProxyFault::forever);

  /// A fresh proxy, so that no fault is left.
  void RenewProxy();

  /// An answer of the service that refuses.
  static sim::AnswerWith Refusal(int status, const std::string& code);

  std::string account = "demodisks1";
  const std::string container = azurite::new_container_name();
  std::unique_ptr<azurite::FaultProxy> proxy;
  std::unique_ptr<sim::BlobClient> service;
  azurestackpi::SnapshotRef snapshot_;  // what Fetch found

 private:
  azurestoragewrapper::BlobClient Client(const std::string& name, const std::string& of_account);

  std::size_t requests_seen_ = 0;
};

}  // namespace page_blob_test
