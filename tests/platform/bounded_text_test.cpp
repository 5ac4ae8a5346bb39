#include "platform/bounded_text.h"

#include <gtest/gtest.h>

#include <string>

namespace {

// A buffer whose bytes beyond size must stay as they are.
struct Room {
  explicit Room(const std::string& text) : bytes(text) { bytes.resize(16, '#'); }
  std::string bytes;
};

struct CopyCase {
  std::string source;
  std::size_t size;
  std::string kept;  // of the buffer, the NUL included
};

TEST(BoundedText, CopyEndsWithANulAndSaysWhatWasCut) {
  const std::vector<CopyCase> cases = {
      {"abc", 4, std::string("abc\0", 4)}, {"abc", 3, std::string("ab\0", 3)},
      {"abc", 1, std::string("\0", 1)},    {"abc", 0, ""},
      {"", 4, std::string("\0", 1)},
  };
  for (const CopyCase& given : cases) {
    Room room("");
    EXPECT_EQ(V_strlcpy(room.bytes.data(), given.source.c_str(), given.size), given.source.size());
    EXPECT_EQ(room.bytes, Room(given.kept).bytes) << given.source << given.size;
  }
}

struct AppendCase {
  std::string before;
  std::size_t size;
  std::string after;
  std::size_t length;
};

TEST(BoundedText, AppendKeepsWhatItHasNoRoomFor) {
  const std::vector<AppendCase> cases = {
      {std::string("ab\0", 3), 6, std::string("abcde\0", 6), 5},
      {std::string("ab\0", 3), 5, std::string("abcd\0", 5), 5},
      {std::string("ab\0", 3), 3, std::string("ab\0", 3), 5},
      {std::string("ab\0", 3), 2, std::string("ab\0", 3), 5},  // no NUL within the room: left alone
      {"abc", 0, "abc", 3},
  };
  for (const AppendCase& given : cases) {
    Room room(given.before);
    EXPECT_EQ(V_strlcat(room.bytes.data(), "cde", given.size), given.length) << given.size;
    EXPECT_EQ(room.bytes, Room(given.after).bytes) << given.size;
  }
}

TEST(BoundedText, FormatReturnsTheWholeLengthAndStaysInside) {
  Room room("");
  EXPECT_EQ(V_snprintf(room.bytes.data(), 4, "%d-%s", 12, "xyz"), 6);
  EXPECT_EQ(room.bytes, Room(std::string("12-\0", 4)).bytes);
  EXPECT_EQ(V_snprintf(nullptr, 0, "%s", "xyz"), 3);
  // A wide character that no multi-byte text can hold is a formatting error.
  Room broken("old");
  EXPECT_EQ(V_snprintf(broken.bytes.data(), 4, "%lc", static_cast<wint_t>(0x7fffffff)), -1);
  EXPECT_EQ(broken.bytes[0], '\0');
}

}  // namespace
