#include "sim/authority.h"

#include <openssl/pem.h>
#include <openssl/rand.h>

#include <cstdint>
#include <fstream>
#include <iterator>
#include <string_view>

#include "sim/private_file.h"

namespace sim {
namespace {

constexpr long one_day = 24L * 60 * 60;
constexpr long ten_years = 3650 * one_day;

KeyPtr new_key() {
  KeyPtr key(EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256"));
  require(key != nullptr, "making an EC key");
  return key;
}

void set_name(X509_NAME* name, const std::string& common_name) {
  const auto* bytes = reinterpret_cast<const unsigned char*>(common_name.c_str());
  require(X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8, bytes, -1, -1, 0) == 1, "naming a certificate");
}

std::uint64_t random_number() {
  std::uint64_t number = 0;
  require(RAND_bytes(reinterpret_cast<unsigned char*>(&number), sizeof number) == 1, "drawing random bytes");
  return number;
}

/// A certificate without issuer, extensions and signature. Valid from yesterday on, so that a client whose clock is a
/// little behind accepts it.
CertificatePtr new_certificate(EVP_PKEY* key, const std::string& common_name) {
  CertificatePtr certificate(X509_new());
  require(certificate != nullptr, "making a certificate");
  X509* raw = certificate.get();
  require(X509_set_version(raw, X509_VERSION_3) == 1, "setting a certificate's version");
  require(ASN1_INTEGER_set_uint64(X509_get_serialNumber(raw), random_number() >> 1) == 1, "setting a serial number");
  require(X509_gmtime_adj(X509_getm_notBefore(raw), -one_day) != nullptr, "setting a certificate's start");
  require(X509_gmtime_adj(X509_getm_notAfter(raw), ten_years) != nullptr, "setting a certificate's end");
  require(X509_set_pubkey(raw, key) == 1, "setting a certificate's key");
  set_name(X509_get_subject_name(raw), common_name);
  return certificate;
}

void add_extension(X509* certificate, X509* issuer, int kind, const std::string& value) {
  X509V3_CTX context;
  X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
  const ExtensionPtr extension(X509V3_EXT_conf_nid(nullptr, &context, kind, value.c_str()));
  require(extension != nullptr, "making a certificate extension");
  require(X509_add_ext(certificate, extension.get(), -1) == 1, "adding a certificate extension");
}

void sign(X509* certificate, X509* issuer, EVP_PKEY* issuer_key) {
  require(X509_set_issuer_name(certificate, X509_get_subject_name(issuer)) == 1, "setting a certificate's issuer");
  require(X509_sign(certificate, issuer_key, EVP_sha256()) > 0, "signing a certificate");
}

std::string contents(BIO* memory) {
  char* data = nullptr;
  const long size = BIO_get_mem_data(memory, &data);
  return std::string(data, static_cast<std::size_t>(size));
}

std::string certificate_pem(X509* certificate) {
  const BioPtr memory(BIO_new(BIO_s_mem()));
  require(memory && PEM_write_bio_X509(memory.get(), certificate) == 1, "writing a certificate");
  return contents(memory.get());
}

std::string key_pem(EVP_PKEY* key) {
  const BioPtr memory(BIO_new(BIO_s_mem()));
  require(memory && PEM_write_bio_PrivateKey(memory.get(), key, nullptr, nullptr, 0, nullptr, nullptr) == 1,
          "writing a key");
  return contents(memory.get());
}

BioPtr open_file(const std::filesystem::path& file) {
  BioPtr input(BIO_new_file(file.c_str(), "r"));
  require(input != nullptr, file.c_str());
  return input;
}

}  // namespace

Authority::Authority(const std::filesystem::path& directory) : certificate_file_(directory / "ca.pem") {
  std::filesystem::create_directories(directory);
  const std::filesystem::path key_file = directory / "ca-key.pem";
  if (std::filesystem::exists(certificate_file_) || std::filesystem::exists(key_file)) {
    load(key_file);
  } else {
    create(key_file);
  }
}

void Authority::load(const std::filesystem::path& key_file) {
  key_.reset(PEM_read_bio_PrivateKey(open_file(key_file).get(), nullptr, nullptr, nullptr));
  require(key_ != nullptr, key_file.c_str());
  certificate_.reset(PEM_read_bio_X509(open_file(certificate_file_).get(), nullptr, nullptr, nullptr));
  require(certificate_ != nullptr, certificate_file_.c_str());
  require(X509_check_private_key(certificate_.get(), key_.get()) == 1, "ca.pem and ca-key.pem do not belong together");
  if (X509_cmp_current_time(X509_get0_notAfter(certificate_.get())) < 0) {
    throw std::runtime_error(certificate_file_.string() + ": expired; remove it and ca-key.pem to get a new authority");
  }
}

void Authority::create(const std::filesystem::path& key_file) {
  key_ = new_key();
  // Every authority has a name of its own: clients with several of them in one store must not mix them up.
  certificate_ = new_certificate(key_.get(), "azurestack-sim authority " + std::to_string(random_number()));
  X509* raw = certificate_.get();
  add_extension(raw, raw, NID_basic_constraints, "critical,CA:TRUE,pathlen:0");
  add_extension(raw, raw, NID_key_usage, "critical,keyCertSign,cRLSign");
  add_extension(raw, raw, NID_subject_key_identifier, "hash");
  sign(raw, raw, key_.get());
  write_private_file(key_file, key_pem(key_.get()));
  write_private_file(certificate_file_, certificate_pem(raw));
}

SslContextPtr Authority::server_context(const std::string& region, const std::string& domain) const {
  const KeyPtr key = new_key();
  const std::string suffix = region + "." + domain;
  const CertificatePtr certificate = new_certificate(key.get(), "azurestack-sim");
  add_extension(certificate.get(), certificate_.get(), NID_basic_constraints, "critical,CA:FALSE");
  add_extension(certificate.get(), certificate_.get(), NID_key_usage, "critical,digitalSignature");
  add_extension(certificate.get(), certificate_.get(), NID_ext_key_usage, "serverAuth");
  add_extension(certificate.get(), certificate_.get(), NID_authority_key_identifier, "keyid");
  add_extension(certificate.get(), certificate_.get(), NID_subject_alt_name,
                "DNS:*." + suffix + ",DNS:*.blob." + suffix + ",DNS:localhost,IP:127.0.0.1");
  sign(certificate.get(), certificate_.get(), key_.get());

  SslContextPtr context(SSL_CTX_new(TLS_server_method()));
  require(context != nullptr, "making a TLS context");
  require(SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION) == 1, "setting the TLS version");
  require(SSL_CTX_use_certificate(context.get(), certificate.get()) == 1, "using the server's certificate");
  require(SSL_CTX_use_PrivateKey(context.get(), key.get()) == 1, "using the server's key");
  return context;
}

}  // namespace sim
