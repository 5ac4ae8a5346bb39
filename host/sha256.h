// SHA-256 of a stream.
#pragma once

#include <openssl/evp.h>

#include <cstddef>
#include <memory>
#include <string>

namespace host {

class Sha256 {
 public:
  /// Throws std::runtime_error when OpenSSL refuses, as do the others.
  Sha256();

  void update(const void* data, std::size_t size);

  /// 64 hexadecimal digits in lower case, once, after the last update.
  std::string finish();

 private:
  std::unique_ptr<EVP_MD_CTX, decltype(&::EVP_MD_CTX_free)> context_;
};

}  // namespace host
