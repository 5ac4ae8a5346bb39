#include "host/check_findings.h"

#include <gtest/gtest.h>

#include <ostream>

namespace {

using host::ExitCode;
using host::Stage;

constexpr const char* server = "management.r1.stack.example";

std::string transport_line(const std::string& address_host, int curl_result) {
  return "SendHttpRequest: preform the URL https://" + address_host + "/x?y failed, <" + std::to_string(curl_result) +
         ">: what curl says. AAPI_Errno = 6622";
}

const std::string auth_error = "CheckHeader: Error calling AzureStack API (Authorization). AAPI_Errno = 6646";
const std::string list_error = "CheckHeader: Error calling AzureStack API (storage_account). AAPI_Errno = 6629";
const std::string list_missing = "CheckHeader: Error calling AzureStack API (storage_account). AAPI_Errno = 6630";
const std::string aad_answer =
    "SendHttpRequest: Returning rc: 0, response: {\"error\":\"invalid_client\",\"error_description\":"
    "\"AADSTS7000215: Invalid client secret.\\r\\nTrace ID: 0f\"}, HTTP/1.1 401 Unauthorized\r\n\r\n";
const std::string arm_answer =
    "SendHttpRequest: Returning rc: 0, response: {\"error\":{\"code\":\"InvalidAuthenticationToken\","
    "\"message\":\"The audience is wrong.\"}}, HTTP/1.1 401 Unauthorized\r\n\r\n";
const std::string no_subscription = "BuildSubList: Failed to fetch any subscription ";

struct Case {
  const char* name;
  std::uint32_t status;
  std::vector<std::string> lines;
  Stage stage;
  ExitCode code;
  std::vector<std::string> words;  // all of these stand in the text or the advice
};

// Without it a failure shows the bytes of the record.
void PrintTo(const Case& given, std::ostream* out) { *out << given.name; }

class JudgeQuery : public testing::TestWithParam<Case> {};

TEST_P(JudgeQuery, FindsStageCodeAndWords) {
  const Case& given = GetParam();
  const host::Finding finding = host::judge_query(given.status, given.lines, server);
  EXPECT_EQ(finding.stage, given.stage);
  EXPECT_EQ(static_cast<int>(finding.code), static_cast<int>(given.code));
  const std::string text = finding.what + "\n" + finding.next;
  for (const std::string& word : given.words) EXPECT_NE(text.find(word), std::string::npos) << word << "\n" << text;
}

INSTANTIATE_TEST_SUITE_P(
    Outcomes, JudgeQuery,
    testing::Values(
        Case{"NoSuchServer", 6626, {transport_line(server, 6)}, Stage::azure_stack, ExitCode::unreachable, {"no such"}},
        Case{"HostIgnoresCase",
             6626,
             {transport_line("MANAGEMENT.r1.stack.example", 7)},
             Stage::azure_stack,
             ExitCode::unreachable,
             {"no connection"}},
        Case{"ServerCertificate",
             6625,
             {transport_line(server, 60)},
             Stage::azure_stack,
             ExitCode::certificate,
             {"CA_FILE_PATH", "what curl says"}},
        Case{"UnreadableCaFile", 6011, {transport_line("a", 77)}, Stage::login, ExitCode::certificate, {"PEM"}},
        Case{"NoSuchLoginHost",
             6011,
             {transport_line("adfs.r1.stack.example", 6), "MakeAPICall: error failed to make http request :6011"},
             Stage::login,
             ExitCode::unreachable,
             {"adfs.r1.stack.example: no such host"}},
        Case{"AnyOtherTransportFailure",
             6622,
             {transport_line(server, 56)},
             Stage::azure_stack,
             ExitCode::unreachable,
             {}},
        Case{"LoginRefused",
             6011,
             {aad_answer, auth_error},
             Stage::login,
             ExitCode::login,
             {"(invalid_client: AADSTS7000215: Invalid client secret.)"}},
        Case{"LoginRefusedForMissingValues",
             6011,
             {"GetCredsVal: Failed to read value of ClientId, return status 6661 : x", auth_error},
             Stage::login,
             ExitCode::login,
             {"lacks ClientId"}},
        Case{"LoginWithoutToken",
             6011,
             {"x: error while parsing json: on line 1: y"},
             Stage::login,
             ExitCode::login,
             {}},
        Case{"LoginOverloaded",
             6011,
             {"SendHttpRequest: Failed to make http request with http response error code 503. retries exceeded"},
             Stage::login,
             ExitCode::unreachable,
             {"overloaded"}},
        Case{"TokenNotAccepted",
             6629,
             {arm_answer, list_error},
             Stage::azure_stack,
             ExitCode::login,
             {"InvalidAuthenticationToken: The audience is wrong.", "AuthResource"}},
        Case{"RenewedTokensNotAccepted",
             6646,
             {"SendHttpRequest: Failed to make http request with http response error code 401. retries exceeded"},
             Stage::azure_stack,
             ExitCode::login,
             {"does not accept"}},
        Case{"TokenRenewalGivenUp", 6629, {}, Stage::azure_stack, ExitCode::login, {}},
        Case{"NotAResourceManager", 6630, {list_missing}, Stage::azure_stack, ExitCode::failed, {"404"}},
        // The empty list is a consequence here, not the cause.
        Case{"ErrorAnswerBeforeEmptyList",
             6630,
             {list_missing, no_subscription},
             Stage::azure_stack,
             ExitCode::failed,
             {"404"}},
        Case{
            "NoJson", 5, {"x: error while parsing json: on line 1: y"}, Stage::azure_stack, ExitCode::failed, {"JSON"}},
        Case{"NoSubscription",
             6601,
             {no_subscription},
             Stage::subscriptions,
             ExitCode::no_subscription,
             {"no subscription", "role"}},
        Case{"UnknownShowsLines",
             6799,
             {"one", "two", "three", "four\033[2J"},
             Stage::azure_stack,
             ExitCode::failed,
             {"status 6799", "two; three; four\\x1b[2J"}}),
    [](const auto& tested) { return tested.param.name; });

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
  for (const std::string& line : {verified, unchecked, counted, no_subscription}) EXPECT_TRUE(host::is_evidence(line));
  EXPECT_FALSE(host::is_evidence("SendHttpRequest: Making the http request attempt 1 "));
  EXPECT_EQ(host::tls_peers({verified, counted}), TlsPeers::verified);
  EXPECT_EQ(host::tls_peers({unchecked, verified}), TlsPeers::unchecked);
  EXPECT_EQ(host::tls_peers({counted}), TlsPeers::unknown);
  EXPECT_EQ(host::subscription_count({unchecked, counted}), "12");
  EXPECT_EQ(host::subscription_count({unchecked}), std::nullopt);
}

}  // namespace
