#include "src/blob/storage_failure.h"

#include <exception>

#include "storage/azurestorage_exception.h"

namespace azurestackpi {

Status LogCaughtException(const FunctionLog& log, const FailureRule& rule) {
  try {
    throw;
  } catch (const azurestoragewrapper::azurestorage_exception& failure) {
    log.error("%sException thrown: %s . Retryable: %d ", rule.lead, failure.what(), failure.isRetryable() ? 1 : 0);
    return rule.storage;
  } catch (const std::exception& failure) {
    log.exception("Exception thrown: %s", failure.what());
  } catch (...) {
    log.exception("Unknown exception");
  }
  return rule.other;
}

}  // namespace azurestackpi
