// Header blocks and bodies of answers, recorded ones above all.
#include "src/rest/http_message.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/support/log_transcript.h"
#include "tests/support/read_file.h"

namespace {

using azurestackpi::AuthenticationErrorDescription;
using azurestackpi::CheckHeader;
using azurestackpi::GetHttpStatusValueFromResponseBody;
using azurestackpi::GetTagValueFromResponseHeader;
using azurestackpi::Status;

std::string Recorded(const std::string& name) {
  std::string text = test_support::read_file(ARM_DATA "/" + name);
  if (text.find("\r\n") == std::string::npos) {
    throw std::runtime_error(name + " has lost its line ends");
  }
  return text;
}

class HttpMessage : public testing::Test {
 protected:
  test_support::LogTranscript log;
};

struct TagCase {
  std::string block;
  std::string tag;
  std::string value;
};

TEST_F(HttpMessage, HeadersOfRecordedAnswers) {
  const std::string operation = "/operations/92fdc9fa-118d-4000-b23b-58821d6e32fe?";
  const std::string cloud =
      "https://management.azure.com/subscriptions/00000000-0000-0000-0000-000000000000/providers/Microsoft.Compute"
      "/locations/eastus" +
      operation;
  const std::string poweroff = Recorded("headers-202-vm-poweroff.http");
  const std::string lower = Recorded("headers-http2-202-lower-case.http");
  const std::string located = Recorded("headers-202-azurestack-location-retry-after.http");
  const std::string printed = Recorded("headers-async-doc-blank-before-colon.http");
  const std::vector<TagCase> cases = {
      {poweroff, "Azure-AsyncOperation: ", cloud + "api-version=2017-03-30"},
      {poweroff, "LOCATION", cloud + "monitor=true&api-version=2017-03-30"},
      {poweroff, "Retry-After: ", ""},
      {lower, "Retry-After: ", "15"},
      {lower, "content-length: ", "0"},
      {located, "Azure-AsyncOperation: ", ""},
      {located, "Retry-After: ", "5"},
      {printed, "Azure-AsyncOperation: ",
       "https://management.azure.com/subscriptions/subscription-id/providers/Microsoft.Compute/locations/eastus"
       "/operations/9a062a88-e463-4697-bef2-fe039df73a02?api-version=2019-06-01"},
      {printed, "Retry-After: ", "17"},
  };
  for (const TagCase& given : cases) {
    EXPECT_EQ(GetTagValueFromResponseHeader(given.block, given.tag), given.value) << given.tag;
  }
  EXPECT_EQ(log.text(), "");
}

TEST_F(HttpMessage, ATagIsAWholeNameAtALinesStart) {
  const std::vector<TagCase> cases = {
      {"HTTP/1.1 200 OK\r\nX-Retry-After: 1\r\nRetry-After2: 2\r\nY: Retry-After: 3\r\n\r\n", "Retry-After: ", ""},
      {"Retry-After:5", "Retry-After: ", "5"},
      {"Retry-After: \t5 \t\r\n", "Retry-After", "5"},
      {"Retry-After:\r\nRetry-After: 6\r\n", "Retry-After: ", ""},
      {"A: 1\nRetry-After: 7\n", "Retry-After: ", "7"},
      {"Retry-After: a:b: c\r", "Retry-After: ", "a:b: c"},
      {"Retry-After", "Retry-After: ", ""},
      {"Retry-After ", "Retry-After: ", ""},
      {"\r\n\r\n", "Retry-After: ", ""},
      {"L: " + std::string(4096, 'x') + "\r\n", "L: ", std::string(4096, 'x')},
  };
  for (const TagCase& given : cases) {
    EXPECT_EQ(GetTagValueFromResponseHeader(given.block, given.tag), given.value) << given.block;
  }
  EXPECT_EQ(log.text(), "");
  for (const auto& [block, tag] :
       {std::pair("", "Retry-After: "), std::pair("A: 1\r\n", ""), std::pair("A: 1", ": ")}) {
    log.clear();
    EXPECT_EQ(GetTagValueFromResponseHeader(block, tag), "");
    EXPECT_EQ(log.text(), "4 GetTagValueFromResponseHeader: Empty header or tag value specified\n");
  }
}

TEST_F(HttpMessage, TheReasonOfARefusal) {
  const std::string begin = "HTTP/1.1 401 Unauthorized\r\nWWW-Authenticate: Bearer ";
  const std::vector<std::pair<std::string, std::string>> cases = {
      {Recorded("headers-401-invalid-token.http"), "the access token is invalid."},
      {Recorded("headers-401-missing-header.http"),
       "the authentication failed because of missing 'authorization' header."},
      {Recorded("headers-401-missing-token-doc.http"), "the access token is missing."},
      {Recorded("headers-200-azurestack-www-authenticate.http"), ""},
      {begin + "ERROR_DESCRIPTION=\"The Access Token Is Invalid.\", x=\"y\"\r\n", "the access token is invalid."},
      {begin + "error_description=\"\"\r\n", ""},
      {begin + "error_description=plain\r\n", ""},
      {begin + "error_description=\"cut\r\nX: \"y\"\r\n", ""},
      {begin + "error_description=\"", ""},
      {begin + "error=\"invalid_token\"\r\n", ""},
      {"", ""},
  };
  for (const auto& [block, reason] : cases) {
    EXPECT_EQ(AuthenticationErrorDescription(block), reason) << block;
  }
}

TEST_F(HttpMessage, StatusLinesAreJudged) {
  const std::vector<std::pair<std::string, Status>> cases = {
      {"HTTP/1.1 200 OK\r\n", 0},
      {Recorded("headers-200-azurestack-www-authenticate.http"), 0},
      {"", 0},
      {"<html>401 Unauthorized", 0},
      {"http/1.1 500 x", 0},
      {Recorded("headers-401-invalid-token.http"), 6629},
      {"HTTP/1.1 404 Not Found\r\n", 6630},
      {Recorded("headers-202-vm-poweroff.http"), 6646},
      {"HTTP/1.1 500 Internal Server Error\r\n", 6646},
      {"HTTP/2 200 \r\n", 6646},
      {"HTTP/", 6646},
  };
  for (const auto& [block, status] : cases) {
    log.clear();
    EXPECT_EQ(CheckHeader(block.c_str(), "%s body", "VM"), status) << block;
    const std::string lines =
        "4 CheckHeader: header: " + block + "\n4 CheckHeader: content: %s body\n" +
        "4 CheckHeader: Error calling AzureStack API (VM). AAPI_Errno = " + std::to_string(status) + "\n";
    EXPECT_EQ(log.text(), status == 0 ? "" : lines);
  }
  log.clear();
  EXPECT_EQ(CheckHeader(nullptr, "body", "VM"), 6601u);
  EXPECT_EQ(log.text(), "4 CheckHeader: Invalid arguments. AAPI_Errno = 6601\n");
  EXPECT_EQ(CheckHeader("HTTP/1.1 500 x", nullptr, "VM"), 6646u);
}

struct BodyCase {
  std::string body;
  std::string value;
  bool parsed;  // else there is a line that it is not JSON
};

TEST_F(HttpMessage, TheStatusTextOfABody) {
  const std::vector<BodyCase> cases = {
      {R"({"status":"Succeeded"})", "Succeeded", true},
      {R"({"properties":{"status":"Failed"},"status":""})", "", true},
      {R"({"properties":{"status":"Failed"}})", "n/a", true},
      {R"({"Status":"Succeeded"})", "n/a", true},
      {R"({"status":5})", "n/a", true},
      {R"({"status":null})", "n/a", true},
      {R"({"status":{"status":"Failed"}})", "n/a", true},
      {R"(["status"])", "n/a", true},
      {R"({"x":)" + std::string(2000, '[') + std::string(2000, ']') + R"(,"status":"Succeeded"})", "Succeeded", true},
      {"<html>502</html>", "n/a", false},
      {R"({"status":"Succ)", "n/a", false},
      {"{\"status\":\"\xff\"}", "n/a", false},
      {std::string(100'000, '['), "n/a", false},
  };
  for (const BodyCase& given : cases) {
    log.clear();
    EXPECT_EQ(GetHttpStatusValueFromResponseBody(given.body, "status"), given.value) << given.body.substr(0, 80);
    EXPECT_EQ(log.contains(4, "error while parsing json: on line 1: "), !given.parsed) << log.text();
  }
  for (const auto& [body, key] :
       {std::pair("", "status"), std::pair("{}", ""), std::pair("{}", static_cast<const char*>(nullptr))}) {
    log.clear();
    EXPECT_EQ(GetHttpStatusValueFromResponseBody(body, key), "n/a");
    EXPECT_EQ(log.text(), "4 GetHttpStatusValueFromResponseBody: Empty body or tag value specified\n");
  }
}

}  // namespace
