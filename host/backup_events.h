// What a backup tells while it works, one JSON object a line: for a program that runs several of them.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "host/machine_backup.h"
#include "host/progress.h"

namespace host {

/// The last one. The machines were told before it.
struct EndEvent {
  std::optional<Finding> error;
  std::vector<Warning> warnings;
};

using BackupEvent = std::variant<ProgressEvent, MachineResult, EndEvent>;

/// The text is no event.
class EventError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Each with its line end. The last event is the whole report.
std::string event_line(const ProgressEvent& progress);
std::string event_line(const MachineResult& machine);
std::string end_event_line(const nlohmann::ordered_json& report);

/// Throws EventError.
BackupEvent read_event(std::string_view line);

/// A member of a report, and read back. Reading throws ManifestError and nlohmann::json::exception.
nlohmann::ordered_json machine_json(const MachineResult& result);
MachineResult read_machine(const nlohmann::ordered_json& object);

}  // namespace host
