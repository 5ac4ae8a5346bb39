#include "bench/side_by_side.h"

#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <string>

#include "bench/child_process.h"

namespace bench {
namespace {

void PrintCost(std::string_view name, std::uint64_t bytes, const Cost& cost) {
  const double mib = static_cast<double>(bytes) / (1024.0 * 1024.0);
  std::printf("  %-28.*s %7.0f MiB/s (%.0f to %.0f)  %8.1f ms (%.1f to %.1f)  CPU %7.1f ms (%.1f to %.1f)\n",
              static_cast<int>(name.size()), name.data(), mib / cost.seconds.median, mib / cost.seconds.high,
              mib / cost.seconds.low, cost.seconds.median * 1e3, cost.seconds.low * 1e3, cost.seconds.high * 1e3,
              cost.cpu.median * 1e3, cost.cpu.low * 1e3, cost.cpu.high * 1e3);
}

bool PrintRatio(const char* what, double ratio, double bound) {
  std::printf("  %s %.2f times", what, ratio);
  const bool within = bound <= 0 || ratio <= bound;
  if (bound > 0) std::printf(", at most %.2f%s", bound, within ? "" : "  BEYOND THE BOUND");
  return within;
}

// Throws std::invalid_argument for what is no option.
Scale ScaleOf(int count, char** arguments) {
  Scale scale;
  for (int i = 1; i < count; ++i) {
    if (std::string_view(arguments[i]) != "--quick") {
      throw std::invalid_argument(std::string("unknown argument ") + arguments[i] + "; there is --quick");
    }
    scale = {3, scale.bytes / 16};
  }
  return scale;
}

}  // namespace

int MainOf(int count, char** arguments, bool (*run)(const Scale&)) {
  try {
    setenv("no_proxy", "*", 1);
    LeaveProcessorToServers();
    if (run(ScaleOf(count, arguments))) return 0;
    std::printf("FAILED\n");
  } catch (const std::exception& failure) {
    static_cast<void>(std::fprintf(stderr, "FAILED: %s\n", failure.what()));
  }
  return 1;
}

bool ReportSides(std::string_view title, std::string_view subject_name, std::string_view raw_name, std::uint64_t bytes,
                 const Sides& sides, const Bounds& bounds) {
  std::printf("%.*s, %.0f MiB a round\n", static_cast<int>(title.size()), title.data(),
              static_cast<double>(bytes) / (1024.0 * 1024.0));
  PrintCost(subject_name, bytes, sides.subject);
  PrintCost(raw_name, bytes, sides.raw);
  bool within = PrintRatio("time", sides.subject.seconds.median / sides.raw.seconds.median, bounds.time);
  within = PrintRatio(" CPU", sides.subject.cpu.median / sides.raw.cpu.median, bounds.cpu) && within;
  std::printf("\n");
  static_cast<void>(std::fflush(stdout));
  return within;
}

}  // namespace bench
