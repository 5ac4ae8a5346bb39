#include "host/repository_hold.h"

#include <poll.h>

#include <chrono>
#include <string>

#include "host/interrupt.h"

namespace host {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int look_ms = 5000;
constexpr const char* stream_name = "/azsbackup-hold";

// A stream that never ends: restic has its lock when it takes the first byte, which shows when more went in than the
// pipe holds. That is less than restic stores at a time, and the stream is given up in the end.
RepositoryHold try_to_hold(const Restic& restic) {
  auto hold = std::make_unique<ResticUpload>(restic, stream_name, std::vector<std::string>{});
  const std::string filler(hold->pipe_size() + 1, '\0');
  hold->write(filler.data(), filler.size());
  return hold;
}

}  // namespace

RepositoryHold hold_repository(const Restic& restic, const WaitForRepository& wait) {
  for (bool looked_for_stale = false;; looked_for_stale = true) {
    try {
      return try_to_hold(restic);
    } catch (const RepositoryInUse&) {
      if (looked_for_stale && !wait()) throw;
    }
    restic.remove_stale_locks();
  }
}

WaitForRepository wait_minutes(unsigned minutes, const std::function<void()>& tell) {
  return [end = Clock::now() + std::chrono::minutes(minutes), told = false, tell]() mutable {
    if (Clock::now() >= end) return false;
    if (!told) tell();
    told = true;
    ::poll(nullptr, 0, look_ms);
    check_interrupt();
    return true;
  };
}

}  // namespace host
