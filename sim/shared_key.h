// What Azure storage wants signed with an account's key: requests, and addresses that open one blob to whoever has
// them.
#pragma once

#include <map>
#include <string>

namespace sim {

/// A storage account as the signer of its requests.
struct AccountKey {
  std::string account = {};
  std::string key = {};  // base64
};

struct SignedParts {
  std::string method = {};
  std::string path = {};                               // as on the wire, percent-encoded
  std::map<std::string, std::string> query = {};       // names in small letters; values decoded
  std::map<std::string, std::string> ms_headers = {};  // all "x-ms-" headers; names in small letters
  std::string content_length = {};                     // empty without a body
  std::string content_type = {};
  std::string if_none_match = {};
};

/// The value of the Authorization header: "SharedKey ACCOUNT:SIGNATURE". Throws std::runtime_error when the key is no
/// base64.
std::string shared_key_authorization(const AccountKey& key, const SignedParts& parts);

/// The query that opens a blob and its snapshots under a stored access policy of its container, percent-encoded:
/// "sv=2017-04-17&sr=b&si=POLICY&sig=...". `blob_path` is "CONTAINER/BLOB", not encoded. Throws like
/// shared_key_authorization.
std::string policy_access_query(const AccountKey& key, const std::string& blob_path, const std::string& policy);

}  // namespace sim
