#include "sim/random_text.h"

#include <openssl/rand.h>

#include <string_view>

#include "sim/base64.h"
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

std::string random_base64url(std::size_t count) { return base64url(random_bytes(count)); }

}  // namespace sim
