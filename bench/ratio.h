// Ratios against a raw loop, measured in one run: both sides in turn, the medians compared.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <vector>

namespace bench {

/// Seconds that one call of work takes.
template <typename Work>
double Seconds(Work&& work) {
  const auto begin = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

struct Spread {
  double low;
  double median;
  double high;
};

inline Spread SpreadOf(std::vector<double> seconds) {
  std::sort(seconds.begin(), seconds.end());
  return {seconds.front(), seconds[seconds.size() / 2], seconds.back()};
}

/// Runs subject and raw in turn, rounds times each after one uncounted round, and prints both with their ratio. Returns
/// false, and says so, when the medians' ratio is beyond the bound.
template <typename Subject, typename Raw>
bool CompareRatio(const char* name, int rounds, double bound, Subject&& subject, Raw&& raw) {
  std::vector<double> subject_seconds;
  std::vector<double> raw_seconds;
  subject();
  raw();
  for (int i = 0; i < rounds; ++i) {
    subject_seconds.push_back(Seconds(subject));
    raw_seconds.push_back(Seconds(raw));
  }
  const Spread ours = SpreadOf(subject_seconds);
  const Spread base = SpreadOf(raw_seconds);
  const double ratio = ours.median / base.median;
  const bool within = ratio <= bound;
  std::printf("%-40s %9.3f ms (%.3f to %.3f)  raw %9.3f ms (%.3f to %.3f)  ratio %.2f, at most %.2f%s\n", name,
              ours.median * 1e3, ours.low * 1e3, ours.high * 1e3, base.median * 1e3, base.low * 1e3, base.high * 1e3,
              ratio, bound, within ? "" : "  TOO SLOW");
  return within;
}

}  // namespace bench
