#include "host/printable.h"

namespace host {

namespace {

constexpr char hex_digits[] = "0123456789abcdef";

bool is_control(unsigned char byte) { return byte < 0x20 || byte == 0x7f; }

// U+0080 to U+009F: terminals take some of them for the start of a command.
bool is_wide_control(std::string_view text, std::size_t at) {
  if (at + 1 >= text.size() || static_cast<unsigned char>(text[at]) != 0xc2) return false;
  const auto next = static_cast<unsigned char>(text[at + 1]);
  return next >= 0x80 && next <= 0x9f;
}

void append_escaped(std::string& out, unsigned char byte) {
  switch (byte) {
    case '\n':
      out += "\\n";
      break;
    case '\r':
      out += "\\r";
      break;
    case '\t':
      out += "\\t";
      break;
    default:
      out += {'\\', 'x', hex_digits[byte >> 4], hex_digits[byte & 0xf]};
  }
}

}  // namespace

std::string printable(std::string_view text, std::size_t limit) {
  text = text.substr(0, text.find_last_not_of("\r\n") + 1);
  const bool cut = text.size() > limit;
  text = text.substr(0, limit);
  std::string out;
  out.reserve(text.size());
  for (std::size_t at = 0; at < text.size(); ++at) {
    const auto byte = static_cast<unsigned char>(text[at]);
    if (is_wide_control(text, at)) {
      append_escaped(out, static_cast<unsigned char>(text[++at]));
    } else if (is_control(byte)) {
      append_escaped(out, byte);
    } else {
      out += text[at];
    }
  }
  if (cut) out += "...";
  return out;
}

}  // namespace host
