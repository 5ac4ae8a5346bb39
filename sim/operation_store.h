// Long requests that a client follows until they have ended.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "sim/json_response.h"

namespace sim {

/// Where the operations of a provider are followed, and what is told of them there.
struct OperationKind {
  std::string type = {};  // "Microsoft.Compute/locations/DiskOperations"
  std::vector<std::string> api_versions = {};
  bool in_detail = true;  // times, name, error and output, or nothing but the status
};

struct OperationError {
  std::string code;
  std::string message;
};

/// What the request comes to is known from its start; the client learns it at the end.
struct Operation {
  const OperationKind* kind = nullptr;
  std::string subscription_id = {};
  std::optional<Json> output = {};  // of an operation that makes something
  std::optional<OperationError> error = {};
  std::int64_t started = 0;  // seconds since the epoch, as every time here
  std::optional<std::int64_t> ended = {};
  int polls_left = 0;
};

/// An operation ends when it was asked for often enough, or by itself after half a minute.
class OperationStore {
 public:
  /// Returns the operation's id.
  std::string add(Operation operation);

  /// The id must be one that add() returned.
  const Operation& at(const std::string& id) const { return operations_.at(id); }

  /// What a poll sees; null when there is none of that id.
  const Operation* poll(const std::string& id, std::int64_t now);

  /// Whether the operation has not ended yet. None of that id: it has.
  bool in_progress(const std::string& id, std::int64_t now) const;

 private:
  std::map<std::string, Operation> operations_;
};

}  // namespace sim
