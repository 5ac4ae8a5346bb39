#include "host/sha256.h"

#include <array>
#include <stdexcept>

namespace host {

namespace {

constexpr char hex_digits[] = "0123456789abcdef";

void require(int result) {
  if (result != 1) throw std::runtime_error("SHA-256 cannot be computed");
}

}  // namespace

Sha256::Sha256() : context_(::EVP_MD_CTX_new(), &::EVP_MD_CTX_free) {
  require(context_ ? ::EVP_DigestInit_ex(context_.get(), ::EVP_sha256(), nullptr) : 0);
}

void Sha256::update(const void* data, std::size_t size) { require(::EVP_DigestUpdate(context_.get(), data, size)); }

std::string Sha256::finish() {
  std::array<unsigned char, 32> digest{};
  require(::EVP_DigestFinal_ex(context_.get(), digest.data(), nullptr));
  std::string text;
  for (const unsigned char byte : digest) text += {hex_digits[byte >> 4], hex_digits[byte & 0xf]};
  return text;
}

}  // namespace host
