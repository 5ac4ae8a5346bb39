#include "src/object/disk_image_writer.h"

#include <algorithm>
#include <cstring>

#include "src/base/logging.h"
#include "src/blob/page_blob_snapshots.h"

namespace azurestackpi {
namespace {

using azurestoragewrapper::PageRange;

constexpr std::uint64_t kSector = 512;

unsigned long Shown(std::uint64_t number) { return static_cast<unsigned long>(number); }

bool IsWholeSectors(std::uint64_t number) { return number % kSector == 0; }

// Copies what is missing of a section of that size, as far as it is there.
void Fill(std::byte* section, std::uint64_t size, std::uint64_t& done, const std::byte*& next, std::uint64_t& left) {
  const std::uint64_t taken = std::min(size - done, left);
  std::memcpy(section + done, next, taken);
  done += taken;
  next += taken;
  left -= taken;
}

constexpr std::uint64_t kLargestDisk = std::uint64_t{8} << 40U;  // as the service's largest page blob

// The size of the disk bounds the count of its ranges.
Status CheckHeader(const FunctionLog& log, const sparse_header_t& header) {
  if (IsWholeSectors(header.display_size) && header.display_size <= kLargestDisk &&
      header.number_of_ranges <= header.display_size / kSector && header.padding <= kPaddingUnit) {
    return kOk;
  }
  log.error("The stream is no disk's: %lu ranges of a disk of %lu bytes, padding %lu", Shown(header.number_of_ranges),
            Shown(header.display_size), Shown(header.padding));
  return kInvalidArgument;
}

// The entries from first up to last, not included. In ascending order, so that no two overlap.
Status CheckTable(const FunctionLog& log, const DiskLayout& layout, std::size_t first, std::size_t last) {
  std::uint64_t free_from = first == 0 ? 0 : layout.ranges[first - 1].offset + layout.ranges[first - 1].length;
  for (std::size_t i = first; i < last; ++i) {
    const PageRange& range = layout.ranges[i];
    const bool fits = range.offset >= free_from && range.offset <= layout.header.display_size &&
                      range.length <= layout.header.display_size - range.offset;
    if (!fits || range.length == 0 || !IsWholeSectors(range.offset) || !IsWholeSectors(range.length)) {
      log.error("The stream is no disk's: a range of %lu bytes at %lu, behind one that ends at %lu, of %lu bytes",
                Shown(range.length), Shown(range.offset), Shown(free_from), Shown(layout.header.display_size));
      return kInvalidArgument;
    }
    free_from = range.offset + range.length;
  }
  return kOk;
}

void LogHeader(const FunctionLog& log, const sparse_header_t& header) {
  log.detail("display size  : %lu", Shown(header.display_size));
  log.detail("allocated size: %lu", Shown(header.allocated_size));
  log.detail("number of page ranges: %lu", Shown(header.number_of_ranges));
  log.detail("metadata size : %lu", Shown(header.metadata_size));
  log.detail("padding       : %lu", Shown(header.padding));
}

}  // namespace

std::uint64_t DiskImageWriter::disk_size() const {
  return header_done_ == sizeof(layout_.header) ? layout_.header.display_size : 0;
}

Status DiskImageWriter::Write(const FunctionLog& log, const void* buffer, std::uint64_t length, std::uint64_t& count) {
  Source from{static_cast<const std::byte*>(buffer), length};
  if (failure_ == kOk) {
    failure_ = kInternalError;  // should there be no memory for the table
    failure_ = Take(log, from);
  }
  count = length - from.left;
  log.detail("rc = %d, bytesWritten: %lu, length: %lu", static_cast<int>(failure_), Shown(count), Shown(length));
  return failure_;
}

Status DiskImageWriter::Take(const FunctionLog& log, Source& from) {
  if (stream_ == nullptr) {
    if (const Status status = TakeLeadingSections(log, from); status != kOk || stream_ == nullptr) {
      return status;
    }
  }
  return WriteRanges(log, from);
}

Status DiskImageWriter::TakeLeadingSections(const FunctionLog& log, Source& from) {
  if (const Status status = TakeHeader(log, from); status != kOk || header_done_ != sizeof(layout_.header)) {
    return status;
  }
  if (const Status status = TakeTable(log, from);
      status != kOk || table_done_ != layout_.header.number_of_ranges * sizeof(PageRange)) {
    return status;
  }
  TakePadding(log, from);
  return padding_done_ == layout_.header.padding ? OpenBlob(log) : kOk;
}

Status DiskImageWriter::TakeHeader(const FunctionLog& log, Source& from) {
  sparse_header_t& header = layout_.header;
  if (header_done_ == sizeof(header) || from.left == 0) {
    return kOk;
  }
  Fill(reinterpret_cast<std::byte*>(&header), sizeof(header), header_done_, from.next, from.left);
  log.detail("m_metadata_header_bytesread: %u", static_cast<unsigned>(header_done_));
  return header_done_ == sizeof(header) ? CheckHeader(log, header) : kOk;
}

Status DiskImageWriter::TakeTable(const FunctionLog& log, Source& from) {
  std::vector<PageRange>& ranges = layout_.ranges;
  const std::uint64_t size = layout_.header.number_of_ranges * sizeof(PageRange);
  if (table_done_ == size || from.left == 0) {
    return kOk;
  }
  const std::size_t checked = table_done_ / sizeof(PageRange);
  const std::uint64_t arrived = table_done_ + std::min(size - table_done_, from.left);
  ranges.resize((arrived + sizeof(PageRange) - 1) / sizeof(PageRange));
  Fill(reinterpret_cast<std::byte*>(ranges.data()), arrived, table_done_, from.next, from.left);
  log.detail("m_metadata_ranges_bytesread: %u", static_cast<unsigned>(table_done_));
  return CheckTable(log, layout_, checked, table_done_ / sizeof(PageRange));
}

void DiskImageWriter::TakePadding(const FunctionLog& log, Source& from) {
  const std::uint64_t dropped = std::min(layout_.header.padding - padding_done_, from.left);
  if (dropped == 0) {
    return;
  }
  padding_done_ += dropped;
  from.next += dropped;
  from.left -= dropped;
  log.detail("m_metadata_padding_bytesread: %u", static_cast<unsigned>(padding_done_));
}

Status DiskImageWriter::OpenBlob(const FunctionLog& log) {
  LogHeader(log, layout_.header);
  disk_write_stream* context = nullptr;
  const Status status = OpenWriteStream(uri_, layout_.header.display_size, &context);
  stream_.reset(context);
  created_ = status == kOk;
  if (!created_) {
    log.error("Open Write Stream Failed !!!! rc : %d", static_cast<int>(status));
    log.error("Nothing is written to %s; should the service have made it all the same, it stays", uri_.c_str());
  }
  return status;
}

Status DiskImageWriter::WriteRanges(const FunctionLog& log, Source& from) {
  log.detail("current page index: %lu", Shown(range_));
  while (from.left != 0 && range_ < layout_.ranges.size()) {
    Status status = range_done_ == 0 ? BeginRange(log) : static_cast<Status>(kOk);
    status = status == kOk ? WriteIntoRange(log, from) : status;
    if (status == kOk && range_done_ == layout_.ranges[range_].length) {
      status = EndRange(log);
    }
    if (status != kOk) {
      return status;
    }
  }
  if (from.left != 0) {
    log.error("The stream is no disk's: it goes on behind its last range");
    return kInvalidArgument;
  }
  return kOk;
}

Status DiskImageWriter::BeginRange(const FunctionLog& log) {
  const PageRange& range = layout_.ranges[range_];
  log.detail("idx: %d, off: %lu, remaining: %lu", static_cast<int>(range_), Shown(range.offset), Shown(range.length));
  if (SeekWriteStream(stream_.get(), range.offset) != kOk) {
    log.error("failed to seek to offset: %lu, AAPI_Errno = %d", Shown(range.offset),
              static_cast<int>(kSystemCallFailed));
    return kSystemCallFailed;
  }
  return kOk;
}

Status DiskImageWriter::WriteIntoRange(const FunctionLog& log, Source& from) {
  const PageRange& range = layout_.ranges[range_];
  log.detail("lenght: %lu, offset: %lu", Shown(range.length), Shown(range.offset));
  const std::uint64_t wanted =
      std::min({range.length - range_done_, from.left, static_cast<std::uint64_t>(kStreamCache)});
  std::size_t taken = 0;
  const Status status = azurestackpi::Write(stream_.get(), from.next, wanted, taken);
  range_done_ += taken;
  from.next += taken;
  from.left -= taken;
  if (status != kOk) {
    log.error("Write Failed !!!! rc : %d", static_cast<int>(status));
  }
  log.detail("lenght: %lu, m_current_page_bytesread: %lu, length: %lu", Shown(taken), Shown(range_done_),
             Shown(from.left));
  return status;
}

Status DiskImageWriter::EndRange(const FunctionLog& log) {
  const Status status = FlushWriteStream(stream_.get());
  if (status != kOk) {
    log.error("Write Flush Failed !!!! rc : %d", static_cast<int>(status));
    return status;
  }
  ++range_;
  range_done_ = 0;
  return kOk;
}

Status DiskImageWriter::Finish(const FunctionLog& log) {
  if (!AtEnd()) {
    log.error("The stream of %s was closed before its end", uri_.c_str());
    return kOperationFailed;
  }
  disk_write_stream* context = stream_.release();
  const Status status = CloseWriteStream(&context);
  stream_.reset(context);
  return status;
}

void DiskImageWriter::Abandon(const FunctionLog& log) {
  failure_ = failure_ == kOk ? static_cast<Status>(kOperationFailed) : failure_;
  static_cast<void>(Close(log));
}

Status DiskImageWriter::Close(const FunctionLog& log) {
  const Status status = failure_ == kOk ? Finish(log) : failure_;
  stream_.reset();
  if (status != kOk && created_) {
    // A failure is told there, with the blob's address.
    static_cast<void>(DeleteBlob(uri_, send_keepalive_callback));
  }
  return status;
}

}  // namespace azurestackpi
