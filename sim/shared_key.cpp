#include "sim/shared_key.h"

#include <openssl/hmac.h>

#include <array>
#include <optional>
#include <stdexcept>

#include "sim/base64.h"
#include "sim/form.h"
#include "sim/openssl_owners.h"

namespace sim {
namespace {

std::string signature(const AccountKey& key, const std::string& text) {
  const std::optional<std::string> bytes = base64_decoded(key.key);
  if (!bytes) throw std::runtime_error("the key of the storage account " + key.account + " is no base64");
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned size = 0;
  const auto* data = reinterpret_cast<const unsigned char*>(text.data());
  require(HMAC(EVP_sha256(), bytes->data(), static_cast<int>(bytes->size()), data, text.size(), digest.data(), &size) !=
              nullptr,
          "signing a request");
  return base64({reinterpret_cast<const char*>(digest.data()), size});
}

}  // namespace

std::string shared_key_authorization(const AccountKey& key, const SignedParts& parts) {
  // Content-Encoding, -Language, -MD5, Date, three conditions and Range are never sent and stand as empty lines.
  std::string text = parts.method + "\n\n\n" + parts.content_length + "\n\n" + parts.content_type + "\n\n\n\n" +
                     parts.if_none_match + "\n\n\n";
  for (const auto& [name, value] : parts.ms_headers) text.append(name).append(":").append(value).append("\n");
  text += "/" + key.account + parts.path;
  for (const auto& [name, value] : parts.query) text.append("\n").append(name).append(":").append(value);
  return "SharedKey " + key.account + ":" + signature(key, text);
}

std::string policy_access_query(const AccountKey& key, const std::string& blob_path, const std::string& policy) {
  // Of this version on, and before 2018-11-09, an address for a blob opens its snapshots too.
  constexpr const char* version = "2017-04-17";
  // Permissions, start and end are the policy's; addresses, protocols and the five headers of the answer stay open.
  const std::string text =
      "\n\n\n/blob/" + key.account + "/" + blob_path + "\n" + policy + "\n\n\n" + version + "\n\n\n\n\n";
  return std::string("sv=") + version + "&sr=b&si=" + percent_encoded(policy) +
         "&sig=" + percent_encoded(signature(key, text));
}

}  // namespace sim
