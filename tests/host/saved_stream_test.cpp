// Streams that come back: taken apart whatever the pieces, and refused for every change.
#include "host/saved_stream.h"

#include <gmock/gmock.h>

#include <functional>

namespace {

using Words = std::vector<std::uint64_t>;

constexpr std::uint64_t disk_size = 8192;

std::string bytes_of(const Words& words) {
  return {reinterpret_cast<const char*>(words.data()), words.size() * sizeof words[0]};
}

std::string data_of(std::size_t size) {
  std::string data(size, '\0');
  for (std::size_t at = 0; at < size; ++at) data[at] = static_cast<char>(at * 7 + at / 256);
  return data;
}

host::SavedDisk record_of(const std::string& stream) {
  host::Sha256 digest;
  digest.update(stream.data(), stream.size());
  return {"/s/g/vm/a/b/c", disk_size, stream.size(), 0, digest.finish(), ""};
}

// The disk that the stream gives in pieces of that size.
std::string disk_of(const host::SavedDisk& record, const std::string& stream, std::size_t piece) {
  std::string disk(record.size, '\0');
  host::SavedStream reader(record, [&](std::uint64_t offset, const char* data, std::size_t size) {
    disk.replace(offset, size, data, size);
  });
  for (std::size_t at = 0; at < stream.size(); at += piece) {
    reader.take(stream.data() + at, std::min(piece, stream.size() - at));
  }
  reader.finish();
  return disk;
}

void expect_refusal(const host::SavedDisk& record, const std::string& stream, const std::string& words) {
  EXPECT_THAT([&] { disk_of(record, stream, 100); },
              testing::ThrowsMessage<host::DamagedStream>(testing::HasSubstr(words)));
}

const std::string good =
    bytes_of({72, disk_size, 1536, 2, 8, 512, 1024, 7680, 512}) + std::string(8, '\0') + data_of(1536);

TEST(SavedStream, PutsTheBytesInTheirPlaces) {
  const std::string data = data_of(1536);
  const std::string disk =
      std::string(512, '\0') + data.substr(0, 1024) + std::string(7680 - 1536, '\0') + data.substr(1024);
  for (const std::size_t piece : {1U, 40U, 79U, 81U, 5000U}) EXPECT_TRUE(disk_of(record_of(good), good, piece) == disk);
  const std::string empty = bytes_of({40, disk_size, 0, 0, 8}) + std::string(8, '\0');
  EXPECT_TRUE(disk_of(record_of(empty), empty, 7) == std::string(disk_size, '\0'));
}

TEST(SavedStream, IsRefusedWhenItIsNotTheSavedOne) {
  std::string flipped = good;
  flipped.back() = static_cast<char>(flipped.back() ^ 1);
  expect_refusal(record_of(good), flipped, "SHA-256");
  expect_refusal(record_of(good), good.substr(0, good.size() - 1), "ends early: 1615 bytes of 1616");
  expect_refusal(record_of(good), good + "x", "longer");
  expect_refusal(record_of(good), "", "within the header");
  host::SavedDisk other = record_of(good);
  ++other.stream_bytes;  // told before any of its data is taken
  expect_refusal(other, good.substr(0, 81), "not as long");
}

// Header and table are judged by themselves, before the digest is known: what they say is used at once.
TEST(SavedStream, IsRefusedForAHeaderOrATableThatCannotBe) {
  const std::uint64_t huge = ~std::uint64_t{0};
  const std::vector<std::pair<Words, std::string>> cases = {
      {{72, 4096, 1536, 2, 8, 512, 1024, 7680, 512}, "a disk of 4096 bytes, not 8192"},
      {{72, disk_size, 1536, huge / 16, 8, 512, 1024, 7680, 512}, "header cannot be"},
      {{72, disk_size, 1536, 2, huge, 512, 1024, 7680, 512}, "header cannot be"},
      {{72, disk_size, disk_size + 512, 2, 8, 512, 1024, 7680, 512}, "header cannot be"},
      {{72, disk_size, 1536, 0, 8, 512, 1024, 7680, 512}, "no table"},
      {{72, disk_size, 1024, 2, 8, 512, 1024, 7680, 512}, "does not fit its header"},
      {{72, disk_size, 1536, 2, 8, 512, 1024, 7680, 1024}, "impossible range"},
      {{72, disk_size, 1536, 2, 8, 7680, 512, 512, 1024}, "impossible range"},
      {{72, disk_size, 1536, 2, 8, 512, 1024, 1024, 512}, "impossible range"},
      {{72, disk_size, 1536, 2, 8, huge, 1024, 7680, 512}, "impossible range"},
      {{72, disk_size, 1536, 2, 8, 512, huge, 7680, 512}, "impossible range"},
      {{72, disk_size, 1536, 2, 8, 500, 1024, 7680, 512}, "impossible range"},
      {{72, disk_size, 1536, 2, 8, 512, 0, 7680, 512}, "impossible range"},
      {{72, disk_size, 1536, 2, 8, 512, 512, 7680, 512}, "does not fit its header"}};
  for (const auto& [head, words] : cases) {
    const std::string stream = bytes_of(head) + good.substr(72);
    expect_refusal(record_of(stream), stream, words);
  }
}

}  // namespace
