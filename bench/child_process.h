// A server of a benchmark in a process of its own, so that its processor time does not count as the client's.
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

namespace bench {

class ChildProcess {
 public:
  /// Runs body in a forked process, which ends when body returns or throws; and when this process dies. It runs on
  /// the last processor alone. To be called
  /// while this process has one thread. Throws std::system_error.
  explicit ChildProcess(const std::function<void()>& body);

  /// Runs a program, without what it says on standard output; arguments[0] is looked up in PATH.
  explicit ChildProcess(const std::vector<std::string>& arguments);

  /// Terminates the process and waits for its end.
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

 private:
  pid_t id_;
};

/// Keeps this process off the processor on which its child processes run. Left to the scheduler, a client and its
/// server on loopback now share a processor and now do not, and the same loop takes three times as long. Does nothing
/// where there is one processor.
void LeaveProcessorToServers();

/// A private folder that is removed with all it holds at the end.
class TemporaryFolder {
 public:
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

}  // namespace bench
