// Runs azsbackup as an operator does: a process of its own, with its output caught.
#pragma once

#include <string>
#include <vector>

namespace host_test {

struct Outcome {
  int exit_code = -1;
  std::string output;
  std::string error;
};

/// Runs the built azsbackup with these arguments; its home is home (where the log goes by default), and extra are
/// further "NAME=VALUE" variables of its otherwise bare environment.
Outcome run_azsbackup(const std::vector<std::string>& arguments, const std::string& home,
                      const std::vector<std::string>& extra = {});

}  // namespace host_test
