#include "src/blob/disk_layout.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <new>
#include <utility>

#include "src/base/logging.h"
#include "src/blob/page_blob_connection.h"
#include "src/blob/storage_failure.h"

namespace azurestackpi {
namespace {

using azurestoragewrapper::page_blob;
using azurestoragewrapper::PageRange;

// Fills the block, or returns false when the file ends or cannot be read before that.
bool ReadBlock(int file_descriptor, void* block, std::size_t size) {
  auto* next = static_cast<char*>(block);
  while (size != 0) {
    const ssize_t count = read(file_descriptor, next, size);
    if (count < 0 && errno == EINTR) {
      continue;
    }
    if (count <= 0) {
      return false;
    }
    next += count;
    size -= static_cast<std::size_t>(count);
  }
  return true;
}

// In steps, so that a count from nowhere ends at the file's end before it takes memory.
bool ReadRanges(int file_descriptor, std::uint64_t count, std::vector<PageRange>& ranges) {
  constexpr std::uint64_t step = 4096;
  while (count != 0) {
    const std::size_t held = ranges.size();
    const auto more = static_cast<std::size_t>(std::min(count, step));
    ranges.resize(held + more);
    if (!ReadBlock(file_descriptor, ranges.data() + held, more * sizeof(PageRange))) {
      return false;
    }
    count -= more;
  }
  return true;
}

bool SkipPadding(int file_descriptor, std::uint64_t padding) {
  std::array<char, 4096> dropped;
  while (padding != 0) {
    const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(padding, dropped.size()));
    if (!ReadBlock(file_descriptor, dropped.data(), count)) {
      return false;
    }
    padding -= count;
  }
  return true;
}

Status ReadLayout(const FunctionLog& log, int file_descriptor, DiskLayout& layout) {
  sparse_header_t& header = layout.header;
  if (!ReadBlock(file_descriptor, &header, sizeof(header))) {
    log.error("The file ends before its header does");
    return kInvalidArgument;
  }
  if (header.padding > kPaddingUnit) {
    log.error("The file is no disk image: a padding of %lu bytes", static_cast<unsigned long>(header.padding));
    return kInvalidArgument;
  }
  if (!ReadRanges(file_descriptor, header.number_of_ranges, layout.ranges) ||
      !SkipPadding(file_descriptor, header.padding)) {
    log.error("The file ends before its table of %lu ranges and its padding do",
              static_cast<unsigned long>(header.number_of_ranges));
    return kInvalidArgument;
  }
  return kOk;
}

}  // namespace

Status DownloadPageRanges(page_blob& blob, DiskLayout& layout) {
  const FunctionLog log(__func__);
  layout = {};
  return CatchStorageFailures(log, {kNotFoundYet, kNotFoundYet, " "}, [&] {
    azurestoragewrapper::azurestoragewrapper_VHD_Metadata told;
    blob.download_page_ranges(told);
    layout.header = {told.metadata_size, told.display_size, told.allocated_size, told.number_of_ranges,
                     PaddingFor(told.metadata_size)};
    layout.ranges = std::move(told.ranges);
    return kOk;
  });
}

Status ReadMetadataFromFile(int file_descriptor, DiskLayout& layout) {
  const FunctionLog log(__func__);
  layout = {};
  try {
    return ReadLayout(log, file_descriptor, layout);
  } catch (const std::bad_alloc&) {
    layout = {};
    log.error("There is no memory for the table of ranges");
    return kOutOfMemory;
  }
}

Status GetVhdSize(const std::string& uri, std::uint64_t& size) {
  const FunctionLog log(__func__);
  log.flow("Entering, vhduri: %s", uri.c_str());
  azurestackpi_connection connection;
  if (const Status status = GetConnection(uri, &connection); status != kOk) {
    return status;
  }
  return CatchStorageFailures(log, {kInternalError, kInternalError, " "}, [&] {
    page_blob blob(connection.m_connection_string, connection.m_container_name, connection.m_vhd_name,
                   StorageOptions(send_keepalive_callback));
    return GetVhdSizeByBlobRef(blob, size);
  });
}

Status GetVhdSizeByBlobRef(page_blob& blob, std::uint64_t& size) {
  const FunctionLog log(__func__);
  log.flow("Entering, blob reference mode");
  size = 0;
  DiskLayout layout;
  if (const Status status = DownloadPageRanges(blob, layout); status != kOk) {
    log.error("Failed to download page ranges. rc : %d", static_cast<int>(status));
    return status;
  }
  size = layout.header.display_size;
  log.detail("Returning size: %li", static_cast<long>(size));
  return kOk;
}

}  // namespace azurestackpi
