#include "storage/encoding.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <stdexcept>

namespace azurestoragewrapper {
namespace {

constexpr std::string_view kUnreserved = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
constexpr std::string_view kHexDigits = "0123456789ABCDEF";

// -1 for what is no hexadecimal digit.
int hex_value(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
  if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
  return -1;
}

std::string base64_encode(const unsigned char* data, std::size_t size) {
  std::string text(4 * ((size + 2) / 3) + 1, '\0');  // OpenSSL ends it with a NUL
  const int length = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()), data, static_cast<int>(size));
  text.resize(static_cast<std::size_t>(length));
  return text;
}

}  // namespace

std::string percent_encode(std::string_view text, std::string_view keep) {
  std::string encoded;
  encoded.reserve(text.size());
  for (const char c : text) {
    if (kUnreserved.find(c) != std::string_view::npos || keep.find(c) != std::string_view::npos) {
      encoded += c;
      continue;
    }
    const auto byte = static_cast<unsigned char>(c);
    encoded += '%';
    encoded += kHexDigits[byte >> 4U];
    encoded += kHexDigits[byte & 15U];
  }
  return encoded;
}

std::string percent_decode(std::string_view text) {
  std::string decoded;
  decoded.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool escape = text[i] == '%' && i + 2 < text.size();
    const int high = escape ? hex_value(text[i + 1]) : -1;
    const int low = escape ? hex_value(text[i + 2]) : -1;
    if (high < 0 || low < 0) {
      decoded += text[i];
      continue;
    }
    decoded += static_cast<char>(high * 16 + low);
    i += 2;
  }
  return decoded;
}

std::optional<std::string> base64_decode(std::string_view text) {
  if (text.empty() || text.size() % 4 != 0 || text.size() > 65536) return std::nullopt;
  std::string decoded(text.size() / 4 * 3, '\0');
  const int length =
      EVP_DecodeBlock(reinterpret_cast<unsigned char*>(decoded.data()),
                      reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size()));
  if (length < 0) return std::nullopt;
  // OpenSSL counts the padding as bytes.
  const std::size_t padding = text.ends_with("==") ? 2 : text.ends_with("=") ? 1 : 0;
  decoded.resize(static_cast<std::size_t>(length) - padding);
  return decoded;
}

std::string hmac_sha256_base64(const std::string& key, std::string_view text) {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned int size = 0;
  if (HMAC(EVP_sha256(), key.data(), static_cast<int>(key.size()), reinterpret_cast<const unsigned char*>(text.data()),
           text.size(), digest.data(), &size) == nullptr) {
    throw std::runtime_error("the signature of a request to the storage service cannot be computed");
  }
  return base64_encode(digest.data(), size);
}

std::string http_date(std::time_t time) {
  // Not by strftime's %a and %b: those follow the host's language.
  static constexpr std::array<const char*, 7> kDays = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
  static constexpr std::array<const char*, 12> kMonths = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                          "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  std::tm parts{};
  gmtime_r(&time, &parts);
  std::array<char, 64> text{};
  static_cast<void>(std::snprintf(text.data(), text.size(), "%s, %02d %s %04d %02d:%02d:%02d GMT",
                                  kDays.at(static_cast<std::size_t>(parts.tm_wday)), parts.tm_mday,
                                  kMonths.at(static_cast<std::size_t>(parts.tm_mon)), parts.tm_year + 1900,
                                  parts.tm_hour, parts.tm_min, parts.tm_sec));
  return text.data();
}

std::optional<std::time_t> parse_service_time(const std::string& text) {
  std::tm parts{};
  const char* const rest = strptime(text.c_str(), "%Y-%m-%dT%H:%M:%S", &parts);
  if (rest == nullptr || (*rest != '.' && *rest != 'Z')) return std::nullopt;
  return timegm(&parts);
}

std::optional<std::uint64_t> parse_number(std::string_view text) {
  std::uint64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

std::string to_lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  return text;
}

}  // namespace azurestoragewrapper
