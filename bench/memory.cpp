#include "bench/memory.h"

#include <fstream>
#include <limits>
#include <string>

namespace bench {
namespace {

// A line of the kernel's own text: "VmRSS:   1234 kB".
long StatusKib(const std::string& wanted) {
  std::ifstream status("/proc/self/status");
  std::string name;
  long value = 0;
  while (status >> name) {
    if (name == wanted) {
      status >> value;
      return value;
    }
    status.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
  }
  return value;
}

}  // namespace

long ResidentKib() { return StatusKib("VmRSS:"); }
long PeakKib() { return StatusKib("VmHWM:"); }
void ResetPeak() { std::ofstream("/proc/self/clear_refs") << "5"; }

}  // namespace bench
