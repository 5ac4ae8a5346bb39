#include "sim/derived_text.h"

#include <openssl/evp.h>

#include <array>

#include "sim/base64.h"
#include "sim/openssl_owners.h"

namespace sim {
namespace {

using Digest = std::array<unsigned char, 64>;

Digest sha512(std::string_view seed) {
  Digest digest{};
  require(EVP_Digest(seed.data(), seed.size(), digest.data(), nullptr, EVP_sha512(), nullptr) == 1, "hashing a seed");
  return digest;
}

/// The form with each 'x' replaced by the digest's next hexadecimal digit; the form holds fewer than 128 of them.
std::string filled(std::string_view form, const Digest& digest, std::string_view digits) {
  std::string text(form);
  std::size_t next = 0;
  for (char& c : text) {
    if (c != 'x') continue;
    const unsigned byte = digest[next / 2];
    c = digits[next % 2 == 0 ? byte >> 4U : byte & 15U];
    ++next;
  }
  return text;
}

}  // namespace

std::string guid_of(std::string_view seed) {
  return filled("xxxxxxxx-xxxx-4xxx-axxx-xxxxxxxxxxxx", sha512(seed), "0123456789abcdef");
}

std::vector<std::string> storage_keys_of(std::string_view account) {
  std::vector<std::string> keys;
  for (const char* name : {"key1", "key2"}) {
    const Digest digest = sha512(std::string(name) + " of " + std::string(account));
    keys.push_back(base64({reinterpret_cast<const char*>(digest.data()), digest.size()}));
  }
  return keys;
}

std::string mac_address_of(std::string_view seed) {
  return filled("00-15-5D-xx-xx-xx", sha512(seed), "0123456789ABCDEF");
}

}  // namespace sim
