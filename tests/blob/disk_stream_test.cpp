// A disk written through the write stream and read back through the read stream: over memory, over the blob service,
// and over the blob service with faults on the way.
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <random>

#include "src/blob/disk_layout.h"
#include "src/blob/disk_read_stream.h"
#include "src/blob/disk_write_stream.h"
#include "src/blob/page_blob_snapshots.h"
#include "tests/blob/memory_streams.h"
#include "tests/blob/page_blob_fixture.h"

namespace page_blob_test {
namespace {

using namespace azurestackpi;
using azurestoragewrapper::PageRange;

using Bytes = std::vector<std::byte>;

constexpr std::size_t kMiB = std::size_t{1} << 20U;
constexpr std::size_t kPage = 4096;  // in which the client looks for zeros
constexpr std::size_t kDiskPages = 6144;
constexpr std::size_t kFooter = 512;  // of a VHD, behind the disk
constexpr std::size_t kDiskSize = kDiskPages * kPage + kFooter;

// What a disk should hold, as plain bytes.
struct Model {
  Bytes bytes = Bytes(kDiskSize);
  std::vector<PageRange> writes;  // by offset

  // The pages that are not all zeros, neighbours merged.
  std::vector<PageRange> Data() const {
    std::vector<PageRange> data;
    for (std::size_t offset = 0; offset < bytes.size(); offset += kPage) {
      const std::size_t length = std::min(kPage, bytes.size() - offset);
      const auto* const page = bytes.data() + offset;
      if (std::all_of(page, page + length, [](std::byte byte) { return byte == std::byte{0}; })) {
        continue;
      }
      if (!data.empty() && data.back().offset + data.back().length == offset) {
        data.back().length += length;
      } else {
        data.push_back({offset, length});
      }
    }
    return data;
  }
};

class Random {
 public:
  explicit Random(std::uint32_t seed) : engine_(seed) {}

  std::size_t UpTo(std::size_t most) { return std::uniform_int_distribution<std::size_t>(0, most)(engine_); }

  // Ranges of up to 6 MiB with gaps, of random bytes and pages of zeros among them, and the footer.
  Model Disk() {
    Model model;
    std::size_t page = UpTo(200);
    while (page < kDiskPages) {
      const std::size_t pages = std::min(1 + UpTo(UpTo(1) == 0 ? 8 : 1536), kDiskPages - page);
      model.writes.push_back({page * kPage, pages * kPage});
      for (std::size_t i = page; i < page + pages; ++i) {
        if (UpTo(99) != 0) {
          Fill(model.bytes, i * kPage, kPage);
        }
      }
      page += pages + 1 + UpTo(400);
    }
    model.writes.push_back({kDiskPages * kPage, kFooter});
    Fill(model.bytes, kDiskPages * kPage, kFooter);
    return model;
  }

 private:
  void Fill(Bytes& bytes, std::size_t offset, std::size_t length) {
    for (std::size_t i = offset; i < offset + length; i += sizeof(std::uint32_t)) {
      const auto word = static_cast<std::uint32_t>(engine_()) | 1U;
      std::memcpy(bytes.data() + i, &word, sizeof(word));
    }
  }

  std::mt19937 engine_;
};

std::uint32_t Seed() {
  const char* const wanted = std::getenv("AZS_SEED");
  return wanted == nullptr ? std::random_device{}() : static_cast<std::uint32_t>(std::stoul(wanted));
}

// Where a disk lies and how its streams are opened.
enum class Place { kMemory, kService, kServiceWithFaults };

constexpr std::array<const char*, 3> kPlaceNames{"Memory", "Service", "ServiceWithFaults"};

void PrintTo(Place place, std::ostream* out) { *out << kPlaceNames.at(static_cast<std::size_t>(place)); }

class DiskStreamTest : public PageBlobTest, public testing::WithParamInterface<Place> {
 protected:
  Status OpenWrite(disk_write_stream** context) {
    if (GetParam() == Place::kMemory) {
      *context = new disk_write_stream;
      (*context)->stream = std::make_unique<MemoryWriteStream>(memory_);
      return kOk;
    }
    return OpenWriteStream(Address("disk.vhd"), kDiskSize, context);
  }

  Status OpenRead(const Model& model, disk_read_stream** context) {
    if (GetParam() == Place::kMemory) {
      DiskLayout layout;
      layout.ranges = model.Data();
      *context = new disk_read_stream(std::move(layout));
      (*context)->stream = std::make_unique<MemoryReadStream>(memory_);
      return kOk;
    }
    return OpenReadStream(Address("disk.vhd"), "backup", kTag, context, server, false);
  }

  void AddFaults() {
    if (GetParam() != Place::kServiceWithFaults) {
      return;
    }
    Fail("PUT", "comp=page", Refusal(503, "ServerBusy"), 2, 2);
    Fail("PUT", "comp=page", azurite::LoseAnswer{}, 5, 1);
    Fail("GET", "comp=pagelist", Refusal(500, "InternalError"), 1, 1);
    Fail("GET", "disk.vhd\\?snapshot=[^&]*$", sim::TruncateBody{1000}, 1, 1);
    Fail("GET", "disk.vhd\\?snapshot=[^&]*$", sim::ResetInBody{70000}, 3, 1);
    Fail("GET", "disk.vhd\\?snapshot=[^&]*$", Refusal(503, "ServerBusy"), 5, 1);
  }

  MemoryDisk memory_{kDiskSize};
};

std::string NameOf(const testing::TestParamInfo<Place>& place) {
  return kPlaceNames.at(static_cast<std::size_t>(place.param));
}
INSTANTIATE_TEST_SUITE_P(Places, DiskStreamTest,
                         testing::Values(Place::kMemory, Place::kService, Place::kServiceWithFaults), NameOf);

void WriteDisk(const Model& model, Random& random, disk_write_stream* context) {
  for (const PageRange& range : model.writes) {
    ASSERT_EQ(SeekWriteStream(context, range.offset), kOk);
    for (std::size_t done = 0; done < range.length;) {
      const std::size_t size = std::min<std::size_t>(1 + random.UpTo(2 * kMiB), range.length - done);
      std::size_t count = 0;
      ASSERT_EQ(Write(context, model.bytes.data() + range.offset + done, size, count), kOk);
      ASSERT_EQ(count, size);
      done += count;
    }
    ASSERT_EQ(FlushWriteStream(context), kOk);
  }
}

// Reads length bytes at offset as the object reader does.
Bytes ReadRange(Random& random, disk_read_stream* context, const PageRange& range) {
  Bytes read(range.length);
  EXPECT_EQ(SeekReadStream(context, range.offset), kOk);
  for (std::size_t done = 0; done < range.length;) {
    const std::size_t size = std::min<std::size_t>(1 + random.UpTo(kStreamBuffer - 1), range.length - done);
    std::size_t count = 0;
    EXPECT_EQ(ReadAhead(context, read.data() + done, size, range.length - done, count), kOk);
    EXPECT_EQ(count, size);
    if (count == 0) {
      break;
    }
    done += count;
  }
  return read;
}

bool Holds(const Model& model, std::uint64_t offset, const Bytes& bytes) {
  return std::memcmp(model.bytes.data() + offset, bytes.data(), bytes.size()) == 0;
}

TEST_P(DiskStreamTest, WhatIsWrittenIsReadBack) {
  const std::uint32_t seed = Seed();
  SCOPED_TRACE("AZS_SEED=" + std::to_string(seed));
  Random random(seed);
  const Model model = random.Disk();
  AddFaults();

  disk_write_stream* writer = nullptr;
  ASSERT_EQ(OpenWrite(&writer), kOk);
  WriteDisk(model, random, writer);
  ASSERT_EQ(CloseWriteStream(&writer), kOk);
  ASSERT_EQ(writer, nullptr);

  disk_read_stream* reader = nullptr;
  ASSERT_EQ(OpenRead(model, &reader), kOk) << log.text();
  EXPECT_EQ(reader->layout.ranges, model.Data());
  for (const PageRange& range : reader->layout.ranges) {
    ASSERT_TRUE(Holds(model, range.offset, ReadRange(random, reader, range))) << range.offset;
  }
  for (int i = 0; i < 20; ++i) {  // anywhere, past the buffer: across ranges and what lies between
    Bytes piece(1 + random.UpTo(300000));
    const std::size_t offset = random.UpTo(kDiskSize - piece.size());
    std::size_t count = 0;
    ASSERT_EQ(SeekReadStream(reader, offset), kOk);
    ASSERT_EQ(Read(reader, piece.data(), piece.size(), count), kOk);
    ASSERT_EQ(count, piece.size());
    ASSERT_TRUE(Holds(model, offset, piece)) << offset;
  }
  ASSERT_EQ(CloseReadStream(&reader), kOk);
  ASSERT_EQ(reader, nullptr);
}

TEST_P(DiskStreamTest, TheEndOfTheDiskIsNoPlaceToReadFrom) {
  disk_write_stream* writer = nullptr;
  ASSERT_EQ(OpenWrite(&writer), kOk);
  ASSERT_EQ(CloseWriteStream(&writer), kOk);
  disk_read_stream* reader = nullptr;
  ASSERT_EQ(OpenRead({}, &reader), kOk);
  EXPECT_TRUE(reader->layout.ranges.empty());
  Bytes piece(1024, std::byte{1});
  std::size_t count = 7;
  ASSERT_EQ(SeekReadStream(reader, kDiskSize - 512), kOk);
  EXPECT_EQ(Read(reader, piece.data(), piece.size(), count), kInternalError);
  EXPECT_EQ(count, 0U);
  EXPECT_TRUE(log.contains(4, "bytes read is not equal to buffersize. size. br = 512, buffersize= 1024"));
  ASSERT_EQ(SeekReadStream(reader, kDiskSize - 512), kOk);
  EXPECT_EQ(ReadAhead(reader, piece.data(), 512, 1024, count), kInternalError);
  EXPECT_TRUE(log.contains(4, "bytes read is not equal to readahead size. br = 512, readahead_size = 1024"));
  ASSERT_EQ(SeekReadStream(reader, kDiskSize - 512), kOk) << "and the stream goes on";
  EXPECT_EQ(Read(reader, piece.data(), 512, count), kOk);
  EXPECT_EQ(piece[511], std::byte{0});
  EXPECT_EQ(Read(reader, piece.data(), 0, count), kOk);
  EXPECT_EQ(CloseReadStream(&reader), kOk);
}

// What a stream asks of the storage client, to the byte.
class StreamCallsTest : public testing::Test {
 protected:
  std::unique_ptr<disk_read_stream> Reader(MemoryDisk& disk) {
    auto context = std::make_unique<disk_read_stream>();
    context->stream = std::make_unique<MemoryReadStream>(disk);
    return context;
  }
  std::unique_ptr<disk_write_stream> Writer(MemoryDisk& disk) {
    auto context = std::make_unique<disk_write_stream>();
    context->stream = std::make_unique<MemoryWriteStream>(disk);
    return context;
  }

  test_support::FreshState fresh_;
  test_support::LogTranscript log_;
  Bytes block_ = Bytes(2 * kStreamBuffer + 1, std::byte{5});
  std::size_t count_ = 0;
};

TEST_F(StreamCallsTest, ARangeOfTenMiBRefillsTheBufferThreeTimes) {
  MemoryDisk disk(11 * kMiB);
  const auto reader = Reader(disk);
  for (std::uint64_t left = 10 * kMiB; left != 0; left -= kMiB) {
    ASSERT_EQ(ReadAhead(reader.get(), block_.data(), kMiB, left, count_), kOk);
    ASSERT_EQ(count_, kMiB);
  }
  // 4, 4 and 2 MiB: of each what is waited for, and then the rest into the buffer.
  EXPECT_EQ(disk.calls, (std::vector<std::size_t>{kMiB, 3 * kMiB, kMiB, 3 * kMiB, kMiB, kMiB}));
  EXPECT_EQ(ReadAhead(reader.get(), block_.data(), kStreamBuffer + 1, kStreamBuffer + 1, count_), kInvalidArgument);
  EXPECT_EQ(count_, 0U);
  EXPECT_EQ(disk.calls.size(), 6U) << "nothing is read";
}

TEST_F(StreamCallsTest, ReadsGoOnWhereTheyWereShort) {
  MemoryDisk disk(3000);
  disk.most_at_once = 1000;
  const auto reader = Reader(disk);
  ASSERT_EQ(ReadAhead(reader.get(), block_.data(), 100, 2500, count_), kOk);
  EXPECT_EQ(disk.calls, (std::vector<std::size_t>{100, 2400, 1400, 400}));
  disk.bytes.assign(3000, std::byte{9});
  ASSERT_EQ(ReadAhead(reader.get(), block_.data(), 2000, 2400, count_), kOk);
  EXPECT_EQ(block_[0], std::byte{0}) << "from the buffer";
  ASSERT_EQ(SeekReadStream(reader.get(), 10), kOk);
  ASSERT_EQ(ReadAhead(reader.get(), block_.data(), 10, 10, count_), kOk);
  EXPECT_EQ(block_[0], std::byte{9}) << "a seek leaves nothing of the old place";
}

TEST_F(StreamCallsTest, WritesLeaveInBlocksOfFourMiB) {
  MemoryDisk disk(20 * kMiB);
  const auto writer = Writer(disk);
  for (int i = 1; i <= 5; ++i) {
    ASSERT_EQ(Write(writer.get(), block_.data(), kMiB, count_), kOk);
    ASSERT_EQ(count_, kMiB);
    EXPECT_EQ(disk.calls.size(), i < 4 ? 0U : 1U) << "a block that is full leaves at once";
  }
  EXPECT_EQ(writer->cache_length, kMiB);
  ASSERT_EQ(FlushWriteStream(writer.get()), kOk);
  ASSERT_EQ(FlushWriteStream(writer.get()), kOk);
  EXPECT_EQ(disk.calls, (std::vector<std::size_t>{kStreamCache, kMiB}));

  ASSERT_EQ(Write(writer.get(), block_.data(), 100, count_), kOk);
  EXPECT_EQ(Write(writer.get(), block_.data(), 2 * kStreamCache - 99, count_), kInvalidArgument);
  EXPECT_EQ(count_, 0U);
  EXPECT_EQ(writer->cache_length, 100U) << "a call too large takes nothing";
  ASSERT_EQ(Write(writer.get(), block_.data(), 2 * kStreamCache - 100, count_), kOk);
  EXPECT_EQ(count_, 2 * kStreamCache - 100);
  ASSERT_EQ(FlushWriteStream(writer.get()), kOk);
  EXPECT_EQ(disk.calls.size(), 4U);

  ASSERT_EQ(Write(writer.get(), block_.data(), 100, count_), kOk);
  ASSERT_EQ(SeekWriteStream(writer.get(), 512), kOk);
  ASSERT_EQ(FlushWriteStream(writer.get()), kOk);
  EXPECT_EQ(disk.offsets.back(), 512U) << "cached bytes go to the new place";
}

TEST_F(StreamCallsTest, AShortWriteKeepsTheCache) {
  MemoryDisk disk(20 * kMiB);
  disk.most_at_once = kMiB;
  disk_write_stream* writer = Writer(disk).release();
  EXPECT_EQ(Write(writer, block_.data(), kStreamCache + 5, count_), kInternalError);
  EXPECT_EQ(count_, kStreamCache);
  EXPECT_EQ(writer->cache_length, kStreamCache);
  EXPECT_TRUE(log_.contains(4, "bytes written is not equal to m_cache_len. bw = 1048576, m_cache_len = 4194304"));
  EXPECT_EQ(FlushWriteStream(writer), kInternalError);
  disk.most_at_once = SIZE_MAX;
  EXPECT_EQ(FlushWriteStream(writer), kOk);
  EXPECT_EQ(disk.calls.back(), kStreamCache);
  ASSERT_EQ(Write(writer, block_.data(), 100, count_), kOk);
  EXPECT_EQ(CloseWriteStream(&writer), kOk);
  EXPECT_EQ(writer, nullptr);
  EXPECT_EQ(disk.calls.back(), kStreamCache) << "a close drops what was not flushed";
  EXPECT_EQ(CloseWriteStream(&writer), kOk);
  EXPECT_EQ(SeekWriteStream(nullptr, 0), kOk);
}

TEST_F(StreamCallsTest, ExceptionsBecomeStatusesAndLines) {
  struct Row {
    Fault fault;
    std::uint32_t level;
    const char* line;
    Status read_close;
  };
  for (const Row& row :
       {Row{Fault::kStorage, 4, "Exception thrown: the service is gone . Retryable: 1 ", 6622},
        Row{Fault::kOther, 5, "Exception thrown: out of order", 2}, Row{Fault::kUnknown, 5, "Unknown exception", 2}}) {
    MemoryDisk disk(kStreamCache);
    const auto read_context = Reader(disk);
    const auto write_context = Writer(disk);
    disk_read_stream* reader = read_context.get();
    disk_write_stream* writer = write_context.get();
    ASSERT_EQ(Write(writer, block_.data(), 512, count_), kOk);
    disk.fault = disk.seek_fault = row.fault;
    const auto gives = [&](const char* function, Status expected, const std::function<Status()>& call) {
      log_.clear();
      EXPECT_EQ(call(), expected) << function << " " << row.line;
      EXPECT_TRUE(log_.contains(row.level, std::string(function) + ": " + row.line)) << log_.text();
    };
    gives("ReadAhead", 6622, [&] { return ReadAhead(reader, block_.data(), 5, 5, count_); });
    gives("Read", 6622, [&] { return Read(reader, block_.data(), 5, count_); });
    gives("SeekReadStream", 6622, [&] { return SeekReadStream(reader, 5); });
    gives("CloseReadStream", row.read_close, [&] { return CloseReadStream(&reader); });
    gives("Write", 6622, [&] { return Write(writer, block_.data(), kStreamCache, count_); });
    gives("FlushWriteStream", 6622, [&] { return FlushWriteStream(writer); });
    gives("SeekWriteStream", 0, [&] { return SeekWriteStream(writer, 5); });
    gives("CloseWriteStream", 6622, [&] { return CloseWriteStream(&writer); });
    EXPECT_EQ(reader, read_context.get()) << "what cannot be closed stays";
    EXPECT_EQ(writer, write_context.get());
    EXPECT_EQ(writer->cache_length, kStreamCache);
  }
}

// Headers of images.
class ImageHeaderTest : public testing::Test {
 protected:
  // Reads an image of this header and so many bytes behind it; left: the bytes behind the padding.
  Status ReadBack(const sparse_header_t& header, std::size_t behind, std::size_t header_bytes = 40) {
    std::string image(reinterpret_cast<const char*>(&header), header_bytes);
    for (std::size_t i = 0; i < behind; ++i) {
      image.push_back(static_cast<char>(i % 251));
    }
    std::FILE* const file = std::fopen(folder_.write_file("image", image).c_str(), "rb");
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> owner(file, std::fclose);
    const Status status = ReadMetadataFromFile(fileno(file), layout_);
    left_ = image.size() - static_cast<std::size_t>(lseek(fileno(file), 0, SEEK_CUR));
    return status;
  }

  test_support::FreshState fresh_;
  test_support::LogTranscript log_;
  test_support::TemporaryDirectory folder_;
  DiskLayout layout_;
  std::size_t left_ = 0;
};

TEST_F(ImageHeaderTest, IsReadBackAndBelievedNothing) {
  EXPECT_EQ(PaddingFor(131072), 131072U);
  EXPECT_EQ(PaddingFor(131073), 131071U);
  EXPECT_EQ(PaddingFor(262143), 1U);
  struct Row {
    const char* what;
    sparse_header_t header;
    std::size_t behind;
    Status expected;
    std::size_t ranges;
  };
  constexpr std::uint64_t huge = UINT64_MAX;
  for (const Row& row : {Row{"no ranges", {40, 1024, 0, 0, PaddingFor(40)}, PaddingFor(40) + 5, kOk, 0},
                         Row{"two ranges", {72, 9, 9, 2, PaddingFor(72)}, 32 + PaddingFor(72) + 5, kOk, 2},
                         Row{"a boundary", {131072, 9, 9, 1, PaddingFor(131072)}, 16 + 131072 + 5, kOk, 1},
                         Row{"behind it", {131073, 9, 9, 0, PaddingFor(131073)}, 131071 + 5, kOk, 0},
                         Row{"many", {0, 0, 0, 10000, 1}, 160000 + 1 + 5, kOk, 10000},
                         Row{"half a table", {72, 9, 9, 2, 10}, 31, kInvalidArgument, 0},
                         Row{"half a padding", {72, 9, 9, 2, 10}, 41, kInvalidArgument, 0},
                         Row{"no end of ranges", {72, 9, 9, huge, 10}, 100000, kInvalidArgument, 0},
                         Row{"a multiple that overflows", {72, 9, 9, huge / 16 + 2, 10}, 4096, kInvalidArgument, 0},
                         Row{"a padding of another format", {72, 9, 9, 1, 131073}, 200000, kInvalidArgument, 0},
                         Row{"no end of padding", {72, 9, 9, 1, huge}, 100000, kInvalidArgument, 0}}) {
    EXPECT_EQ(ReadBack(row.header, row.behind), row.expected) << row.what;
    if (row.expected == kOk) {
      EXPECT_EQ(layout_.ranges.size(), row.ranges) << row.what;
      EXPECT_EQ(left_, 5U) << row.what << ": the file stands at the data";
    }
  }
  EXPECT_EQ(ReadBack({}, 0, 39), kInvalidArgument);
  EXPECT_EQ(ReadMetadataFromFile(-1, layout_), kInvalidArgument);
}

}  // namespace
}  // namespace page_blob_test
