#include "host/progress.h"

#include <algorithm>

#include "host/byte_text.h"

namespace host {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t bar_width = 24;
constexpr std::size_t longest_name = 32;
constexpr auto bar_step = 200ms;
constexpr auto line_step = 30s;
constexpr const char* clear_line = "\r\033[K";

std::string bar(std::uint64_t done, std::uint64_t whole) {
  const auto share = static_cast<double>(done) / static_cast<double>(whole);
  const auto full = std::min(bar_width, static_cast<std::size_t>(share * bar_width));
  return "[" + std::string(full, '#') + std::string(bar_width - full, '.') + "] ";
}

std::string percent(std::uint64_t done, std::uint64_t whole) {
  return std::to_string(static_cast<int>(100 * static_cast<double>(done) / static_cast<double>(whole))) + "%";
}

}  // namespace

Progress::Progress(const Console& console, bool quiet)
    : console_(console), quiet_(quiet), bar_(console.error_is_terminal()) {}

void Progress::begin(const std::string& name) {
  name_ = name.size() <= longest_name ? name : "..." + name.substr(name.size() - longest_name + 3);
  start_ = Clock::now();
  next_ = start_ + (bar_ ? Clock::duration(bar_step) : Clock::duration(line_step));
}

void Progress::advance(std::uint64_t done, std::uint64_t whole) {
  const auto now = Clock::now();
  if (quiet_ || now < next_) return;
  next_ = now + (bar_ ? Clock::duration(bar_step) : Clock::duration(line_step));
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(now - start_).count();
  const std::string text = line(done, whole, static_cast<std::uint64_t>(seconds));
  console_.print_error(bar_ ? clear_line + text : text + "\n");
  shown_ = true;
}

void Progress::end() {
  if (shown_ && bar_) console_.print_error(clear_line);
  shown_ = false;
}

std::string Progress::line(std::uint64_t done, std::uint64_t whole, std::uint64_t seconds) const {
  const std::uint64_t rate = done / std::max<std::uint64_t>(seconds, 1);
  const std::string speed = byte_text(done) + ", " + byte_text(rate) + "/s";
  if (whole == 0) return "  " + name_ + "  " + speed;
  std::string text = "  " + name_ + "  " + (bar_ ? bar(done, whole) : "") + percent(done, whole) + ", " + speed;
  if (rate > 0 && whole >= done) text += ", " + duration_text((whole - done) / rate) + " left";
  return text;
}

}  // namespace host
