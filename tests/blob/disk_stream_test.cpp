// Disks written through the write stream and read back through the read stream, over memory: what both ask of the
// storage client. Over the blob service they are used by every backup and restore.
#include "src/blob/disk_layout.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <random>

#include "src/blob/disk_read_stream.h"
#include "src/blob/disk_write_stream.h"
#include "tests/blob/memory_streams.h"
#include "tests/support/fresh_state.h"
#include "tests/support/log_transcript.h"
#include "tests/support/temporary_directory.h"

namespace page_blob_test {
namespace {

using namespace azurestackpi;
using azurestoragewrapper::PageRange;

using Bytes = std::vector<std::byte>;

constexpr std::size_t kMiB = std::size_t{1} << 20U;
constexpr std::size_t kPage = 4096;
constexpr std::size_t kDiskPages = 6144;
constexpr std::size_t kDiskSize = kDiskPages * kPage;

// What a disk should hold, as plain bytes.
struct Model {
  Bytes bytes = Bytes(kDiskSize);
  std::vector<PageRange> writes;  // by offset
};

class Random {
 public:
  explicit Random(std::uint32_t seed) : engine_(seed) {}

  std::size_t UpTo(std::size_t most) { return std::uniform_int_distribution<std::size_t>(0, most)(engine_); }

  // Ranges of up to 6 MiB of random bytes, with gaps.
  Model Disk() {
    Model model;
    for (std::size_t page = UpTo(200); page < kDiskPages; page += UpTo(400)) {
      const std::size_t pages = std::min(1 + UpTo(UpTo(1) == 0 ? 8 : 1536), kDiskPages - page);
      model.writes.push_back({page * kPage, pages * kPage});
      Fill(model.bytes, page * kPage, pages * kPage);
      page += pages + 1;
    }
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

TEST_F(StreamCallsTest, WhatIsWrittenIsReadBack) {
  const std::uint32_t seed = Seed();
  SCOPED_TRACE("AZS_SEED=" + std::to_string(seed));
  Random random(seed);
  const Model model = random.Disk();
  MemoryDisk disk(kDiskSize);
  WriteDisk(model, random, Writer(disk).get());
  const auto reader = Reader(disk);
  for (const PageRange& range : model.writes) {
    ASSERT_TRUE(Holds(model, range.offset, ReadRange(random, reader.get(), range))) << range.offset;
  }
  for (int i = 0; i < 20; ++i) {  // anywhere, past the buffer: across ranges and what lies between
    Bytes piece(1 + random.UpTo(300000));
    const std::size_t offset = random.UpTo(kDiskSize - piece.size());
    std::size_t count = 0;
    ASSERT_EQ(SeekReadStream(reader.get(), offset), kOk);
    ASSERT_EQ(Read(reader.get(), piece.data(), piece.size(), count), kOk);
    ASSERT_EQ(count, piece.size());
    ASSERT_TRUE(Holds(model, offset, piece)) << offset;
  }
}

TEST_F(StreamCallsTest, TheEndOfTheDiskIsNoPlaceToReadFrom) {
  MemoryDisk disk(1024);
  const auto reader = Reader(disk);
  ASSERT_EQ(SeekReadStream(reader.get(), 512), kOk);
  EXPECT_EQ(Read(reader.get(), block_.data(), 1024, count_), kInternalError);
  EXPECT_EQ(count_, 0U);
  EXPECT_TRUE(log_.contains(4, "bytes read is not equal to buffersize. size. br = 512, buffersize= 1024"));
  ASSERT_EQ(SeekReadStream(reader.get(), 512), kOk);
  EXPECT_EQ(ReadAhead(reader.get(), block_.data(), 512, 1024, count_), kInternalError);
  EXPECT_TRUE(log_.contains(4, "bytes read is not equal to readahead size. br = 512, readahead_size = 1024"));
  ASSERT_EQ(SeekReadStream(reader.get(), 512), kOk) << "and the stream goes on";
  EXPECT_EQ(Read(reader.get(), block_.data(), 512, count_), kOk);
  EXPECT_EQ(block_[511], std::byte{0});
  EXPECT_EQ(Read(reader.get(), block_.data(), 0, count_), kOk);
}

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
