// The simulator's own certificate authority, and the certificate that its server shows.
#pragma once

#include <filesystem>
#include <string>

#include "sim/openssl_owners.h"

namespace sim {

/// An authority kept in a directory as "ca.pem" and "ca-key.pem" (both 0600). A client that is given ca.pem once stays
/// content over restarts. Keys are EC P-256; nothing but the authority's own key is stored.
class Authority {
 public:
  /// Reads the authority of the directory, or makes one when there is none. Throws std::runtime_error when the files
  /// cannot be read or written, do not belong together, or are past their time.
  explicit Authority(const std::filesystem::path& directory);

  /// The authority's certificate (PEM), what curl takes as --cacert.
  const std::filesystem::path& certificate_file() const { return certificate_file_; }

  /// A TLS server context with a fresh certificate for *.REGION.DOMAIN, *.blob.REGION.DOMAIN, localhost and 127.0.0.1.
  SslContextPtr server_context(const std::string& region, const std::string& domain) const;

 private:
  void load(const std::filesystem::path& key_file);
  void create(const std::filesystem::path& key_file);

  std::filesystem::path certificate_file_;
  KeyPtr key_;
  CertificatePtr certificate_;
};

}  // namespace sim
