#include "host/check_findings.h"

#include <gtest/gtest.h>

namespace {

using host::ExitCode;
using host::Stage;

constexpr const char* server = "management.r1.stack.example";

std::string transport_line(const std::string& address_host, int curl_result) {
  return "SendHttpRequest: preform the URL https://" + address_host + "/x?y failed, <" + std::to_string(curl_result) +
         ">: what curl says. AAPI_Errno = 6622";
}

const std::string auth_error = "CheckHeader: Error calling AzureStack API (Authorization). AAPI_Errno = 6646";
const std::string list_missing = "CheckHeader: Error calling AzureStack API (storage_account). AAPI_Errno = 6630";
const std::string aad_answer =
    "SendHttpRequest: Returning rc: 0, response: {\"error\":\"invalid_client\",\"error_description\":"
    "\"AADSTS7000215: Invalid client secret.\\r\\nTrace ID: 0f\"}, HTTP/1.1 401 Unauthorized\r\n\r\n";
const std::string empty_list = "BuildSubList: Failed to fetch any subscription ";

struct Case {
  std::uint32_t status;
  std::vector<std::string> lines;
  Stage stage;
  ExitCode code;
  std::vector<std::string> words;  // all of these stand in the text or the advice
};

TEST(JudgeQuery, FindsStageCodeAndWords) {
  using enum ExitCode;
  const std::string not_json = "x: error while parsing json: on line 1: y";
  const std::string no_request = "MakeAPICall: error failed to make http request :6011";
  const auto given_up = [](const std::string& http_status) {
    return "SendHttpRequest: Failed to make http request with http response error code " + http_status +
           ". retries exceeded";
  };
  const std::string refused = "(invalid_client: AADSTS7000215: Invalid client secret.)";
  const std::vector<Case> cases = {
      {6626, {transport_line("MANAGEMENT.r1.stack.example", 7)}, Stage::azure_stack, unreachable, {"no connection"}},
      {6625, {transport_line(server, 60)}, Stage::azure_stack, certificate, {"CA_FILE_PATH", "what curl says"}},
      {6011, {transport_line("a", 77)}, Stage::login, certificate, {"PEM"}},
      {6011, {transport_line("adfs.r1", 6), no_request}, Stage::login, unreachable, {"adfs.r1: no such host"}},
      {6011, {aad_answer, auth_error}, Stage::login, login, {refused}},
      {6011, {not_json}, Stage::login, login, {}},
      {6011, {given_up("503")}, Stage::login, unreachable, {"overloaded"}},
      {6646, {given_up("401")}, Stage::azure_stack, login, {"does not accept"}},
      {6629, {}, Stage::azure_stack, login, {}},
      {6630, {list_missing}, Stage::azure_stack, failed, {"404"}},
      // The empty list is a consequence here, not the cause.
      {6630, {list_missing, empty_list}, Stage::azure_stack, failed, {"404"}},
      {5, {not_json}, Stage::azure_stack, failed, {"JSON"}},
      {6799, {"one", "2", "3", "4\033[2J"}, Stage::azure_stack, failed, {"status 6799", "2; 3; 4\\x1b[2J"}}};
  for (const Case& given : cases) {
    const host::Finding finding = host::judge_query(given.status, given.lines, server);
    const std::string text = finding.what + "\n" + finding.next;
    EXPECT_EQ(finding.stage, given.stage) << text;
    EXPECT_EQ(finding.code, given.code) << text;
    for (const std::string& word : given.words) EXPECT_NE(text.find(word), std::string::npos) << word << "\n" << text;
  }
}

// What servers send is quoted only when it has the form of an error, and never breaks the judgement.
TEST(JudgeQueryAnswers, OddBodiesAreLeftOut) {
  for (const std::string body : {"", "{", "[1,2]", "null", R"({"error":7})", R"({"error":{"code":[]}})", "<html>"}) {
    const std::string answer = "f: Returning rc: 0, response: " + body + ", HTTP/1.1 400 Bad Request";
    EXPECT_EQ(host::judge_query(6011, {answer, auth_error}, server).what, "the login is refused") << body;
  }
}

TEST(CheckEvidence, TellsTlsAndCount) {
  using host::TlsPeers;
  const std::string verified = "SendHttpRequest: Using SSL Peer and Host Validation.";
  const std::string unchecked = "SendHttpRequest: SSL Peer and Host Validations would be skipped";
  const std::string counted = "BuildSubList: Parsed All Subscriptions. Number of subscriptions : 12";
  EXPECT_TRUE(host::is_evidence(empty_list));
  EXPECT_EQ(host::tls_peers({unchecked, verified}), TlsPeers::unchecked);
  EXPECT_EQ(host::tls_peers({counted}), TlsPeers::unknown);
  EXPECT_EQ(host::subscription_count({unchecked, counted}), "12");
  EXPECT_EQ(host::subscription_count({unchecked}), std::nullopt);
}

}  // namespace
