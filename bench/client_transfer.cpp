#include "bench/client_transfer.h"

#include <algorithm>
#include <cstdio>
#include <stdexcept>

#include "bench/disk_layout.h"
#include "bench/raw_transfer.h"
#include "bench/repeatable_random.h"
#include "storage/page_blob.h"

namespace bench {
namespace {

using azurestoragewrapper::azurestoragewrapper_VHD_Metadata;
using azurestoragewrapper::page_blob;

void ReadWith(page_blob& blob, const std::vector<PageRange>& ranges, const Consumer& consumer) {
  std::vector<std::byte> buffer(kBlock);
  const auto stream = blob.open_read(ranges);
  for (const PageRange& range : ranges) {
    SeekIStream(*stream, range.offset);
    for (std::uint64_t done = 0; done < range.length;) {
      const std::size_t got = ReadStream(*stream, buffer.data(), std::min(kBlock, range.length - done), 0);
      if (got == 0) throw std::runtime_error("the stream ended within a range");
      consumer(range.offset + done, buffer.data(), got);
      done += got;
    }
  }
  CloseIStream(*stream);
}

}  // namespace

std::vector<PageRange> ListRanges(const std::string& address) {
  azurestoragewrapper_VHD_Metadata metadata;
  page_blob(address, {}).download_page_ranges(metadata);
  return std::move(metadata.ranges);
}

void ReadRanges(const std::string& address, const std::vector<PageRange>& ranges, const Consumer& consumer) {
  page_blob blob(address, {});
  ReadWith(blob, ranges, consumer);
}

void ReadBlob(const std::string& address, const Consumer& consumer) {
  page_blob blob(address, {});
  azurestoragewrapper_VHD_Metadata metadata;
  blob.download_page_ranges(metadata);
  ReadWith(blob, metadata.ranges, consumer);
}

void WriteBlocks(const std::string& address, const std::vector<PageRange>& blocks, const std::vector<std::byte>& data) {
  page_blob blob(address, {});
  const auto stream = blob.open_write();
  for (const PageRange& block : blocks) {
    SeekWStream(*stream, block.offset);
    if (WriteStream(*stream, ContentOf(block, data), block.length) != block.length)
      throw std::runtime_error("a block was cut");
  }
  CloseWStream(*stream);
}

bool CoverExactly(const std::vector<Request>& requests, Verb verb, const std::vector<PageRange>& wanted) {
  std::vector<PageRange> asked;
  for (const Request& request : requests) {
    if (request.verb == verb) asked.push_back(request.range);
  }
  std::sort(asked.begin(), asked.end(), [](const PageRange& a, const PageRange& b) { return a.offset < b.offset; });
  const std::size_t count = asked.size();
  std::vector<PageRange> joined;  // touching ones made one; one asked for twice stays beside the other
  for (const PageRange& range : asked) {
    if (!joined.empty() && joined.back().offset + joined.back().length == range.offset) {
      joined.back().length += range.length;
    } else {
      joined.push_back(range);
    }
  }
  const bool exact = joined == wanted;
  std::printf("  %zu requests for %.1f MiB, %s\n", count, static_cast<double>(TotalLength(asked)) / kMib,
              exact ? "every byte wanted once and no other" : "NOT THE BYTES WANTED, ONCE EACH");
  return exact;
}

std::vector<std::byte> RandomData(std::size_t size) {
  std::vector<std::byte> data(size);
  RepeatableRandom random;
  std::generate(data.begin(), data.end(), [&random] { return static_cast<std::byte>(random.Next() % 255 + 1); });
  return data;
}

}  // namespace bench
