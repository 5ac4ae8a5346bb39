// A program run beside this one, without a shell in between.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "host/file_descriptor.h"

namespace host {

/// Where a child's standard descriptors lead; not owned.
struct ChildStreams {
  int input = -1;
  int output = -1;
  int error = -1;
};

/// A child never outlives its owner: it is ended when this goes, and the system kills it when this process is killed.
class ChildProcess {
 public:
  /// Starts command (its first word is looked up in PATH) with exactly this environment ("NAME=VALUE"), in a process
  /// group of its own, so that a Ctrl-C reaches it only through its owner. A program that does not exist shows as exit
  /// code 127. Throws std::system_error.
  ChildProcess(const std::vector<std::string>& command, const std::vector<std::string>& environment,
               ChildStreams streams);
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  /// Waits for the end and gives the exit code, 128 + N for an end by signal N. Throws Interrupted.
  int wait();

  /// Waits for the end whatever signals come; gives the same.
  int join() noexcept;

  /// Asks the child to stop, with SIGINT.
  void interrupt() const noexcept;

  /// Ends the child: asks with SIGINT, which lets it tidy up, and kills it when it is still there so much later.
  void end(int grace_ms = 5000) noexcept;

 private:
  pid_t pid_ = -1;
  FileDescriptor handle_;  // becomes readable at the child's end
};

}  // namespace host
