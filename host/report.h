// A command's result as steps: lines for people as they come, or one JSON object at the end.
#pragma once

#include <string>
#include <vector>

#include "host/console.h"
#include "host/exit_codes.h"

namespace host {

enum class StepState { ok, warning, failed, not_tried };

struct Step {
  std::string name;
  StepState state = StepState::ok;
  std::string detail;  // what was found, in plain words
  std::string next;    // what to do about it; empty: nothing
};

/// What stands at the head of a JSON report.
struct ReportHead {
  std::string command;
  std::string server;
  std::string log_file;
};

class StepReport {
 public:
  /// The console must outlive the report.
  StepReport(const Console& console, bool json, ReportHead head);

  /// Adds a step; without JSON its line is printed at once, so that a long step shows what came before it.
  void add(Step step);

  /// Prints the closing line, or the JSON object, and returns code.
  ExitCode finish(ExitCode code) const;

 private:
  const Console& console_;
  bool json_;
  ReportHead head_;
  std::vector<Step> steps_;
};

}  // namespace host
