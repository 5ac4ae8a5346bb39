// One request: what goes over the wire, when it is repeated, and what a broken answer becomes.
#include <algorithm>

#include "tests/transport/open_server.h"

namespace transport_test {
namespace {

using azurestackpi::kCannotCommunicate;
using azurestackpi::kInternalError;
using azurestackpi::kInvalidArgument;
using azurestackpi::kNoToken;
using azurestackpi::kOk;
using azurestackpi::kServerNameInvalid;

class RequestTest : public OpenServer {
 protected:
  RequestTest() { EXPECT_EQ(Open(AadSetup()), kOk); }
};

TEST_F(RequestTest, TellsTheLengthOfNoBodyForGetAndPostOnly) {
  const std::vector<std::pair<int, bool>> cases{{azurestackpi::kGet, true},
                                                {azurestackpi::kPost, true},
                                                {azurestackpi::kPut, false},
                                                {azurestackpi::kDelete, false}};
  for (const auto& [method, has_length] : cases) {
    simulator.clear_requests();
    azurestackpi::HttpRequest request = Request();
    request.method = method;
    EXPECT_EQ(Send(request), kOk);
    const sim::RecordedRequest sent = ManagementRequests().at(0);
    EXPECT_EQ(sim::find_header(sent.headers, "Content-Length").has_value(), has_length) << method;
  }
}

TEST_F(RequestTest, RefusesAnUnknownMethod) {
  azurestackpi::HttpRequest request = Request();
  request.method = 4;
  EXPECT_EQ(Send(request), kInvalidArgument);
  EXPECT_TRUE(log.contains(4, "Invalid HTTP method. AAPI_Errno = 6601"));
}

TEST_F(RequestTest, OverloadIsTriedTenTimesWithAPauseBetween) {
  for (const int status : {429, 500, 502, 503}) {
    clock.clear_pauses();
    simulator.clear_requests();
    Answer("^/subscriptions", status, {}, "busy", 1, 10);
    EXPECT_EQ(Send(Request()), kCannotCommunicate) << status;
    EXPECT_EQ(http_status, status);
    EXPECT_EQ(ManagementRequests().size(), 10U);
    EXPECT_EQ(response.body, "busy");
    ASSERT_EQ(clock.pauses().size(), 9U);
    EXPECT_TRUE(std::all_of(clock.pauses().begin(), clock.pauses().end(),
                            [](std::int64_t pause) { return pause >= 30 && pause <= 89; }));
    EXPECT_TRUE(log.contains(4, "with http response error code " + std::to_string(status) + ". retries exceeded"));
  }
}

TEST_F(RequestTest, OverloadThatEndsIsForgotten) {
  Answer("^/subscriptions", 503, {}, "busy", 1, 2);
  EXPECT_EQ(Send(Request()), kOk);
  EXPECT_EQ(http_status, 200);
  EXPECT_EQ(clock.pauses().size(), 2U);
  EXPECT_EQ(response.body.find("busy"), std::string::npos);
}

TEST_F(RequestTest, WithRetriesForbiddenOverloadIsAnAnswerLikeAnyOther) {
  Answer("^/subscriptions", 503);
  azurestackpi::HttpRequest request = Request();
  request.allow_retry = false;
  EXPECT_EQ(Send(request), kOk);
  EXPECT_EQ(http_status, 503);
  EXPECT_TRUE(clock.pauses().empty());
}

TEST_F(RequestTest, OtherAnswersAreNotRepeated) {
  for (const int status : {201, 400, 403, 404, 409, 412, 501, 504}) {
    simulator.clear_requests();
    Answer("^/subscriptions", status);
    EXPECT_EQ(Send(Request()), kOk) << status;
    EXPECT_EQ(http_status, status);
    EXPECT_EQ(ManagementRequests().size(), 1U);
  }
  EXPECT_TRUE(clock.pauses().empty());
}

TEST_F(RequestTest, ABrokenTransferEndsAtOnce) {
  const std::vector<sim::FaultAction> breaks{sim::ResetBeforeAnswer{}, sim::TruncateBody{10}, sim::ResetInBody{10}};
  for (const sim::FaultAction& action : breaks) {
    // On a connection that was in use before, curl itself repeats a GET that was reset before any answer; a new one
    // shows the break at once.
    ASSERT_EQ(Open(AadSetup()), kOk);
    simulator.clear_requests();
    log.clear();
    simulator.add_fault({"", "^/subscriptions", 1, 1, action});
    EXPECT_EQ(Send(Request()), kInternalError);
    EXPECT_EQ(ManagementRequests().size(), 1U);
    EXPECT_TRUE(log.contains(4, "failed, <"));
    EXPECT_TRUE(log.contains(4, "AAPI_Errno = 6622"));
  }
  EXPECT_TRUE(clock.pauses().empty());
}

TEST_F(RequestTest, TakesAnAnswerOfAHundredMebibytesAndRefusesAnEndlessOne) {
  sim::AnswerWith large;
  large.response.filler_bytes = std::uint64_t{100} << 20;
  simulator.add_fault({"", "large", 1, 1, large});
  EXPECT_EQ(Send(Request("/large?api-version=1")), kOk);
  EXPECT_EQ(response.body.size(), std::size_t{100} << 20);
  large.response.filler_bytes = azurestackpi::kLongestBody + 1;
  simulator.add_fault({"", "endless", 1, 1, large});
  EXPECT_EQ(Send(Request("/endless?api-version=1")), kInternalError);
  EXPECT_TRUE(log.contains(4, "is not taken"));
}

TEST_F(RequestTest, KeepsTheHeaderBlockOfTheLastAnswer) {
  azurestackpi::HttpRequest request = Request("/moved?api-version=1");
  request.redirect = azurestackpi::Redirect::kFollow;
  Answer("^/moved", 302, {{"Location", Request().url}, {"Azure-AsyncOperation", "of the redirect"}});
  EXPECT_EQ(Send(request), kOk);
  EXPECT_EQ(http_status, 200);
  EXPECT_EQ(response.header.find("of the redirect"), std::string::npos);
  EXPECT_EQ(response.header.rfind("HTTP/1.1 200 OK", 0), 0U);
}

TEST_F(RequestTest, NeverLeavesTls) {
  azurestackpi::HttpRequest request = Request("/moved?api-version=1");
  request.redirect = azurestackpi::Redirect::kFollow;
  Answer("^/moved", 302, {{"Location", "http://" + simulator.management_host() + "/subscriptions"}});
  EXPECT_EQ(Send(request), kInternalError);
}

std::uint32_t AskToStop(const char* /*caller*/) { return 77; }

TEST_F(RequestTest, TheKeepAliveStopsARequestBeforeItIsSent) {
  ASSERT_EQ(Send(Request()), kOk);
  simulator.clear_requests();
  log.clear();
  azurestackpi::HttpRequest request = Request();
  request.keepalive = AskToStop;
  EXPECT_EQ(Send(request), 77U);
  EXPECT_TRUE(ManagementRequests().empty());
  EXPECT_TRUE(log.contains(4, "Breaking out of launch cmd core   rc: 77"));
  EXPECT_FALSE(log.contains(1, "Making the http request attempt"));
}

TEST_F(RequestTest, ASeriesOfCallsPaysOneHandshakeForEachHost) {
  for (int i = 0; i < 20; ++i) {
    ASSERT_EQ(Send(Request()), kOk);
  }
  EXPECT_EQ(simulator.connections(), 2U);
  EXPECT_EQ(LoginRequests().size(), 1U);
}

TEST_F(RequestTest, AClosedServerLeavesNoConnectionForTheNext) {
  ASSERT_EQ(Send(Request()), kOk);
  ASSERT_EQ(Open(AadSetup()), kOk);
  ASSERT_EQ(Send(Request()), kOk);
  EXPECT_EQ(simulator.connections(), 3U) << "the token is kept, its login connection not needed again";
}

TEST_F(RequestTest, RefusesACertificateOfAnotherAuthority) {
  const sim::Simulator other;
  ServerSetup setup = AadSetup();
  setup.config["CA_FILE_PATH"] = other.ca_file().string();
  ASSERT_EQ(Open(setup), kOk);
  EXPECT_EQ(Send(Request()), kNoToken);
  EXPECT_TRUE(log.contains(4, "failed, <60>"));
  EXPECT_TRUE(log.contains(4, "AAPI_Errno = 6625"));
  EXPECT_TRUE(simulator.requests().empty());
  setup.config["CA_FILE_PATH"] = folder.path("no such file");
  ASSERT_EQ(Open(setup), kOk);
  EXPECT_EQ(Send(Request()), kNoToken);
  EXPECT_TRUE(simulator.requests().empty());
}

TEST_F(RequestTest, WithoutAnAuthorityNothingIsValidatedAndTheLogSaysSo) {
  ServerSetup setup = AadSetup();
  setup.config.erase("CA_FILE_PATH");
  ASSERT_EQ(Open(setup), kOk);
  EXPECT_EQ(Send(Request()), kOk);
  EXPECT_TRUE(log.contains(3, "SSL Peer and Host Validations would be skipped"));
}

TEST_F(RequestTest, NamesTheHostThatCannotBeReached) {
  ASSERT_EQ(Send(Request()), kOk);
  azurestackpi::HttpRequest request = Request();
  request.url = "https://management.local.azurestack.localhost:1/subscriptions";
  EXPECT_EQ(Send(request), kServerNameInvalid);
  EXPECT_TRUE(
      log.contains(4, "preform the URL https://management.local.azurestack.localhost:1/subscriptions failed, <7>"));
}

TEST_F(RequestTest, BuildsAddressesWithOneSlashAndNoRawBytes) {
  const azurestackpi::AzureStackPi_HttpClient client({"host:8443", "login"}, nullptr, false);
  const std::vector<std::pair<const char*, const char*>> cases{
      {"subscriptions?a=b&$c=d", "https://host:8443/subscriptions?a=b&$c=d"},
      {"/subscriptions", "https://host:8443/subscriptions"},
      {"//two", "https://host:8443/two"},
      {"", "https://host:8443/"},
      {"rg one/\xc3\xa4\x01%20", "https://host:8443/rg%20one/%C3%A4%01%20"}};
  for (const auto& [path, expected] : cases) {
    std::string url;
    EXPECT_EQ(client.CreateQueryURL("host:8443", &url, path), kOk);
    EXPECT_EQ(url, expected);
  }
  std::string url;
  EXPECT_EQ(client.CreateQueryURL(nullptr, &url, "x"), kInvalidArgument);
  EXPECT_EQ(client.CreateQueryURL("", &url, "x"), kInvalidArgument);
  EXPECT_EQ(client.CreateQueryURL("host", nullptr, "x"), kInvalidArgument);
  EXPECT_EQ(client.CreateQueryURL("host", &url, nullptr), kInvalidArgument);
}

}  // namespace
}  // namespace transport_test
