// Discovery beside the same requests sent by one raw curl handle, in turn, against the simulator in this process; how
// its time grows with the number of machines; what a machine costs in memory.
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "bench/memory.h"
#include "bench/open_session.h"
#include "bench/ratio.h"
#include "bench/raw_handle.h"
#include "sim/generated_world.h"
#include "src/base/status.h"
#include "src/rest/authentication.h"

namespace {

constexpr double kMostBesideRaw = 1.5;
constexpr int kRounds = 9;

sim::World WorldOf(std::size_t machines) {
  sim::Scale scale;
  scale.subscriptions = 1;
  scale.groups = 10;
  scale.machines = static_cast<int>(machines / 10);
  scale.data_disks = 2;
  return sim::generate_world(scale);
}

sim::Options OptionsFor(const sim::World& world) {
  sim::Options options;
  options.world = world;
  return options;
}

// The plug-in prints facts of disks on standard output; they are not what is measured.
class MutedOutput {
 public:
  MutedOutput() : kept_(dup(STDOUT_FILENO)) {
    static_cast<void>(std::fflush(stdout));
    if (std::freopen("/dev/null", "w", stdout) == nullptr) {
      std::abort();
    }
  }
  ~MutedOutput() {
    static_cast<void>(std::fflush(stdout));
    dup2(kept_, STDOUT_FILENO);
    close(kept_);
  }
  MutedOutput(const MutedOutput&) = delete;
  MutedOutput& operator=(const MutedOutput&) = delete;

 private:
  int kept_;
};

class Subject {
 public:
  explicit Subject(std::size_t machines)
      : world_(WorldOf(machines)),
        simulator_(OptionsFor(world_)),
        session_(simulator_, world_, "VM_SNAPSHOT_IN_DISCOVERY=false\n") {}

  bool Discover() {
    const std::string out = session_.folder() / "workload";
    const std::string selection = "/" + world_.subscriptions[0].id;
    const MutedOutput muted;
    const std::uint32_t status = session_.table().discovery(session_.server(), selection.c_str(), "worker", out.c_str(),
                                                            "bench", "full", "1700000000");
    const bool written = std::filesystem::file_size(out + "/worker.bench.1") > 0;
    std::filesystem::remove_all(out);
    return status == azurestackpi::kOk && written;
  }

  sim::Simulator& simulator() { return simulator_; }

 private:
  sim::World world_;
  sim::Simulator simulator_;
  bench::OpenSession session_;
};

std::vector<std::string> ManagementUrls(const sim::Simulator& simulator) {
  std::vector<std::string> urls;
  for (const sim::RecordedRequest& request : simulator.requests()) {
    if (request.host == simulator.management_host()) {
      urls.push_back("https://" + request.host + request.target);
    }
  }
  return urls;
}

bool BesideRaw(std::size_t machines) {
  Subject subject(machines);
  bool good = subject.Discover();
  const std::size_t connections = subject.simulator().connections();
  const std::vector<std::string> urls = ManagementUrls(subject.simulator());
  const double per_machine = static_cast<double>(urls.size()) / static_cast<double>(machines);
  std::printf("%zu machines: %zu requests (%.2f a machine), %zu connections\n", machines, urls.size(), per_machine,
              connections);

  azurestackpi::Status token_status = azurestackpi::kOk;
  bench::RawHandle raw(subject.simulator().ca_file(), azurestackpi::ProcessTokens().GetAuthToken(token_status, false));
  const bool within = bench::CompareRatio(
      "discovery beside its requests, raw", kRounds, kMostBesideRaw,
      [&] {
        subject.simulator().clear_requests();
        good = subject.Discover() && good;
      },
      [&] {
        subject.simulator().clear_requests();
        good = std::all_of(urls.begin(), urls.end(), [&](const std::string& url) { return raw.Get(url); }) && good;
      });
  return good && within && connections == 2;
}

bool Growth() {
  bool good = true;
  std::map<std::size_t, double> seconds;
  for (const std::size_t machines : {500U, 1000U, 2000U, 4000U}) {
    Subject subject(machines);
    good = subject.Discover() && good;
    std::vector<double> runs;
    for (int i = 0; i < 3; ++i) {
      subject.simulator().clear_requests();
      runs.push_back(bench::Seconds([&] { good = subject.Discover() && good; }));
    }
    seconds[machines] = bench::SpreadOf(runs).median;
    std::printf("%zu machines: %.3f s, %.1f us a machine\n", machines, seconds[machines],
                seconds[machines] * 1e6 / static_cast<double>(machines));
  }
  const double ratio = seconds[4000] / seconds[500];
  std::printf("4,000 machines take %.2f times as long as 500; 8 is linear, at most 9.6\n", ratio);
  return good && ratio <= 9.6;
}

// The peak of a discovery; the simulator's world was made before.
bool MemoryPerMachine(std::size_t machines) {
  Subject subject(machines);
  subject.simulator().clear_requests();
  malloc_trim(0);
  bench::ResetPeak();
  const long before = bench::ResidentKib();
  const bool good = subject.Discover();
  const long peak = bench::PeakKib() - before;
  subject.simulator().clear_requests();
  std::printf("%zu machines: peak %ld KiB above the start, %.1f KiB a machine (the simulator's record included)\n",
              machines, peak, static_cast<double>(peak) / static_cast<double>(machines));
  return good;
}

}  // namespace

int main() {
  bool good = MemoryPerMachine(4000);
  good = BesideRaw(2000) && good;
  good = Growth() && good;
  if (!good) {
    std::printf("FAILED\n");
  }
  return good ? 0 : 1;
}
