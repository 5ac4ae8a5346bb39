// What the storage client throws, turned into log lines and statuses.
#pragma once

#include "src/base/logging.h"
#include "src/base/status.h"

namespace azurestackpi {

/// What a piece of work ends with when it throws.
struct FailureRule {
  Status storage = kInternalError;  // azurestorage_exception
  Status other = kInternalError;    // any other exception
  const char* lead = "";            // in front of the line of a storage exception
};

/// To be called while an exception is handled: logs it in the form of its kind and returns its status.
Status LogCaughtException(const FunctionLog& log, const FailureRule& rule);

/// Runs work, which returns a status; an exception does not leave it.
template <typename Work>
Status CatchStorageFailures(const FunctionLog& log, const FailureRule& rule, const Work& work) {
  try {
    return work();
  } catch (...) {
    return LogCaughtException(log, rule);
  }
}

}  // namespace azurestackpi
