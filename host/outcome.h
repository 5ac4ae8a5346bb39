// How a command tells what came of it, to people and to programs.
#pragma once

#include <functional>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "host/check_findings.h"

namespace host {

/// Something that does not keep a command from its work but that an operator should see to.
struct Warning {
  std::string what;
  std::string next;
};

/// Lines for a terminal: the warning, and why a command failed with the place of its log (empty: it has none).
std::string warning_lines(const Warning& warning);
std::string error_lines(const char* command, const Finding& error, const std::string& log_path);

/// "ok", "partial", "nothing found" or "failed".
const char* result_word(ExitCode code);

/// Members of a report. There is null for what there is not.
nlohmann::ordered_json warnings_json(const std::vector<Warning>& warnings);
nlohmann::ordered_json error_json(const std::optional<Finding>& error);
nlohmann::ordered_json text_or_null(const std::string& text);

/// The report as text. Names from outside may be no UTF-8; they are told with a mark instead of failing the report.
std::string report_text(const nlohmann::ordered_json& report);

/// Of a run that a signal stopped; next says what to do then.
Finding interruption(const char* next);

/// Does the work. Of what it throws, what an operator can do something about becomes a finding; UsageError and what
/// nobody expects pass through. after_signal says what to do when it was stopped.
std::optional<Finding> finding_of(const std::function<void()>& work,
                                  const char* after_signal = "Run the command again.");

}  // namespace host
