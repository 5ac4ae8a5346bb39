// Workload files byte for byte, at the borders of their buffer, and read from files that nobody wrote so.
#include "aapi/wkldfile.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <vector>

#include "tests/discovery/file_size_limit.h"
#include "tests/support/log_transcript.h"
#include "tests/support/read_file.h"
#include "tests/support/temporary_directory.h"

namespace {

struct HandleCloser {
  void operator()(wkldfile_handle_s* handle) const { close_wkld_file(handle); }
};
using Handle = std::unique_ptr<wkldfile_handle_s, HandleCloser>;

constexpr std::uint64_t kBuffer = WKLDFILE_BUFFER_SIZE;

std::string Number(std::uint64_t value) {
  std::string bytes(sizeof(value), '\0');
  std::memcpy(bytes.data(), &value, sizeof(value));
  return bytes;
}

std::string Record(const std::string& text) { return Number(text.size() + 1) + text + '\0'; }

class WorkloadFileTest : public testing::Test {
 protected:
  Handle Create() const {
    Handle handle(create_wkld_file(path.c_str()));
    handle->cursor = handle->buffer;
    handle->room = sizeof(handle->buffer);
    return handle;
  }
  static int Write(const Handle& handle, const std::string& text, std::uint64_t tag = 0, std::uint32_t flag = 0) {
    return wkldfile_write_record(handle.get(), text.c_str(), tag, flag);
  }
  static int Flush(const Handle& handle) { return wkldfile_write_record(handle.get(), nullptr, 0, 0); }
  std::string Bytes() const { return test_support::read_file(path); }
  /// The texts read until something else than 0 comes, which is kept in result.
  std::vector<std::string> ReadAll(const std::string& bytes, std::uint32_t flag = 0) {
    folder.write_file("file", bytes);
    const Handle handle(open_wkld_file(path.c_str()));
    const auto record = std::make_unique<wkldfile_record_s>();
    std::vector<std::string> texts;
    while ((result = wkldfile_read_record(handle.get(), record.get(), flag)) == 0) {
      texts.emplace_back(record->data, record->length - 1);
      tags.push_back(record->tag);
    }
    return texts;
  }

  test_support::LogTranscript log;
  test_support::TemporaryDirectory folder;
  const std::string path = folder.path("file");
  int result = 0;
  std::vector<std::uint64_t> tags;
};

TEST_F(WorkloadFileTest, RecordsAreWrittenByteForByte) {
  const Handle handle = Create();
  EXPECT_EQ(Write(handle, "/sub1"), 0);
  EXPECT_EQ(Write(handle, ""), 0);
  EXPECT_EQ(Write(handle, "/t", 0x0102, 0x10001), 0);
  EXPECT_EQ(Write(handle, "/u", 7, 0x10000), 0) << "only the low 16 bits of the flag count";
  EXPECT_EQ(Bytes(), "") << "nothing before the flush";
  EXPECT_EQ(Flush(handle), 0);
  const std::string expected = std::string("\6\0\0\0\0\0\0\0/sub1\0", 14) + std::string("\1\0\0\0\0\0\0\0\0", 9) +
                               std::string("\2\1\0\0\0\0\0\0\3\0\0\0\0\0\0\0/t\0", 19) + Record("/u");
  EXPECT_EQ(Bytes(), expected);
  EXPECT_EQ(handle->total, expected.size());
  EXPECT_EQ(Flush(handle), 0);
  EXPECT_EQ(Bytes(), expected) << "flushing an empty buffer writes nothing";
}

TEST_F(WorkloadFileTest, AnExistingFileKeepsItsTailAndItsModeIsTheOwners) {
  folder.write_file("file", "0123456789abcdefXYZ");
  const Handle handle = Create();
  Write(handle, "/sub1");
  Flush(handle);
  EXPECT_EQ(Bytes(), Record("/sub1") + "efXYZ");
  const Handle fresh(create_wkld_file(folder.path("new").c_str()));
  EXPECT_EQ(std::filesystem::status(folder.path("new")).permissions(), std::filesystem::perms(0600));
}

TEST_F(WorkloadFileTest, TheBufferIsFlushedOnlyWhenTheNextRecordDoesNotFit) {
  const std::string fills(kBuffer - 9 - 9, 'x');
  const Handle handle = Create();
  EXPECT_EQ(Write(handle, fills), 0);
  EXPECT_EQ(Write(handle, ""), 0);
  EXPECT_EQ(handle->room, 0U);
  EXPECT_EQ(handle->total, 0U) << "a record that ends with the buffer is not written yet";
  EXPECT_EQ(Write(handle, "y"), 0);
  EXPECT_EQ(handle->total, kBuffer);
  EXPECT_EQ(Flush(handle), 0);
  EXPECT_EQ(Bytes(), Record(fills) + Record("") + Record("y"));
  EXPECT_EQ(ReadAll(Bytes()), (std::vector<std::string>{fills, "", "y"}));
  EXPECT_EQ(result, WKLDFILE_END);
}

TEST_F(WorkloadFileTest, ATextThatNoBufferHoldsIsRefusedAndNothingChanges) {
  const Handle handle = Create();
  EXPECT_EQ(Write(handle, "/a"), 0);
  const std::string longest(WKLDFILE_LONGEST_DATA - 1, 'x');
  EXPECT_EQ(Write(handle, longest + "x"), EMSGSIZE);
  EXPECT_EQ(Write(handle, longest, 1, 1), EMSGSIZE);
  EXPECT_EQ(handle->room, kBuffer - 11);
  EXPECT_EQ(Write(handle, longest), 0);
  EXPECT_EQ(Flush(handle), 0);
  EXPECT_EQ(ReadAll(Bytes()), (std::vector<std::string>{"/a", longest}));
}

TEST_F(WorkloadFileTest, AFailedFlushLeavesTheHandleAsItWas) {
  Handle handle(open_wkld_file("/dev/full"));
  ASSERT_TRUE(handle);
  handle.reset(create_wkld_file("/dev/full"));
  handle->cursor = handle->buffer;
  handle->room = sizeof(handle->buffer);
  EXPECT_EQ(Write(handle, "/a"), 0);
  EXPECT_EQ(Flush(handle), ENOSPC);
  EXPECT_EQ(handle->room, kBuffer - 11);
  EXPECT_EQ(handle->cursor, handle->buffer + 11);
  EXPECT_EQ(handle->total, 0U);
}

TEST_F(WorkloadFileTest, AShortFlushIsTold) {
  const Handle handle = Create();
  Write(handle, "/0123456789");
  const discovery_test::FileSizeLimit limit(8);
  EXPECT_EQ(Flush(handle), 0);
  EXPECT_TRUE(log.contains(4, "Only 8 of 20 bytes written to " + path)) << log.text();
  EXPECT_EQ(handle->total, 8U);
  Write(handle, "/a");
  EXPECT_EQ(Flush(handle), EFBIG);
}

TEST_F(WorkloadFileTest, TheReaderStopsAtWhatNoWriterWrote) {
  struct Case {
    std::string bytes;
    std::uint32_t flag;
    std::vector<std::string> texts;
    int result;
  };
  const std::string huge(WKLDFILE_LONGEST_DATA, 'x');
  const std::vector<Case> cases{{"", 0, {}, WKLDFILE_END},
                                {Record("/a").substr(0, 5), 0, {}, WKLDFILE_END},
                                {Record("/a") + Number(4) + "/b", 0, {"/a"}, WKLDFILE_END},
                                {Record("/a") + Number(~0ULL) + "/b", 0, {"/a"}, EBADMSG},
                                {Number(WKLDFILE_LONGEST_DATA + 1) + huge + '\0', 0, {}, EBADMSG},
                                {Number(0) + Record("/a"), 0, {}, EBADMSG},
                                {Number(3) + "/ab" + Record("/a"), 0, {}, EBADMSG},
                                {"/not/a/workload/file/at/all\n", 0, {}, EBADMSG},
                                {Number(9) + Record("/a"), 1, {"/a"}, WKLDFILE_END},
                                {Record("/a") + Record("/bcd"), 1, {}, EBADMSG}};
  for (const Case& c : cases) {
    EXPECT_EQ(ReadAll(c.bytes, c.flag), c.texts) << c.bytes.substr(0, 40);
    EXPECT_EQ(result, c.result) << c.bytes.substr(0, 40);
  }
  EXPECT_EQ(tags.at(tags.size() - 1), 9U);
}

TEST_F(WorkloadFileTest, ManyRecordsAreReadAcrossRefills) {
  std::string bytes;
  std::vector<std::string> expected;
  for (std::size_t i = 0; bytes.size() < 3 * kBuffer; ++i) {
    expected.push_back("/" + std::string(i % 997, static_cast<char>('a' + i % 26)));
    bytes += Record(expected.back());
  }
  EXPECT_EQ(ReadAll(bytes), expected);
  EXPECT_EQ(result, WKLDFILE_END);
  EXPECT_TRUE(log.contains(1, "Reading from file: " + path + " total bytes: 1048576"));
}

TEST_F(WorkloadFileTest, WhatCannotBeIsRefusedWithErrno) {
  errno = 0;
  EXPECT_EQ(open_wkld_file(path.c_str()), nullptr);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(create_wkld_file((path + "/below").c_str()), nullptr);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(create_wkld_file(nullptr), nullptr);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(delete_wkld_file(path.c_str()), -1);
  EXPECT_EQ(close_wkld_file(nullptr), 0);
  folder.write_file("file", "");
  EXPECT_EQ(delete_wkld_file(path.c_str()), 0);
  EXPECT_FALSE(std::filesystem::exists(path));
  EXPECT_EQ(wkldfile_write_record(nullptr, "", 0, 0), EINVAL);
  const Handle handle = Create();
  EXPECT_EQ(wkldfile_read_record(handle.get(), nullptr, 0), EINVAL);
  handle->room = kBuffer + 1;
  EXPECT_EQ(Flush(handle), EINVAL);
}

}  // namespace
