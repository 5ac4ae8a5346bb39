#include "storage/encoding.h"

#include <gtest/gtest.h>

namespace azurestoragewrapper {
namespace {

TEST(Encoding, EveryByteOfANameComesBack) {
  std::string name;
  for (int byte = 1; byte < 256; ++byte) name += static_cast<char>(byte);
  const std::string encoded = percent_encode(name, "/");
  EXPECT_EQ(percent_decode(encoded), name);
  for (const char forbidden : {' ', '?', '#', '&', '+', '"', '<', '\n'}) {
    EXPECT_EQ(encoded.find(forbidden), std::string::npos) << forbidden;
  }
}

TEST(Encoding, EscapesThatAreNoneStand) {
  for (const char* const text : {"%", "%4", "a%zz", "100%", "%%"}) EXPECT_EQ(percent_decode(text), text);
  EXPECT_EQ(percent_decode("%41%2f%2F"), "A//");
}

TEST(Encoding, KeysInBase64) {
  EXPECT_EQ(base64_decode("AAEC/w=="), std::string("\0\1\2\xff", 4));
  EXPECT_EQ(base64_decode("a2V5"), "key");
  for (const char* const bad : {"", "a", "a2V", "a2V5=", "a2V*", "ä2V5"}) EXPECT_FALSE(base64_decode(bad)) << bad;
}

TEST(Encoding, TimesOfTheService) {
  EXPECT_EQ(http_date(1795377697), "Sun, 22 Nov 2026 20:01:37 GMT");
  EXPECT_EQ(parse_service_time("2026-11-22T20:01:37.2410000Z"), 1795377697);
  EXPECT_EQ(parse_service_time("2026-11-22T20:01:37Z"), 1795377697);
  for (const char* const bad : {"", "2026-11-22", "2026-11-22T20:01", "2026-13-22T20:01:37Z", "yesterday"}) {
    EXPECT_FALSE(parse_service_time(bad)) << bad;
  }
}

}  // namespace
}  // namespace azurestoragewrapper
