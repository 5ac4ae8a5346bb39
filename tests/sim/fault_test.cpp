#include "sim/fault.h"

#include <gmock/gmock.h>

#include <chrono>

#include "simulator_fixture.h"

namespace sim_test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class FaultTest : public SimulatorTest {
 protected:
  Answer list() { return client.get(management(subscriptions), {token}); }

  const std::string token = bearer();
};

TEST_F(FaultTest, StrikesFromTheNthMatchAsOftenAsAsked) {
  simulator.add_fault({.method = "GET",
                       .target = "^/subscriptions\\?",
                       .first = 2,
                       .times = 2,
                       .action = sim::AnswerWith{{.status = 503, .headers = {{"Retry-After", "5"}}, .body = "busy"}}});
  client.send("POST", management(subscriptions), {token});  // another method does not count
  for (const long status : {200, 503, 503, 200}) EXPECT_EQ(list().status, status);
  EXPECT_THAT(simulator.unused_faults(), IsEmpty());
}

TEST_F(FaultTest, EveryActionIsSeenByTheClient) {
  const std::string whole = list().body;
  struct Case {
    const char* name;
    sim::FaultAction action;
    CURLcode result;
    std::string body;
    int recorded;
  };
  const sim::Response large{.status = 200, .filler_bytes = 1'000'000};
  const std::vector<Case> cases = {
      {"truncated", sim::TruncateBody{10}, CURLE_PARTIAL_FILE, whole.substr(0, 10), 200},
      {"truncated to nothing", sim::TruncateBody{0}, CURLE_PARTIAL_FILE, "", 200},
      {"reset in the body", sim::ResetInBody{10}, CURLE_RECV_ERROR, whole.substr(0, 10), 200},
      {"another body", sim::ReplaceBody{"[]"}, CURLE_OK, "[]", 200},
      {"reset before the answer", sim::ResetBeforeAnswer{}, CURLE_RECV_ERROR, "", 0},
      {"filler, cut short", sim::AnswerWith{large, {.then = sim::Delivery::Then::close, .body_bytes = 70'000}},
       CURLE_PARTIAL_FILE, std::string(70'000, 'x'), 200},
      {"whole filler", sim::AnswerWith{large}, CURLE_OK, std::string(1'000'000, 'x'), 200},
      {"delay", sim::Delay{std::chrono::milliseconds(1)}, CURLE_OK, whole, 200},
  };
  for (const Case& test : cases) {
    simulator.add_fault({.target = "^/subscriptions", .action = test.action});
    // On a connection of its own: a request that gets no answer on a kept one is repeated by libcurl.
    const Answer answer = CurlClient(simulator.ca_file()).get(management(subscriptions), {token});
    EXPECT_EQ(answer.result, test.result) << test.name << ": " << curl_easy_strerror(answer.result);
    EXPECT_EQ(answer.body, test.body) << test.name;
    EXPECT_EQ(simulator.requests().back().status, test.recorded) << test.name;
    EXPECT_EQ(list().body, whole) << "after " << test.name;
  }
  EXPECT_THAT(simulator.unused_faults(), IsEmpty());
}

TEST_F(FaultTest, ARefusedTokenIsGoodAgainAfterwards) {
  simulator.add_fault({.target = "subscriptions", .action = sim::RefuseToken{}});
  const Answer refused = list();
  EXPECT_EQ(refused.status, 401);
  EXPECT_THAT(refused.head, HasSubstr("error_description=\"The access token is invalid.\""));
  EXPECT_EQ(list().status, 200);
}

TEST_F(FaultTest, UnusedAndImpossibleFaultsAreTold) {
  simulator.add_fault({.method = "DELETE", .target = "/disks/", .action = sim::ResetBeforeAnswer{}});
  simulator.add_fault(
      {.target = "/subscriptions", .first = 3, .times = sim::Fault::forever, .action = sim::RefuseToken{}});
  list();
  EXPECT_THAT(simulator.unused_faults(), ElementsAre("DELETE /disks/ from match 1 on, 0 matched",
                                                     "any method /subscriptions from match 3 on, 1 matched"));
  simulator.clear_faults();
  EXPECT_THAT(simulator.unused_faults(), IsEmpty());
  EXPECT_EQ(list().status, 200);  // the third
  EXPECT_THROW(simulator.add_fault({.target = "("}), std::invalid_argument);
  EXPECT_THROW(simulator.add_fault({.target = "x", .times = 0}), std::invalid_argument);
}

}  // namespace
}  // namespace sim_test
