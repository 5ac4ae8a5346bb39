#include "src/base/url_text.h"

#include <gtest/gtest.h>

namespace {

std::string AllBytes() {
  std::string all;
  for (int byte = 0; byte < 256; ++byte) {
    all += static_cast<char>(byte);
  }
  return all;
}

std::string Decoded(const std::string& text) {
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    plain += text[i] == '%' ? static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16)) : text[i];
    i += text[i] == '%' ? 2U : 0U;
  }
  return plain;
}

TEST(UrlText, WhatStandsWhereItIs) {
  const std::string text = "aZ09-._~!*'()@:/?&+%=#;,$[]{}|\\^`\"<>";
  EXPECT_EQ(azurestackpi::EncodeFormValue(text), "aZ09-._~!*'()@:/?%26%2B%25%3D%23;,$[]{}|\\^`\"<>");
  EXPECT_EQ(azurestackpi::EncodeUrlPath(text), text);
  EXPECT_EQ(azurestackpi::EncodeAllButAlphanumeric("/a-b.c_9"), "%2Fa%2Db%2Ec%5F9");
}

TEST(UrlText, BlanksControlAndForeignBytesAreWrittenInUpperCase) {
  const std::string odd = std::string(" \t\r\n\x7f\xc3\xa9\xff") + '\0';
  const std::string encoded = "%20%09%0D%0A%7F%C3%A9%FF%00";
  EXPECT_EQ(azurestackpi::EncodeFormValue(odd), encoded);
  EXPECT_EQ(azurestackpi::EncodeUrlPath(odd), encoded);
  EXPECT_EQ(azurestackpi::EncodeAllButAlphanumeric(odd), encoded);
}

TEST(UrlText, AFormValueArrivesWhole) {
  EXPECT_EQ(Decoded(azurestackpi::EncodeFormValue(AllBytes())), AllBytes());
  EXPECT_EQ(Decoded(azurestackpi::EncodeAllButAlphanumeric(AllBytes())), AllBytes());
}

}  // namespace
