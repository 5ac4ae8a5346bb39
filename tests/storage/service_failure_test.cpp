#include "storage/service_failure.h"

#include <gmock/gmock.h>

namespace azurestoragewrapper {
namespace {

using testing::HasSubstr;
using testing::Not;

Answer error_answer(int status, const std::string& code, const std::string& message) {
  return {.status = status,
          .headers = {{"x-ms-request-id", "id-7"}},
          .body = "\xEF\xBB\xBF<?xml version=\"1.0\"?><Error><Code>" + code + "</Code><Message>" + message +
                  "\nRequestId:id-7\nTime:2026-11-22T20:02:21Z</Message><Detail>more</Detail></Error>"};
}

TEST(ServiceFailure, SaysWhatFailedWhyAndWhatToDo) {
  const azurestorage_exception error(
      failure_of_answer(error_answer(404, "BlobNotFound", "The specified blob does not exist."), "reading disk.vhd"));
  EXPECT_EQ(error.http_status(), 404);
  EXPECT_EQ(error.error_code(), "BlobNotFound");
  EXPECT_EQ(error.request_id(), "id-7");
  EXPECT_FALSE(error.isRetryable());
  EXPECT_STREQ(
      error.what(),
      "reading disk.vhd failed: The specified blob does not exist. -- the blob or snapshot does not exist (any "
      "more) (HTTP 404, BlobNotFound, request id id-7)");
}

TEST(ServiceFailure, WhichAreWorthAnotherTry) {
  struct Case {
    int status;
    const char* code;
    bool retryable;
  };
  for (const Case& c : {Case{400, "", false},
                        {403, "AuthenticationFailed", false},
                        {404, "BlobNotFound", false},
                        {408, "", true},
                        {409, "SnapshotsPresent", false},
                        {409, "SnaphotOperationRateExceeded", true},
                        {412, "LeaseIdMissing", false},
                        {413, "RequestBodyTooLarge", false},
                        {416, "", false},
                        {429, "", true},
                        {500, "OperationTimedOut", true},
                        {501, "", false},
                        {502, "", true},
                        {503, "ServerBusy", true},
                        {504, "", true},
                        {507, "", false}}) {
    EXPECT_EQ(failure_of_answer(error_answer(c.status, c.code, "why"), "it").retryable, c.retryable)
        << c.status << c.code;
  }
  for (const CURLcode code : {CURLE_COULDNT_CONNECT, CURLE_OPERATION_TIMEDOUT, CURLE_RECV_ERROR, CURLE_PARTIAL_FILE}) {
    EXPECT_TRUE(failure_of_transfer(code, "", "it").retryable) << code;
  }
  for (const CURLcode code : {CURLE_PEER_FAILED_VERIFICATION, CURLE_URL_MALFORMAT, CURLE_OUT_OF_MEMORY}) {
    EXPECT_FALSE(failure_of_transfer(code, "", "it").retryable) << code;
  }
}

TEST(ServiceFailure, TheWaitThatTheServiceAsksForIsBounded) {
  const auto wait = [](const std::string& text) {
    Answer answer = error_answer(503, "ServerBusy", "busy");
    answer.headers["retry-after"] = text;
    return failure_of_answer(answer, "it").retry_after;
  };
  EXPECT_EQ(wait("7"), 7);
  EXPECT_EQ(wait("99999999"), 600);
  for (const char* const other : {"", "-1", "soon", "1.5", "99999999999999999999"}) EXPECT_EQ(wait(other), 0) << other;
}

TEST(ServiceFailure, AnswersWithoutABodyOrWithAnyBody) {
  for (const char* const body : {"", "<html>Bad gateway</html>", "<Error>", "\xff\xfe<", "<Error><Code/></Error>"}) {
    const azurestorage_exception error(failure_of_answer({.status = 502, .headers = {}, .body = body}, "it"));
    EXPECT_THAT(error.what(), HasSubstr("it failed: no reason was given (HTTP 502)"));
    EXPECT_THAT(error.what(), Not(HasSubstr("<")));
  }
}

}  // namespace
}  // namespace azurestoragewrapper
