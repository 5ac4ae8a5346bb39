// Runs azsbackup as an operator does: a process of its own, with its output caught.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "host/file_descriptor.h"
#include "tests/support/temporary_directory.h"

namespace host_test {

struct Outcome {
  int exit_code = -1;
  std::string output;
  std::string error;
};

/// azsbackup while it runs. Its destructor kills it when nobody waited for its end.
class RunningProgram {
 public:
  /// As run_azsbackup.
  RunningProgram(const std::vector<std::string>& arguments, const std::string& home,
                 const std::vector<std::string>& extra);
  ~RunningProgram();
  RunningProgram(const RunningProgram&) = delete;
  RunningProgram& operator=(const RunningProgram&) = delete;

  /// False once it has ended, which is waited for a few milliseconds: who waits for what it does leaves it the
  /// processor.
  bool runs();
  void send(int signal) const;
  /// Its end; the exit code is -1 when a signal ended it.
  Outcome wait();

 private:
  test_support::TemporaryDirectory caught_;
  pid_t pid_ = -1;
  host::FileDescriptor end_;  // becomes readable at its end
  int status_ = 0;
};

/// Runs the built azsbackup with these arguments; its home is home (where the log goes by default), and extra are
/// further "NAME=VALUE" variables of its otherwise bare environment.
Outcome run_azsbackup(const std::vector<std::string>& arguments, const std::string& home,
                      const std::vector<std::string>& extra = {});

}  // namespace host_test
