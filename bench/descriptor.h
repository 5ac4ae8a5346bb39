// Owner of one file descriptor, and what the servers of the benchmarks need of sockets.
#pragma once

#include <unistd.h>

#include <cstdint>
#include <utility>

namespace bench {

class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
  ~Descriptor() {
    if (descriptor_ >= 0) close(descriptor_);
  }
  Descriptor(Descriptor&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    return *this;
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int get() const { return descriptor_; }

 private:
  int descriptor_ = -1;
};

/// descriptor, once it is known to be one; throws std::system_error with the text for -1.
Descriptor Checked(int descriptor, const char* what);

/// A socket that listens on a free port of 127.0.0.1. Connections queue from here on, so that a child process that is
/// still starting loses none.
struct Listener {
  Listener();
  Descriptor socket;
  std::uint16_t port = 0;
};

/// Connects to a port of 127.0.0.1; throws std::system_error.
Descriptor Connect(std::uint16_t port);

/// Sends small segments at once.
void SendAtOnce(int socket);

/// Returns once something listens on that port of 127.0.0.1; throws std::runtime_error, naming it, after 20 s.
void AwaitPort(std::uint16_t port, const char* name);

/// A port of 127.0.0.1 that was free a moment ago.
std::uint16_t FreePort();

}  // namespace bench
