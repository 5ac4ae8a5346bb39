#include "tests/storage/blob_fixture.h"

namespace azurestoragewrapper {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

using Ranges = std::vector<PageRange>;
constexpr std::size_t k64KiB = 65536;
constexpr std::size_t k256KiB = 262144;
constexpr std::size_t k512KiB = 524288;

/// With one request under way at a time, and with many.
class WriteStreamTest : public BlobFixture, public testing::WithParamInterface<int> {
 protected:
  WriteStreamTest() { options.requests_in_flight = GetParam(); }

  /// A new blob of 64 MiB, made and written behind the proxy.
  page_blob create_behind_proxy() const { return {account(proxy.port()), container, name, 64 * kMiB, options}; }

  Bytes stored(std::uint64_t offset, std::size_t size) const {
    page_blob blob(account(azurite::port()), container, name, options);
    return read_at(*blob.open_read({}), offset, size);
  }
  Ranges sent() const { return asked_ranges("PUT", "comp=page"); }
};

TEST_P(WriteStreamTest, SendsNoPageOfZerosThatTheBlobHas) {
  auto blob = create_behind_proxy();
  const auto stream = blob.open_write();
  Bytes data = random_bytes(12 * kMiB);
  std::fill_n(data.begin() + 512, 512, std::byte{0});            // less than a page: goes along
  std::fill_n(data.begin() + 1 * kMiB, k64KiB, std::byte{0});    // in the middle of a request
  std::fill_n(data.begin() + 4 * kMiB, 4 * kMiB, std::byte{0});  // a whole request
  SeekWStream(*stream, 8 * kMiB);
  EXPECT_EQ(WriteStream(*stream, data.data(), data.size()), data.size());
  CloseWStream(*stream);
  EXPECT_EQ(stored(8 * kMiB, data.size()), data);
  EXPECT_EQ(by_offset(sent()),
            (Ranges{{8 * kMiB, kMiB}, {9 * kMiB + k64KiB, 3 * kMiB - k64KiB}, {16 * kMiB, 4 * kMiB}}));
}

TEST_P(WriteStreamTest, ZerosOverDataAreSent) {
  auto blob = create_behind_proxy();
  const Bytes data = random_bytes(kMiB);
  const Bytes zeros(kMiB);
  const auto stream = blob.open_write();
  WriteStream(*stream, data.data(), data.size());
  SeekWStream(*stream, k512KiB);
  WriteStream(*stream, zeros.data(), k256KiB);
  CloseWStream(*stream);
  const auto second = behind_proxy().open_write();  // of a blob that was there: nothing is known of it
  WriteStream(*second, zeros.data(), 4096);
  CloseWStream(*second);
  Bytes expected = data;
  std::fill_n(expected.begin(), 4096, std::byte{0});
  std::fill_n(expected.begin() + std::ptrdiff_t{k512KiB}, k256KiB, std::byte{0});
  EXPECT_EQ(stored(0, kMiB), expected);
}

TEST_P(WriteStreamTest, WhatAPageBlobDoesNotTakeIsRefusedBeforeAnythingIsSent) {
  auto blob = create_behind_proxy();
  const auto stream = blob.open_write();
  const Bytes data = random_bytes(kMiB);
  struct Case {
    std::uint64_t offset;
    std::size_t size;
    const char* reason;
  };
  for (const Case& c : {Case{100, 512, "multiples of 512"},
                        {0, 511, "multiples of 512"},
                        {64 * kMiB - 512, 1024, "the blob ends at"},
                        {64 * kMiB, 512, "the blob ends at"},
                        {std::uint64_t{1} << 63U, 512, "the blob ends at"}}) {
    SeekWStream(*stream, c.offset);
    const Failure failure = failure_of([&] { WriteStream(*stream, data.data(), c.size); });
    EXPECT_THAT(failure.message, HasSubstr(c.reason));
    EXPECT_FALSE(failure.retryable);
  }
  EXPECT_THAT(sent(), IsEmpty());
  CloseWStream(*stream);
}

TEST_P(WriteStreamTest, WhatIsLostOnTheWayIsSentAgain) {
  fault("PUT", "comp=page", azurite::LoseAnswer{}, 1);
  fault("PUT", "comp=page", sim::ResetBeforeAnswer{}, 3, 2);
  fault("PUT", "comp=page", status(503, {{"Retry-After", "9"}}), 6);
  auto blob = create_behind_proxy();
  const auto stream = blob.open_write();
  const Bytes data = random_bytes(24 * kMiB);
  EXPECT_EQ(WriteStream(*stream, data.data(), data.size()), data.size());
  CloseWStream(*stream);
  EXPECT_EQ(stored(0, data.size()), data);
  EXPECT_THAT(clock.pauses(), testing::Contains(9));
}

TEST_P(WriteStreamTest, AWriteOverOneUnderWayComesAfterIt) {
  fault("PUT", "comp=page", sim::ResetBeforeAnswer{}, 1);
  auto blob = create_behind_proxy();
  const auto stream = blob.open_write();
  const Bytes first = random_bytes(kMiB, 1);
  const Bytes second = random_bytes(512, 2);
  WriteStream(*stream, first.data(), first.size());
  SeekWStream(*stream, 512);
  WriteStream(*stream, second.data(), second.size());
  CloseWStream(*stream);
  EXPECT_EQ(stored(512, 512), second);
}

TEST_P(WriteStreamTest, ALostPageIsToldByWriteOrCloseAndForEverAfter) {
  fault("PUT", "comp=page", status(403), 2, 1000);
  auto blob = create_behind_proxy();
  const auto stream = blob.open_write();
  const Bytes data = random_bytes(32 * kMiB);
  try {
    WriteStream(*stream, data.data(), data.size());
  } catch (const azurestorage_exception& error) {
    EXPECT_EQ(error.http_status(), 403);  // told at once when the service is quick
  }
  EXPECT_EQ(failure_of([&] { CloseWStream(*stream); }).http_status, 403);
  EXPECT_EQ(failure_of([&] { WriteStream(*stream, data.data(), 512); }).http_status, 403);
  EXPECT_EQ(failure_of([&] { CloseWStream(*stream); }).http_status, 403);
}

TEST_P(WriteStreamTest, AFailureOfTheLastWriteIsToldByCloseAtTheLatest) {
  auto blob = create_behind_proxy();
  const Bytes data = random_bytes(512);
  const auto message_of = [&](const sim::AnswerWith& answer) {
    fault("PUT", "comp=page", answer);
    const auto stream = blob.open_write();
    return failure_of([&] {
             WriteStream(*stream, data.data(), data.size());
             CloseWStream(*stream);
           })
        .message;
  };
  EXPECT_THAT(message_of(status(409, {{"x-ms-error-code", "MemoryExtentStoreAtSizeLimit"}})),
              HasSubstr("the storage has no room left"));
  // Something on the way may answer in the service's place.
  EXPECT_THAT(message_of(status(200)), HasSubstr("not the blob service's"));
}

TEST_P(WriteStreamTest, NeverOverwritesABlobWhenItMakesOne) {
  auto blob = create_behind_proxy();
  store(blob, 0, random_bytes(512));
  const Failure failure = failure_of([&] { create_behind_proxy(); });
  EXPECT_EQ(failure.error_code, "BlobAlreadyExists");
  EXPECT_EQ(stored(0, 512), random_bytes(512));
}

TEST_P(WriteStreamTest, MakingABlobIsRepeatedOnlyWhenItWasNotDone) {
  fault("PUT", "vhd$", status(503), 1);
  const auto blob = create_behind_proxy();
  EXPECT_THAT(clock.pauses(), ElementsAre(1));
  fault("PUT", "vhd$", status(500), 1);
  EXPECT_EQ(failure_of([&] { create_behind_proxy(); }).http_status, 500);
  EXPECT_THAT(clock.pauses(), ElementsAre(1));
}

INSTANTIATE_TEST_SUITE_P(InFlight, WriteStreamTest, testing::Values(1, 8));

}  // namespace
}  // namespace azurestoragewrapper
