#include "storage/service_failure.h"

#include <algorithm>
#include <array>
#include <pugixml.hpp>

#include "storage/encoding.h"

namespace azurestoragewrapper {
namespace {

constexpr int kLongestWait = 600;  // seconds a service may ask for

struct ServiceWord {
  const char* code;
  const char* advice;
};

// What a person can do about the service's more frequent words.
constexpr std::array kAdvice = {
    ServiceWord{"AuthenticationFailed", "check the account's key, this machine's clock and whether the access expired"},
    ServiceWord{"AuthorizationFailure", "check the account's key, this machine's clock and whether the access expired"},
    ServiceWord{"AuthorizationPermissionMismatch", "the shared access does not allow this"},
    ServiceWord{"AccountIsDisabled", "the storage account is disabled"},
    ServiceWord{"InsufficientAccountPermissions", "the storage account does not allow this"},
    ServiceWord{"BlobNotFound", "the blob or snapshot does not exist (any more)"},
    ServiceWord{"ContainerNotFound", "the container does not exist"},
    ServiceWord{"ResourceNotFound", "the storage account, container or blob does not exist"},
    ServiceWord{"BlobAlreadyExists", "nothing is overwritten; choose another name or delete the blob"},
    ServiceWord{"LeaseIdMissing", "the blob is leased, as a running machine's disk is; release the lease first"},
    ServiceWord{"LeaseAlreadyPresent", "the blob is leased, as a running machine's disk is; release the lease first"},
    ServiceWord{"SnapshotsPresent", "the blob has snapshots"},
    ServiceWord{"SnapshotCountExceeded", "the blob has as many snapshots as it may have; delete old ones"},
    ServiceWord{"InvalidBlobType", "the blob is not a page blob"},
    ServiceWord{"MemoryExtentStoreAtSizeLimit", "the storage has no room left"},
    ServiceWord{"InsufficientStorage", "the storage has no room left"},
    ServiceWord{"AccountCapacityExceeded", "the storage account has no room left"},
    ServiceWord{"ServerBusy", "the service is overloaded; try again later"},
};

constexpr std::array kRetryableStatuses = {408, 429, 500, 502, 503, 504};
// The service spells the second one so.
constexpr std::array kRetryableWords = {"SnapshotOperationRateExceeded", "SnaphotOperationRateExceeded",
                                        "OperationTimedOut", "ServerBusy"};
constexpr std::array kRetryableResults = {
    CURLE_COULDNT_RESOLVE_PROXY, CURLE_COULDNT_RESOLVE_HOST, CURLE_COULDNT_CONNECT,
    CURLE_PARTIAL_FILE,          CURLE_OPERATION_TIMEDOUT,   CURLE_SSL_CONNECT_ERROR,
    CURLE_GOT_NOTHING,           CURLE_SEND_ERROR,           CURLE_RECV_ERROR,
    CURLE_WEIRD_SERVER_REPLY};

template <typename List, typename Value>
bool contains(const List& list, const Value& value) {
  return std::find(list.begin(), list.end(), value) != list.end();
}

// The first line: behind it the service repeats request id and time.
std::string first_line(const std::string& text) {
  return text.substr(0, std::min(text.find_first_of("\r\n"), text.size()));
}

struct ServiceError {
  std::string code;
  std::string message;
};

ServiceError read_error(const Answer& answer) {
  ServiceError error{answer.header("x-ms-error-code"), {}};
  pugi::xml_document document;
  if (document.load_buffer(answer.body.data(), answer.body.size())) {
    const pugi::xml_node root = document.child("Error");
    if (error.code.empty()) error.code = root.child_value("Code");
    error.message = first_line(root.child_value("Message"));
  }
  return error;
}

std::string advice_for(const std::string& code, int status) {
  for (const ServiceWord& word : kAdvice) {
    if (code == word.code) return word.advice;
  }
  if (status == 507) return "the storage has no room left";
  return {};
}

std::string with_cause(const std::string& doing, const std::string& cause, const std::string& advice) {
  return doing + " failed: " + (cause.empty() ? "no reason was given" : cause) +
         (advice.empty() ? "" : " -- " + advice);
}

std::string full_text(const Failure& failure) {
  std::string facts;
  const auto add = [&facts](const std::string& fact) { facts += (facts.empty() ? " (" : ", ") + fact; };
  if (failure.http_status != 0) add("HTTP " + std::to_string(failure.http_status));
  if (!failure.error_code.empty()) add(failure.error_code);
  if (!failure.request_id.empty()) add("request id " + failure.request_id);
  return failure.message + (facts.empty() ? "" : facts + ")");
}

}  // namespace

azurestorage_exception::azurestorage_exception(Failure failure)
    : std::runtime_error(full_text(failure)), failure_(std::move(failure)) {}

Failure failure_of_answer(const Answer& answer, const std::string& doing) {
  const ServiceError error = read_error(answer);
  Failure failure;
  failure.http_status = answer.status;
  failure.error_code = error.code;
  failure.request_id = answer.header("x-ms-request-id");
  failure.retryable = contains(kRetryableStatuses, answer.status) || contains(kRetryableWords, error.code);
  const bool unnamed_500 = answer.status == 500 && error.code.empty();  // as a HEAD or a gateway answers
  failure.timed_out = answer.status == 408 || answer.status == 504 || error.code == "OperationTimedOut" || unnamed_500;
  if (const auto seconds = parse_number(answer.header("retry-after"))) {
    failure.retry_after = static_cast<int>(std::min<std::uint64_t>(*seconds, kLongestWait));
  }
  failure.message = with_cause(doing, error.message, advice_for(error.code, answer.status));
  return failure;
}

Failure failure_of_transfer(CURLcode code, const std::string& detail, const std::string& doing) {
  const bool certificate = code == CURLE_PEER_FAILED_VERIFICATION || code == CURLE_SSL_CACERT_BADFILE;
  Failure failure;
  failure.retryable = contains(kRetryableResults, code);
  failure.timed_out = code == CURLE_OPERATION_TIMEDOUT;
  failure.message = with_cause(doing, detail.empty() ? curl_easy_strerror(code) : detail,
                               certificate ? "check the file of the authorities to trust" : "");
  return failure;
}

Failure failure_of_form(const std::string& what, const std::string& doing, bool retryable) {
  Failure failure;
  failure.message = with_cause(doing, what, "");
  failure.retryable = retryable;
  return failure;
}

}  // namespace azurestoragewrapper
