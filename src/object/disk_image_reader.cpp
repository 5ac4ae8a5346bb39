#include "src/object/disk_image_reader.h"

#include <algorithm>
#include <cstring>

namespace azurestackpi {
namespace {

unsigned long Shown(std::uint64_t number) { return static_cast<unsigned long>(number); }

}  // namespace

Status DiskImageReader::Read(const FunctionLog& log, void* buffer, std::uint64_t length, std::uint64_t& count) {
  Destination to{static_cast<std::byte*>(buffer), length};
  if (!leading_done_) {
    ReadLeadingSections(log, to);
  }
  if (leading_done_ && failure_ == kOk) {
    failure_ = ReadRanges(log, to);
  }
  count = length - to.room;
  return failure_;
}

bool DiskImageReader::AtEnd() const { return leading_done_ && range_ == stream_->layout.ranges.size(); }

Status DiskImageReader::Close() {
  disk_read_stream* context = stream_.release();
  const Status status = CloseReadStream(&context);
  stream_.reset(context);
  return status;
}

void DiskImageReader::ReadLeadingSections(const FunctionLog& log, Destination& to) {
  const DiskLayout& layout = stream_->layout;
  const auto* const header = reinterpret_cast<const std::byte*>(&layout.header);
  const auto* const table = reinterpret_cast<const std::byte*>(layout.ranges.data());
  const std::uint64_t table_size = layout.ranges.size() * sizeof(layout.ranges[0]);
  static_assert(sizeof(layout.ranges[0]) == 16);
  ReadSection(log, {header_done_, header, sizeof(layout.header), "header"}, to);
  ReadSection(log, {table_done_, table, table_size, "ranges"}, to);
  ReadSection(log, {padding_done_, nullptr, layout.header.padding, "padding"}, to);
  leading_done_ =
      header_done_ == sizeof(layout.header) && table_done_ == table_size && padding_done_ == layout.header.padding;
}

void DiskImageReader::ReadSection(const FunctionLog& log, const Section& section, Destination& to) {
  const std::uint64_t taken = std::min(section.size - section.done, to.room);
  if (taken == 0) {
    return;
  }
  if (section.bytes == nullptr) {
    std::memset(to.next, 0, taken);
  } else {
    std::memcpy(to.next, section.bytes + section.done, taken);
  }
  section.done += taken;
  to.next += taken;
  to.room -= taken;
  log.detail("m_metadata_%s_bytesread: %u", section.name, static_cast<unsigned>(section.done));
}

Status DiskImageReader::ReadRanges(const FunctionLog& log, Destination& to) {
  const auto& ranges = stream_->layout.ranges;
  while (range_ < ranges.size() && to.room != 0) {
    if (range_done_ == 0) {
      const std::uint64_t offset = ranges[range_].offset;
      log.detail("idx: %d, off: %lu, remaining: %lu", static_cast<int>(range_), Shown(offset),
                 Shown(ranges[range_].length));
      if (SeekReadStream(stream_.get(), offset) != kOk) {
        log.error("failed to seek to offset: %lu, AAPI_Errno = %d", Shown(offset), static_cast<int>(kSystemCallFailed));
        return kSystemCallFailed;
      }
    }
    if (const Status status = ReadFromRange(log, to); status != kOk) {
      return status;
    }
    if (range_done_ == ranges[range_].length) {
      ++range_;
      range_done_ = 0;
      log.detail("idx: %d, length: %lu", static_cast<int>(range_), Shown(to.room));
    }
  }
  return kOk;
}

Status DiskImageReader::ReadFromRange(const FunctionLog& log, Destination& to) {
  const std::uint64_t remaining = stream_->layout.ranges[range_].length - range_done_;
  const std::uint64_t wanted = std::min({remaining, to.room, static_cast<std::uint64_t>(kStreamBuffer)});
  log.detail("1. readsz: %lu, length: %lu", Shown(wanted), Shown(to.room));
  std::size_t received = 0;
  const Status status = ReadAhead(stream_.get(), to.next, wanted, remaining, received);
  range_done_ += received;
  to.next += received;
  to.room -= received;
  log.detail("2. readsz: %lu, length: %lu", Shown(received), Shown(to.room));
  if (status != kOk) {
    log.error("read failed");
  }
  return status;
}

}  // namespace azurestackpi
