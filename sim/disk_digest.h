// What a disk holds, in a few numbers: to tell whether a restored disk equals the original.
#pragma once

#include <cstdint>
#include <string>

#include "sim/blob_client.h"

namespace sim {

/// Equal for two VHDs whose disks read the same, however their blobs are allocated and wherever zeros were written. The
/// footer does not count: each VHD has its own.
struct DiskDigest {
  std::string sha256 = {};           // in hexadecimal, of place and bytes of every sector that is not all zeros
  std::int64_t size = 0;             // of the disk, in bytes
  std::int64_t data_bytes = 0;       // in such sectors
  std::int64_t allocated_bytes = 0;  // of the blob's pages, footer and written zeros included
};

/// Reads all that the blob has. Throws BlobError.
DiskDigest digest_of(BlobClient& client, const Blob& vhd);

}  // namespace sim
