#include "sim/base64.h"

#include <openssl/evp.h>

#include <algorithm>

namespace sim {
namespace {

unsigned char* bytes_of(std::string& text) { return reinterpret_cast<unsigned char*>(text.data()); }

const unsigned char* bytes_of(std::string_view text) { return reinterpret_cast<const unsigned char*>(text.data()); }

}  // namespace

std::string base64(std::string_view bytes) {
  std::string text((bytes.size() + 2) / 3 * 4 + 1, '\0');  // OpenSSL ends it with a zero
  const int size = EVP_EncodeBlock(bytes_of(text), bytes_of(bytes), static_cast<int>(bytes.size()));
  text.resize(static_cast<std::size_t>(size));
  return text;
}

std::string base64url(std::string_view bytes) {
  std::string text = base64(bytes);
  text.erase(text.find_last_not_of('=') + 1);
  std::replace(text.begin(), text.end(), '+', '-');
  std::replace(text.begin(), text.end(), '/', '_');
  return text;
}

std::optional<std::string> base64_decoded(std::string_view text) {
  std::string bytes(text.size() / 4 * 3, '\0');
  const int size = EVP_DecodeBlock(bytes_of(bytes), bytes_of(text), static_cast<int>(text.size()));
  if (size != static_cast<int>(bytes.size())) return std::nullopt;
  const std::size_t padding = text.ends_with("==") ? 2 : text.ends_with('=') ? 1 : 0;
  bytes.resize(bytes.size() - padding);  // OpenSSL decodes padding to zeros
  return bytes;
}

}  // namespace sim
