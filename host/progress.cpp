#include "host/progress.h"

#include <algorithm>
#include <utility>

#include "host/backup_events.h"
#include "host/byte_text.h"

namespace host {

namespace {

using namespace std::chrono_literals;
using Duration = std::chrono::steady_clock::duration;

constexpr std::size_t widest_bar = 24;
constexpr std::size_t narrowest_bar = 6;
constexpr std::size_t bar_frame = 3;  // its brackets and the blank behind it
constexpr std::size_t longest_name = 32;
constexpr Duration bar_step = 200ms;
constexpr Duration event_step = 1s;
constexpr Duration line_step = 30s;

Duration step_of(ProgressStyle style, bool bar) {
  if (style == ProgressStyle::events) return event_step;
  return bar ? bar_step : line_step;
}

// The end of a name tells more than its beginning.
std::string short_name(const std::string& name) {
  return name.size() <= longest_name ? name : "..." + name.substr(name.size() - longest_name + 3);
}

std::string bar(const ProgressEvent& stream, std::size_t room) {
  if (stream.whole == 0 || room < narrowest_bar + bar_frame) return "";
  const std::size_t width = std::min(widest_bar, room - bar_frame);
  const auto share = static_cast<double>(stream.done) / static_cast<double>(stream.whole);
  const auto full = std::min(width, static_cast<std::size_t>(share * static_cast<double>(width)));
  return "[" + std::string(full, '#') + std::string(width - full, '.') + "] ";
}

std::string percent(const ProgressEvent& stream) {
  const auto share = static_cast<double>(stream.done) / static_cast<double>(stream.whole);
  return stream.whole == 0 ? "" : std::to_string(static_cast<int>(100 * share)) + "%, ";
}

}  // namespace

// ---- One stream -----------------------------------------------------------------------------------------------------

Progress::Progress(const Console& console, ProgressStyle style)
    : console_(console),
      style_(style),
      bar_(style == ProgressStyle::screen && console.error_is_terminal()),
      status_(console),
      step_(step_of(style, bar_)) {}

void Progress::begin(const std::string& name) {
  stream_ = {short_name(name), 0, 0};
  start_ = Clock::now();
  next_ = start_ + step_;
}

void Progress::advance(std::uint64_t done, std::uint64_t whole) {
  stream_.done = done;
  stream_.whole = whole;
  const auto now = Clock::now();
  if (style_ == ProgressStyle::none || now < next_) return;
  next_ = now + step_;
  tell(now);
}

void Progress::tell(Clock::time_point now) {
  if (style_ == ProgressStyle::events) {
    console_.print(event_line(stream_));
    return;
  }
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(now - start_).count();
  const std::string text = line(static_cast<std::uint64_t>(seconds));
  if (bar_) {
    status_.show(text);
  } else {
    console_.print_error(text + "\n");
  }
}

void Progress::end() { status_.clear(); }

std::string Progress::line(std::uint64_t seconds) const {
  const std::uint64_t rate = stream_.done / std::max<std::uint64_t>(seconds, 1);
  std::string tail = percent(stream_) + byte_text(stream_.done) + ", " + byte_text(rate) + "/s";
  if (rate > 0 && stream_.whole > 0 && stream_.whole >= stream_.done) {
    tail += ", " + duration_text((stream_.whole - stream_.done) / rate) + " left";
  }
  const std::string head = "  " + stream_.name + "  ";
  const std::size_t used = head.size() + tail.size() + 1;
  const std::size_t width = bar_ ? console_.error_width() : 0;
  return head + bar(stream_, width > used ? width - used : 0) + tail;
}

// ---- Several streams ------------------------------------------------------------------------------------------------

JointProgress::JointProgress(const Console& console, bool quiet)
    : console_(console), quiet_(quiet), bar_(console.error_is_terminal()), status_(console) {}

void JointProgress::advance(std::size_t job, ProgressEvent stream) {
  if (quiet_) return;
  const auto now = Clock::now();
  const auto [found, is_new] = streams_.try_emplace(job);
  Stream& entry = found->second;
  if (is_new || entry.event.name != stream.name) entry.next = now + line_step;
  entry.event = std::move(stream);
  if (bar_ && now >= next_) {
    next_ = now + bar_step;
    redraw();
  } else if (!bar_ && now >= entry.next) {
    entry.next = now + line_step;
    console_.print_error("  " + entry.event.name + "  " + percent(entry.event) + byte_text(entry.event.done) + "\n");
  }
}

void JointProgress::redraw() {
  std::string text;
  for (const auto& [job, stream] : streams_) {
    text.append(text.empty() ? "  " : " | ").append(stream.event.name).append(" ");
    text += percent(stream.event) + byte_text(stream.event.done);
  }
  status_.show(text);
}

}  // namespace host
