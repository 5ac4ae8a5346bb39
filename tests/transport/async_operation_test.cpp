// Asynchronous operations: followed to their end, with the waits and keep-alives that the host's connection needs.
#include "tests/transport/open_server.h"

namespace transport_test {
namespace {

using azurestackpi::kOk;
using azurestackpi::Status;

int keepalive_calls = 0;

std::uint32_t CountKeepAlive(const char* /*caller*/) {
  ++keepalive_calls;
  return 0;
}

std::uint32_t FailingKeepAlive(const char* caller) {
  ++keepalive_calls;
  return std::string(caller) == "CallKeepAlive" ? 5 : 0;
}

class AsyncOperationTest : public OpenServer {
 protected:
  AsyncOperationTest() {
    EXPECT_EQ(Open(AadSetup()), kOk);
    keepalive_calls = 0;
  }

  std::string OperationAddress() const { return "https://" + simulator.management_host() + "/operations/1?t=1"; }

  /// A long request whose first answer names an operation.
  azurestackpi::HttpRequest Start(sim::Headers more = {}) {
    sim::Headers headers{{"Azure-AsyncOperation", OperationAddress()}};
    headers.insert(headers.end(), more.begin(), more.end());
    Answer("^/start", 202, headers, "first");
    azurestackpi::HttpRequest request = Request("/start?api-version=1");
    request.method = azurestackpi::kPut;
    request.block_type = azurestackpi::kLongRequest;
    request.keepalive = CountKeepAlive;
    return request;
  }

  /// The polls' answers, one after the other.
  void Polls(const std::vector<std::pair<int, std::string>>& answers) {
    std::uint64_t n = 0;
    for (const auto& [status, body] : answers) {
      Answer("^/operations/1", status, {}, body, ++n);
    }
  }
};

TEST_F(AsyncOperationTest, EndsWithTheOperationsStatus) {
  const std::vector<std::pair<std::string, Status>> cases{{"{\"status\":\"Succeeded\"}", kOk},
                                                          {"{\"status\":\"SUCCEEDED\"}", kOk},
                                                          {"{\"status\":\"Failed\",\"error\":{}}", 6786},
                                                          {"{\"status\":\"Canceled\"}", 6787},
                                                          {"{\"status\":\"Running\"}", 6788},
                                                          {"{\"name\":\"no status\"}", 6788},
                                                          {"{\"status\":5}", 6788},
                                                          {"{\"status\":null}", 6788},
                                                          {"not json", 6788},
                                                          {"", 6788}};
  for (const auto& [body, expected] : cases) {
    Polls({{200, "{\"status\":\"InProgress\"}"}, {200, "{\"status\":\"\"}"}, {200, body}});
    EXPECT_EQ(Send(Start()), expected) << body;
    EXPECT_EQ(http_status, 202) << "polls do not change the request's own status";
    EXPECT_EQ(response.body, "first");
  }
}

TEST_F(AsyncOperationTest, ACallerMayHaveTheOperationsOwnAnswer) {
  Polls({{200, "{\"status\":\"Succeeded\",\"properties\":{}}"}});
  azurestackpi::HttpRequest request = Start();
  request.want_async_response = true;
  EXPECT_EQ(Send(request), kOk);
  EXPECT_EQ(response.body, "{\"status\":\"Succeeded\",\"properties\":{}}");
}

TEST_F(AsyncOperationTest, PollsCarryTheRequestsHeadersAndAFreshToken) {
  Polls({{200, "{\"status\":\"InProgress\"}"}, {200, "{\"status\":\"Succeeded\"}"}});
  ASSERT_EQ(Send(Start()), kOk);
  const sim::RecordedRequest poll = ManagementRequests().at(1);
  EXPECT_EQ(poll.method, "GET");
  EXPECT_EQ(poll.target, "/operations/1?t=1");
  EXPECT_EQ(sim::find_header(poll.headers, "Version"), "4");
  EXPECT_EQ(sim::find_header(poll.headers, "Content-Length"), "0");
  EXPECT_TRUE(sim::find_header(poll.headers, "Authorization"));
}

TEST_F(AsyncOperationTest, WaitsAsLongAsTheFirstAnswerAsks) {
  struct Case {
    const char* retry_after;
    std::vector<std::int64_t> pauses;  // of one poll, keep-alive interval 10
    int keepalives;
  };
  const std::vector<Case> cases{{nullptr, {1}, 0},
                                {"0", {1}, 0},
                                {"5", {5}, 1},
                                {"10", {10, 10}, 2},
                                {"25", {10, 10, 5}, 3},
                                {"601", std::vector<std::int64_t>(61, 10), 61},
                                {"99999999999999999999", std::vector<std::int64_t>(61, 10), 61},
                                {"-3", {1}, 0},
                                {"Fri, 31 Dec 1999 23:59:59 GMT", {1}, 0},
                                {"7s", {1}, 0}};
  for (const Case& c : cases) {
    clock.clear_pauses();
    keepalive_calls = 0;
    Polls({{200, "{\"status\":\"Succeeded\"}"}});
    ASSERT_EQ(Send(Start(c.retry_after == nullptr ? sim::Headers{} : sim::Headers{{"retry-after", c.retry_after}})),
              kOk);
    EXPECT_EQ(clock.pauses(), c.pauses) << (c.retry_after == nullptr ? "none" : c.retry_after);
    // One call more: the one before the request itself.
    EXPECT_EQ(keepalive_calls, c.keepalives + 1);
  }
}

TEST_F(AsyncOperationTest, TheConfiguredIntervalHoldsWhenItIsOne) {
  const std::vector<std::pair<const char*, std::vector<std::int64_t>>> cases{
      {"3", {3, 3, 3, 2}}, {"3601", {10, 10}}, {"0", {10, 10}}, {"3x", {10, 10}}, {"", {10, 10}}};
  for (const auto& [interval, pauses] : cases) {
    ServerSetup setup = AadSetup();
    setup.config["ASYNC_KEEP_ALIVE_INTERVAL"] = interval;
    ASSERT_EQ(Open(setup), kOk);
    clock.clear_pauses();
    Polls({{200, "{\"status\":\"Succeeded\"}"}});
    ASSERT_EQ(Send(Start({{"Retry-After", "10"}})), kOk);
    EXPECT_EQ(clock.pauses(), pauses) << interval;
  }
}

TEST_F(AsyncOperationTest, AFailingKeepAliveDoesNotEndTheWait) {
  Polls({{200, "{\"status\":\"Succeeded\"}"}});
  azurestackpi::HttpRequest request = Start({{"Retry-After", "10"}});
  request.keepalive = FailingKeepAlive;
  EXPECT_EQ(Send(request), kOk);
  EXPECT_TRUE(log.contains(4, "Failed to invoke send keep alive callback rc: 5"));
}

TEST_F(AsyncOperationTest, OverloadedPollsAreRepeatedTenTimesInARow) {
  std::vector<std::pair<int, std::string>> polls(9, {503, ""});
  polls.emplace_back(200, "{\"status\":\"InProgress\"}");
  polls.insert(polls.end(), 9, {429, ""});
  polls.emplace_back(200, "{\"status\":\"Succeeded\"}");
  Polls(polls);
  EXPECT_EQ(Send(Start()), kOk);
  simulator.clear_requests();
  Polls(std::vector<std::pair<int, std::string>>(10, {502, ""}));
  EXPECT_EQ(Send(Start()), azurestackpi::kCannotCommunicate);
  EXPECT_EQ(ManagementRequests().size(), 11U);
}

TEST_F(AsyncOperationTest, APollsInvalidTokenIsRenewedOnce) {
  simulator.add_fault({"", "^/operations/1", 1, 1, sim::RefuseToken{}});
  Answer("^/operations/1", 200, {}, "{\"status\":\"Succeeded\"}", 2);
  EXPECT_EQ(Send(Start()), kOk);
  EXPECT_EQ(LoginRequests().size(), 2U);
  simulator.add_fault({"", "^/operations/1", 1, 2, sim::RefuseToken{}});
  EXPECT_EQ(Send(Start()), 6788U) << "a second refusal is read as an answer without a status";
}

TEST_F(AsyncOperationTest, ABrokenPollEndsTheOperation) {
  simulator.add_fault({"", "^/operations/1", 1, 2, sim::TruncateBody{0}});
  Answer("^/operations/1", 200, {}, "{\"status\":\"Succeeded\"}", 3);
  EXPECT_EQ(Send(Start()), azurestackpi::kInternalError);
  EXPECT_TRUE(log.contains(4, "Async operation failed with error 6622"));
  EXPECT_EQ(Send(Start()), azurestackpi::kInternalError);
  EXPECT_EQ(Send(Start()), kOk);
}

TEST_F(AsyncOperationTest, TheWaitsLastSleepIsTheOvershoot) {
  struct Case {
    int seconds, interval;
    std::vector<std::int64_t> pauses;
    int keepalives;
  };
  const std::vector<Case> cases{{10, 3, {3, 3, 3, 2}, 4}, {0, 1, {1}, 1}, {-1, 2, {1}, 0}, {1, 1, {1, 1}, 2}};
  for (const Case& c : cases) {
    clock.clear_pauses();
    keepalive_calls = 0;
    azurestackpi::AzureStackPi_HttpClient::HandleHttpWaitandKeepAlive(c.seconds, CountKeepAlive, c.interval);
    EXPECT_EQ(clock.pauses(), c.pauses);
    EXPECT_EQ(keepalive_calls, c.keepalives);
  }
}

TEST_F(AsyncOperationTest, IsFollowedForLongRequestsOnly) {
  azurestackpi::HttpRequest request = Start();
  request.block_type = azurestackpi::kShortRequest;
  EXPECT_EQ(Send(request), kOk);
  EXPECT_EQ(http_status, 202);
  EXPECT_TRUE(log.contains(1, "Async handling not applicable"));
}

}  // namespace
}  // namespace transport_test
