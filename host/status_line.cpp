#include "host/status_line.h"

namespace host {

namespace {

constexpr const char* clear_line = "\r\033[K";

bool continues_character(char byte) { return (static_cast<unsigned char>(byte) & 0xc0U) == 0x80U; }

}  // namespace

// The last column stays free: some terminals wrap when it is filled.
void StatusLine::show(const std::string& text) {
  console_.print_error(clear_line + first_bytes(text, console_.error_width() - 1));
  shown_ = true;
}

void StatusLine::clear() {
  if (shown_) console_.print_error(clear_line);
  shown_ = false;
}

std::string first_bytes(const std::string& text, std::size_t limit) {
  if (text.size() <= limit) return text;
  while (limit > 0 && continues_character(text[limit])) --limit;
  return text.substr(0, limit);
}

}  // namespace host
