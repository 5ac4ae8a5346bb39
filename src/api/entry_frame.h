// The frame that every entry point shares: argument check, enter line, body, exception to status, leaving line.
#pragma once

#include <algorithm>
#include <exception>
#include <initializer_list>
#include <utility>

#include "src/base/logging.h"
#include "src/base/status.h"

namespace azurestackpi {

struct EntryFrame {
  const char* function;         // the entry point's name, in front of its log lines
  const char* enter = "enter";  // null: the body logs its own
  enum class Leave { kFlow, kDetail, kOnFailure, kSilent } leave = Leave::kFlow;  // when "returning rc: %d" is logged
};

inline bool AnyNull(std::initializer_list<const void*> pointers) {
  return std::any_of(pointers.begin(), pointers.end(), [](const void* pointer) { return pointer == nullptr; });
}

/// Runs body(log), which returns a status; an exception becomes 6622 with its line. The host never sees an exception.
template <typename Body>
Status Guarded(const FunctionLog& log, Body&& body) noexcept {
  try {
    return std::forward<Body>(body)(log);
  } catch (const std::exception& error) {
    log.exception("Exception thrown: %s", error.what());
  } catch (...) {
    log.exception("Unknown exception");
  }
  return kInternalError;
}

/// One call of an entry point: 6601 at once, with nothing logged, when a required pointer is null.
template <typename Body>
Status RunEntryPoint(const EntryFrame& frame, std::initializer_list<const void*> required, Body&& body) noexcept {
  if (AnyNull(required)) {
    return kInvalidArgument;
  }
  const FunctionLog log(frame.function);
  if (frame.enter != nullptr) {
    log.flow("%s", frame.enter);
  }
  const Status status = Guarded(log, std::forward<Body>(body));
  const auto rc = static_cast<int>(status);
  if (frame.leave == EntryFrame::Leave::kFlow || (frame.leave == EntryFrame::Leave::kOnFailure && status != kOk)) {
    log.flow("returning rc: %d", rc);
  } else if (frame.leave == EntryFrame::Leave::kDetail) {
    log.detail("returning rc: %d", rc);
  }
  return status;
}

}  // namespace azurestackpi
