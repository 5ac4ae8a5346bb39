// Long requests that a client follows until they have ended.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "sim/json_response.h"

namespace sim {

struct OperationError {
  std::string code;
  std::string message;
};

/// What the request comes to is known from its start; the client learns it at the end.
struct Operation {
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

  /// What a poll sees; null when there is none of that id.
  const Operation* poll(const std::string& id, std::int64_t now);

  /// Whether the operation has not ended yet. None of that id: it has.
  bool in_progress(const std::string& id, std::int64_t now) const;

 private:
  std::map<std::string, Operation> operations_;
};

}  // namespace sim
