#include "sim/form.h"

#include <algorithm>
#include <charconv>

#include "sim/http_message.h"

namespace sim {
namespace {

std::string decoded_value(std::string_view text) {
  std::string with_blanks(text);
  std::replace(with_blanks.begin(), with_blanks.end(), '+', ' ');
  return percent_decoded(with_blanks);
}

}  // namespace

std::string field(const Fields& fields, std::string_view name) {
  for (const auto& [key, value] : fields) {
    if (equal_ignoring_case(key, name)) return value;
  }
  return {};
}

std::string percent_decoded(std::string_view text) {
  std::string decoded;
  for (std::size_t i = 0; i < text.size(); ++i) {
    unsigned char byte = 0;
    const std::string_view digits = text.substr(i + 1, 2);
    const bool whole = text[i] == '%' && digits.size() == 2;
    if (whole && std::from_chars(digits.begin(), digits.end(), byte, 16).ptr == digits.end()) {
      decoded.push_back(static_cast<char>(byte));
      i += 2;
    } else {
      decoded.push_back(text[i]);
    }
  }
  return decoded;
}

std::string percent_encoded(std::string_view text, std::string_view kept) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  constexpr std::string_view harmless = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
  std::string encoded;
  for (const char c : text) {
    if (harmless.find(c) != std::string_view::npos || kept.find(c) != std::string_view::npos) {
      encoded += c;
      continue;
    }
    const auto byte = static_cast<unsigned char>(c);
    encoded.append({'%', digits[byte >> 4U], digits[byte & 15U]});
  }
  return encoded;
}

Fields parse_fields(std::string_view text) {
  Fields fields;
  while (!text.empty()) {
    const std::string_view pair = text.substr(0, text.find('&'));
    text.remove_prefix(std::min(pair.size() + 1, text.size()));
    const std::string_view name = pair.substr(0, pair.find('='));
    const std::string_view value = pair.substr(std::min(name.size() + 1, pair.size()));
    fields.emplace_back(decoded_value(name), decoded_value(value));
  }
  return fields;
}

}  // namespace sim
