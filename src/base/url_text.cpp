#include "src/base/url_text.h"

namespace azurestackpi {
namespace {

bool IsBlankControlOrNonAscii(unsigned char byte) { return byte <= 0x20 || byte >= 0x7f; }

bool IsAsciiAlphanumeric(unsigned char byte) {
  return (byte >= '0' && byte <= '9') || (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z');
}

template <typename Predicate>
std::string EncodeWhere(std::string_view text, Predicate must_encode) {
  constexpr char digits[] = "0123456789ABCDEF";
  std::string encoded;
  encoded.reserve(text.size());
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (must_encode(byte)) {
      encoded += '%';
      encoded += digits[byte >> 4];
      encoded += digits[byte & 0xf];
    } else {
      encoded += c;
    }
  }
  return encoded;
}

}  // namespace

std::string EncodeFormValue(std::string_view value) {
  return EncodeWhere(value, [](unsigned char byte) {
    return IsBlankControlOrNonAscii(byte) || byte == '&' || byte == '+' || byte == '%' || byte == '=' || byte == '#';
  });
}

std::string EncodeUrlPath(std::string_view path) { return EncodeWhere(path, IsBlankControlOrNonAscii); }

std::string EncodeAllButAlphanumeric(std::string_view text) {
  return EncodeWhere(text, [](unsigned char byte) { return !IsAsciiAlphanumeric(byte); });
}

}  // namespace azurestackpi
