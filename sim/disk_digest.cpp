#include "sim/disk_digest.h"

#include <algorithm>
#include <array>
#include <memory>
#include <string_view>

#include "sim/openssl_owners.h"
#include "sim/vhd_footer.h"

namespace sim {
namespace {

constexpr std::int64_t sector = 512;
constexpr std::int64_t piece = 4 << 20;

class Sha256 {
 public:
  Sha256() { require(EVP_DigestInit_ex(context_.get(), EVP_sha256(), nullptr) == 1, "starting a digest"); }

  void add(std::string_view bytes) {
    require(EVP_DigestUpdate(context_.get(), bytes.data(), bytes.size()) == 1, "adding to a digest");
  }

  std::string hexadecimal() {
    std::array<unsigned char, EVP_MAX_MD_SIZE> bytes{};
    unsigned size = 0;
    require(EVP_DigestFinal_ex(context_.get(), bytes.data(), &size) == 1, "ending a digest");
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (unsigned i = 0; i < size; ++i) {
      text += digits[bytes[i] >> 4U];
      text += digits[bytes[i] & 15U];
    }
    return text;
  }

 private:
  std::unique_ptr<EVP_MD_CTX, Releaser<EVP_MD_CTX_free>> context_{EVP_MD_CTX_new()};
};

/// Adds the sectors of the bytes that lie at `offset` of the disk.
void add_sectors(std::string_view bytes, std::int64_t offset, Sha256& sha, DiskDigest& digest) {
  for (; !bytes.empty(); bytes.remove_prefix(sector), offset += sector) {
    const std::string_view data = bytes.substr(0, sector);
    if (data.find_first_not_of('\0') == std::string_view::npos) continue;
    sha.add(std::to_string(offset) + ":");
    sha.add(data);
    digest.data_bytes += sector;
  }
}

}  // namespace

DiskDigest digest_of(BlobClient& client, const Blob& vhd) {
  DiskDigest digest;
  digest.size = client.size_of(vhd) - vhd_footer_size;
  Sha256 sha;
  for (const auto& [offset, size] : client.ranges(vhd)) {
    digest.allocated_bytes += size;
    const std::int64_t end = std::min(offset + size, digest.size);
    for (std::int64_t at = offset; at < end; at += piece) {
      add_sectors(client.read(vhd, at, std::min(piece, end - at)), at, sha, digest);
    }
  }
  digest.sha256 = sha.hexadecimal();
  return digest;
}

}  // namespace sim
