// Two ways to move the same bytes, run in turn: medians and spreads of time and processor time, and their ratios.
#pragma once

#include <sys/resource.h>

#include <cstdint>
#include <cstdio>
#include <string_view>
#include <vector>

#include "bench/ratio.h"

namespace bench {

/// How much a benchmark measures.
struct Scale {
  int rounds = 9;
  std::uint64_t bytes = 2ULL << 30U;  // of each side in each round
};

/// What a benchmark's main does: keeps this process off the servers' processor, forbids proxies and runs. Returns 0, or
/// 1 when run returns false or throws. The argument --quick means a sixteenth of the bytes and three rounds, for
/// development: beginnings weigh more then, and bounds that hold for the whole may be missed.
int MainOf(int count, char** arguments, bool (*run)(const Scale&));

/// What the median of the first side may be of the second's; 0: not bound.
struct Bounds {
  double time = 0;
  double cpu = 0;
};

struct Cost {
  Spread seconds{};
  Spread cpu{};  // seconds of this process, user and system
};

struct Sides {
  Cost subject;
  Cost raw;
};

/// Seconds of processor time that this process has used, all threads together.
inline double CpuSeconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

/// The times of one side, gathered over the rounds.
class Gathered {
 public:
  template <typename Work>
  void Add(Work&& work) {
    const double cpu = CpuSeconds();
    seconds_.push_back(Seconds(work));
    cpu_.push_back(CpuSeconds() - cpu);
  }
  Cost cost() const { return {SpreadOf(seconds_), SpreadOf(cpu_)}; }

 private:
  std::vector<double> seconds_;
  std::vector<double> cpu_;
};

/// Runs both in turn, after one uncounted round.
template <typename Subject, typename Raw>
Sides MeasureSides(int rounds, Subject&& subject, Raw&& raw) {
  Gathered subject_times;
  Gathered raw_times;
  subject();
  raw();
  for (int i = 0; i < rounds; ++i) {
    subject_times.Add(subject);
    raw_times.Add(raw);
  }
  return {subject_times.cost(), raw_times.cost()};
}

/// The size of curl's buffer, in bytes, with which a raw transfer is fastest here.
template <typename Transfer>
long FastestBuffer(Transfer&& transfer) {
  long best = 0;
  double best_seconds = 0;
  for (const long size : {16L * 1024, 128L * 1024, 512L * 1024}) {
    const auto seconds = [&] { return Seconds([&] { transfer(size); }); };
    const double median = SpreadOf({seconds(), seconds(), seconds()}).median;
    if (best == 0 || median < best_seconds) {
      best = size;
      best_seconds = median;
    }
  }
  return best;
}

/// Prints both sides, each moving `bytes` a round, with their ratios. Returns false, and says so, when one is beyond
/// its bound.
bool ReportSides(std::string_view title, std::string_view subject_name, std::string_view raw_name, std::uint64_t bytes,
                 const Sides& sides, const Bounds& bounds);

}  // namespace bench
