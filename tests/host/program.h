// Runs azsbackup as an operator does: a process of its own, with its output caught.
#pragma once

#include <gmock/gmock.h>
#include <sys/types.h>

#include <iterator>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

#include "host/file_descriptor.h"
#include "tests/support/temporary_directory.h"

namespace host_test {

struct Outcome {
  int exit_code = -1;
  std::string output;
  std::string error;

  friend std::ostream& operator<<(std::ostream& out, const Outcome& outcome) {
    return out << outcome.exit_code << "\n" << outcome.output << outcome.error;
  }
};

/// Matches an outcome of this exit code whose output and error hold each of the texts.
inline testing::Matcher<const Outcome&> Ends(int exit_code, const std::vector<std::string>& texts = {}) {
  std::vector<testing::Matcher<const Outcome&>> all{testing::Field(&Outcome::exit_code, exit_code)};
  for (const std::string& text : texts) {
    all.push_back(testing::ResultOf([](const Outcome& outcome) { return outcome.output + outcome.error; },
                                    testing::HasSubstr(text)));
  }
  return testing::AllOfArray(all);
}

/// A command line's words, none of which holds a space.
inline std::vector<std::string> words(const std::string& line) {
  std::istringstream text(line);
  return {std::istream_iterator<std::string>(text), {}};
}

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
