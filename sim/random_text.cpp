#include "sim/random_text.h"

#include <openssl/rand.h>

#include <array>
#include <cstdio>

#include "sim/openssl_owners.h"

namespace sim {
namespace {

std::string random_bytes(std::size_t count) {
  std::string bytes(count, '\0');
  require(RAND_bytes(reinterpret_cast<unsigned char*>(bytes.data()), static_cast<int>(count)) == 1,
          "drawing random bytes");
  return bytes;
}

}  // namespace

std::string new_guid() {
  constexpr std::string_view digits = "0123456789abcdef";
  constexpr std::string_view form = "xxxxxxxx-xxxx-4xxx-axxx-xxxxxxxxxxxx";
  const std::string bytes = random_bytes(form.size());
  std::string guid(form);
  for (std::size_t i = 0; i < guid.size(); ++i) {
    if (guid[i] == 'x') guid[i] = digits[static_cast<unsigned char>(bytes[i]) % digits.size()];
  }
  return guid;
}

std::string base64url(std::string_view bytes) {
  std::string text((bytes.size() + 2) / 3 * 4 + 1, '\0');
  const int size =
      EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()),
                      reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<int>(bytes.size()));
  text.resize(static_cast<std::size_t>(size));
  text.erase(text.find_last_not_of('=') + 1);
  for (char& c : text) c = c == '+' ? '-' : c == '/' ? '_' : c;
  return text;
}

std::string random_base64url(std::size_t count) { return base64url(random_bytes(count)); }

}  // namespace sim
