// Who asks the blob service, and for what: an account with its key, or a shared-access address.
#pragma once

#include <ctime>
#include <string>
#include <vector>

#include "storage/request.h"

namespace azurestoragewrapper {

/// A request as curl takes it.
struct SignedRequest {
  std::string url;
  std::vector<std::string> header_lines;
};

/// One place in a storage account, and the right to ask for it. The key is held here and shown nowhere.
class BlobAccess {
 public:
  /// container and blob as they are, either may be empty for requests that need none. Throws azurestorage_exception
  /// when the connection string lacks a piece or its key is not base64.
  BlobAccess(const std::string& connection_string, std::string container, std::string blob);

  /// The address of a blob or of a snapshot with its access signature in the query. Throws azurestorage_exception when
  /// it is not an http or https address of a blob.
  explicit BlobAccess(const std::string& access_uri);

  const std::string& container() const { return container_; }
  const std::string& blob() const { return blob_; }
  const std::string& snapshot() const { return snapshot_; }

  /// The same right for another place of the account. snapshot: its time as the service wrote it; empty: none.
  BlobAccess with_snapshot(const std::string& snapshot) const;
  BlobAccess with_blob(const std::string& container, const std::string& blob) const;

  /// "http://ACCOUNT.blob.SUFFIX/CONTAINER/BLOB", percent-encoded, no query.
  std::string uri() const;

  /// What to call this place in a message: address, and the snapshot's time.
  std::string described() const;

  /// The address and header lines of the request, with its authorization. now: the time to sign.
  SignedRequest sign(const Request& request, std::time_t now, const std::string& api_version) const;

 private:
  std::string path(Resource resource) const;
  std::string authorization(const Request& request, const std::string& path,
                            const std::vector<std::pair<std::string, std::string>>& query,
                            const std::vector<std::pair<std::string, std::string>>& headers) const;

  std::string endpoint_;   // "http://HOST[:PORT]"
  std::string account_;    // empty for an access address
  std::string key_;        // the account's, decoded
  std::string signature_;  // the access address's query, as it came
  std::string container_;
  std::string blob_;
  std::string snapshot_;
};

}  // namespace azurestoragewrapper
