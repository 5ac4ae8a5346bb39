// How the storage client says that something failed.
#pragma once

#include <stdexcept>
#include <string>

namespace azurestoragewrapper {

/// What is known of a failure; texts are empty and numbers 0 where nothing is.
struct Failure {
  std::string message = {};     // for a person: what failed and why, no secret in it
  int http_status = 0;          // 0: no answer came
  std::string error_code = {};  // the service's own word: "BlobNotFound"
  std::string request_id = {};  // the service's id of the request, for its operator
  bool retryable = false;       // another try may succeed
  bool timed_out = false;       // a smaller request may succeed
  int retry_after = 0;          // seconds the service asks to wait
};

/// Thrown for everything that goes wrong between the client and the service, and for what cannot be asked of it.
class azurestorage_exception : public std::runtime_error {
 public:
  /// what() is the failure's message, followed by HTTP status, error code and request id where there are any.
  explicit azurestorage_exception(Failure failure);

  bool isRetryable() const { return failure_.retryable; }
  int http_status() const { return failure_.http_status; }
  const std::string& error_code() const { return failure_.error_code; }
  const std::string& request_id() const { return failure_.request_id; }
  const Failure& failure() const { return failure_; }

 private:
  Failure failure_;
};

}  // namespace azurestoragewrapper
