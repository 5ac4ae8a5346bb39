#include "tests/storage/blob_fixture.h"

namespace azurestoragewrapper {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

using Ranges = std::vector<PageRange>;

/// With one request under way at a time, and with many.
class ReadStreamTest : public BlobFixture, public testing::WithParamInterface<int> {
 protected:
  ReadStreamTest() : blob(create(64 * kMiB)) {
    options.requests_in_flight = GetParam();
    store(blob, 1 * kMiB, data);
    store(blob, 40 * kMiB, tail);
  }

  std::unique_ptr<read_stream> open(std::span<const PageRange> of) const { return behind_proxy().open_read(of); }

  const Bytes data = random_bytes(10 * kMiB);
  const Bytes tail = random_bytes(4096, 2);
  const Ranges ranges = {{1 * kMiB, 10 * kMiB}, {40 * kMiB, 4096}};
  page_blob blob;
};

TEST_P(ReadStreamTest, AsksForEveryByteOfTheRangesOnceAndForNoOther) {
  const auto stream = open(ranges);
  EXPECT_EQ(read_at(*stream, 1 * kMiB, data.size(), 100'003), data);
  EXPECT_EQ(read_at(*stream, 40 * kMiB, tail.size()), tail);
  CloseIStream(*stream);
  EXPECT_EQ(by_offset(asked_ranges("GET")),
            (Ranges{{1 * kMiB, 4 * kMiB}, {5 * kMiB, 4 * kMiB}, {9 * kMiB, 2 * kMiB}, {40 * kMiB, 4096}}));
}

TEST_P(ReadStreamTest, ConnectionsAreKept) {
  Ranges pieces;
  for (std::uint64_t i = 0; i < 200; ++i) pieces.push_back({i * 8192, 512});
  const auto stream = open(pieces);
  for (const PageRange& piece : pieces) read_at(*stream, piece.offset, piece.length);
  EXPECT_EQ(asked_ranges("GET").size(), 200U);
  EXPECT_LE(proxy.connections(), 17U);  // for the size, and as many as may be under way at once
}

TEST_P(ReadStreamTest, ReadsAnywhereAndInAnyOrder) {
  const auto stream = open(ranges);
  Bytes model(64 * kMiB);
  std::copy(data.begin(), data.end(), model.begin() + 1 * kMiB);
  std::copy(tail.begin(), tail.end(), model.begin() + 40 * kMiB);
  std::mt19937 generator(20261123);  // NOLINT(cert-msc32-c,cert-msc51-cpp): the same places in every run
  for (int i = 0; i < 60; ++i) {
    const std::size_t offset = generator() % (model.size() - 1);
    const std::size_t size = std::min<std::size_t>(generator() % 300'000, model.size() - offset);
    const auto begin = model.begin() + static_cast<std::ptrdiff_t>(offset);
    ASSERT_EQ(read_at(*stream, offset, size), Bytes(begin, begin + static_cast<std::ptrdiff_t>(size))) << offset;
  }
  std::byte byte{};
  SeekIStream(*stream, model.size());
  EXPECT_EQ(ReadStream(*stream, &byte, 1, 0), 0U);
  SeekIStream(*stream, model.size() + 5);
  EXPECT_EQ(ReadStream(*stream, &byte, 1, 0), 0U);
}

TEST_P(ReadStreamTest, AnAnswerThatBreaksOffGoesOnWhereItBroke) {
  fault("GET", "", sim::TruncateBody{kMiB}, 1);
  fault("GET", "", sim::ResetInBody{kMiB}, 2);
  const Ranges one_piece = {{1 * kMiB, 4 * kMiB}};
  const auto stream = open(one_piece);
  EXPECT_EQ(read_at(*stream, 1 * kMiB, 4 * kMiB, kMiB), Bytes(data.begin(), data.begin() + 4 * kMiB));
  EXPECT_THAT(clock.pauses(), ElementsAre(1, 2));
  const Ranges asked = asked_ranges("GET");
  ASSERT_EQ(asked.size(), 3U);
  EXPECT_EQ(asked[0], (PageRange{1 * kMiB, 4 * kMiB}));
  EXPECT_EQ(asked[1], (PageRange{2 * kMiB, 3 * kMiB}));
  EXPECT_GE(asked[2].offset, 2 * kMiB);  // a reset may throw away some of what was sent
}

TEST_P(ReadStreamTest, WaitsAsLongAsTheServiceAsks) {
  fault("GET", "", status(503, {{"Retry-After", "7"}}), 1);
  fault("GET", "", status(429, {{"Retry-After", "11"}}), 2);
  const auto stream = open({});
  EXPECT_EQ(read_at(*stream, 40 * kMiB, tail.size()), tail);
  EXPECT_THAT(clock.pauses(), ElementsAre(7, 11));
}

TEST_P(ReadStreamTest, GivesUpAfterFourRepeatsAndCanBeReadAgain) {
  fault("GET", "", sim::ResetBeforeAnswer{}, 1, 1000);
  const auto stream = open({});
  Bytes bytes(512);
  const Failure failure = failure_of([&] { ReadStream(*stream, bytes.data(), bytes.size(), 0); });
  EXPECT_TRUE(failure.retryable);
  EXPECT_THAT(failure.message, HasSubstr("reading bytes 0-511 of http://acctone.blob."));
  EXPECT_THAT(clock.pauses(), ElementsAre(1, 2, 4, 8));
  EXPECT_TRUE(failure_of([&] { ReadStream(*stream, bytes.data(), 100, 0); }).retryable);  // asked anew
  EXPECT_EQ(clock.pauses().size(), 8U);
}

TEST_P(ReadStreamTest, AFailureIsToldWhereTheReaderMeetsIt) {
  // The third piece is asked for while the first one is read.
  proxy.add({.method = "GET", .header = "x-ms-range: bytes=9437184-", .times = 100, .action = status(404)});
  const auto stream = open(ranges);
  EXPECT_EQ(read_at(*stream, 1 * kMiB, 8 * kMiB), Bytes(data.begin(), data.begin() + 8 * kMiB));
  Bytes bytes(512);
  const Failure failure = failure_of([&] { ReadStream(*stream, bytes.data(), bytes.size(), 0); });
  EXPECT_EQ(failure.http_status, 404);
  EXPECT_THAT(clock.pauses(), IsEmpty());
  EXPECT_EQ(read_at(*stream, 40 * kMiB, tail.size()), tail);
}

TEST_P(ReadStreamTest, AnAnswerThatIsNotThePartAskedForIsRefused) {
  struct Case {
    const char* what;
    sim::AnswerWith answer;
  };
  for (const Case& c :
       {Case{"whole blob", status(200, {}, std::string(512, 'x'))},
        {"other place", status(206, {{"Content-Range", "bytes 512-1023/65536"}}, std::string(512, 'x'))},
        {"too long", status(206, {{"Content-Range", "bytes 0-511/65536"}}, std::string(513, 'x'))}}) {
    fault("GET", "", c.answer, 1, 1);
    const auto stream = open({});
    Bytes bytes(512);
    const Failure failure = failure_of([&] { ReadStream(*stream, bytes.data(), bytes.size(), 0); });
    EXPECT_THAT(failure.message, HasSubstr("not the part that was asked for")) << c.what;
  }
}

TEST_P(ReadStreamTest, ClosingInTheMiddleAbandonsWhatIsUnderWay) {
  const auto stream = open(ranges);
  EXPECT_EQ(read_at(*stream, 1 * kMiB, 512), Bytes(data.begin(), data.begin() + 512));
  CloseIStream(*stream);
  CloseIStream(*stream);
  std::byte byte{};
  EXPECT_THROW(ReadStream(*stream, &byte, 1, 0), azurestorage_exception);
  EXPECT_THROW(SeekIStream(*stream, 0), azurestorage_exception);
}

INSTANTIATE_TEST_SUITE_P(InFlight, ReadStreamTest, testing::Values(1, 8));

}  // namespace
}  // namespace azurestoragewrapper
