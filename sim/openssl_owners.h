// Owners for what OpenSSL hands out, and its errors as exceptions.
#pragma once

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

#include <memory>
#include <stdexcept>
#include <string>

namespace sim {

template <auto release>
struct Releaser {
  template <typename T>
  void operator()(T* object) const {
    release(object);
  }
};

using KeyPtr = std::unique_ptr<EVP_PKEY, Releaser<EVP_PKEY_free>>;
using CertificatePtr = std::unique_ptr<X509, Releaser<X509_free>>;
using ExtensionPtr = std::unique_ptr<X509_EXTENSION, Releaser<X509_EXTENSION_free>>;
using SslContextPtr = std::unique_ptr<SSL_CTX, Releaser<SSL_CTX_free>>;
using SslPtr = std::unique_ptr<SSL, Releaser<SSL_free>>;
using BioPtr = std::unique_ptr<BIO, Releaser<BIO_free_all>>;

/// Throws when an OpenSSL call did not succeed; `what` says which. Empties OpenSSL's queue of errors.
inline void require(bool succeeded, const char* what) {
  if (succeeded) return;
  char reason[256] = "no reason given";
  const unsigned long code = ERR_get_error();
  if (code != 0) ERR_error_string_n(code, reason, sizeof reason);
  ERR_clear_error();
  throw std::runtime_error(std::string(what) + ": " + reason);
}

}  // namespace sim
