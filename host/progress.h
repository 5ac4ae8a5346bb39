// How far long streams are: a line that moves on a terminal, now and then a line elsewhere, events for a program that
// runs several backups.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <string>

#include "host/console.h"
#include "host/status_line.h"

namespace host {

enum class ProgressStyle { none, screen, events };

/// So much of a stream is done, of so much in all; 0: that is not known yet.
struct ProgressEvent {
  std::string name;  // fit for a terminal
  std::uint64_t done = 0;
  std::uint64_t whole = 0;
};

/// Of one stream after the other.
class Progress {
 public:
  /// The console must outlive it.
  Progress(const Console& console, ProgressStyle style);
  Progress(const Console& console, bool quiet)
      : Progress(console, quiet ? ProgressStyle::none : ProgressStyle::screen) {}

  /// A stream begins; name is fit for a terminal.
  void begin(const std::string& name);
  void advance(std::uint64_t done, std::uint64_t whole);
  /// It has ended; the line goes away.
  void end();

 private:
  using Clock = std::chrono::steady_clock;

  void tell(Clock::time_point now);
  std::string line(std::uint64_t seconds) const;

  const Console& console_;
  ProgressStyle style_;
  bool bar_;
  StatusLine status_;
  ProgressEvent stream_;
  Clock::duration step_;
  Clock::time_point start_;
  Clock::time_point next_;
};

/// Of several streams at once.
class JointProgress {
 public:
  /// The console must outlive it. quiet: nothing is shown.
  JointProgress(const Console& console, bool quiet);

  /// Where the stream of a job is.
  void advance(std::size_t job, ProgressEvent stream);
  /// The job has no stream any more.
  void end(std::size_t job) { streams_.erase(job); }
  /// Takes the line away, before anything else is printed.
  void clear() { status_.clear(); }

 private:
  using Clock = std::chrono::steady_clock;
  struct Stream {
    ProgressEvent event;
    Clock::time_point next;  // when a line of its own is due
  };

  void redraw();

  const Console& console_;
  bool quiet_;
  bool bar_;
  StatusLine status_;
  std::map<std::size_t, Stream> streams_;
  Clock::time_point next_;
};

}  // namespace host
