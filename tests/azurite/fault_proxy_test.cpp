// The proxy before a server that answers every request with the same bytes.
#include "tests/azurite/fault_proxy.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <vector>

#include "tests/azurite/strictness.h"
#include "tests/sim/curl_client.h"

namespace azurite {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class FaultProxyTest : public testing::Test {
 protected:
  FaultProxyTest() {
    server_.serve([this](const sim::Request&) {
      ++carried_out_;
      return sim::Reply{{.body = data_}, {}};
    });
  }

  /// On a connection of its own: a request that gets no answer on a kept one is repeated by libcurl.
  sim_test::Answer send(const std::string& method, const std::vector<std::string>& headers = {},
                        std::size_t most_bytes = std::string::npos) const {
    sim_test::CurlClient client("");
    client.break_off_after(most_bytes);
    return client.send(method, "http://127.0.0.1:" + std::to_string(proxy_.port()) + "/c/b?comp=x", headers);
  }

  const std::string data_ = std::string(1'000'000, 'a') + "z";
  std::atomic<int> carried_out_ = 0;
  sim::HttpServer server_{0, nullptr};
  FaultProxy proxy_{server_.port()};
};

TEST_F(FaultProxyTest, EveryActionIsSeenByTheClient) {
  struct Case {
    const char* name;
    ProxyAction action;
    CURLcode result;
    std::string body;
    int carried_out;
    int recorded;
  };
  const std::vector<Case> cases{
      {"another answer", sim::AnswerWith{{.status = 503, .body = "busy"}}, CURLE_OK, "busy", 0, 503},
      {"truncated", sim::TruncateBody{100}, CURLE_PARTIAL_FILE, data_.substr(0, 100), 1, 200},
      {"reset in the body", sim::ResetInBody{100}, CURLE_RECV_ERROR, data_.substr(0, 100), 1, 200},
      {"reset before the answer", sim::ResetBeforeAnswer{}, CURLE_RECV_ERROR, "", 0, 0},
      {"lost answer", LoseAnswer{}, CURLE_RECV_ERROR, "", 1, 0},
      {"another body", ReplaceBody{"<PageList/>"}, CURLE_OK, "<PageList/>", 1, 200}};
  for (const Case& test : cases) {
    carried_out_ = 0;
    proxy_.add({.action = test.action});
    const sim_test::Answer answer = send("GET");
    EXPECT_EQ(answer.result, test.result) << test.name;
    EXPECT_EQ(answer.body, test.body) << test.name;
    EXPECT_EQ(carried_out_, test.carried_out) << test.name;
    EXPECT_EQ(proxy_.requests().back().status, test.recorded) << test.name;
    EXPECT_EQ(send("GET").body, data_) << "after " << test.name;
  }
}

TEST_F(FaultProxyTest, TricklesUntilTheClientGoes) {
  proxy_.add({.action = Trickle{}});
  const sim_test::Answer answer = send("GET", {}, 5);
  EXPECT_EQ(answer.result, CURLE_WRITE_ERROR);
  EXPECT_LT(answer.body.size(), 1000U) << "one byte at a time, until the client goes";
}

TEST_F(FaultProxyTest, CountsRequestsByMethodTargetAndHeader) {
  proxy_.add({.method = "GET",
              .target = "^/c/b",
              .header = "^x-place: 2",
              .first = 2,
              .times = 2,
              .action = sim::AnswerWith{{.status = 500}}});
  proxy_.add({.target = "comp=snapshot", .action = sim::ResetBeforeAnswer{}});
  std::vector<long> statuses;
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(send("PUT", {"X-Place: 2"}).status + send("GET").status, 400);
    statuses.push_back(send("GET", {"X-Place: 2"}).status);
  }
  EXPECT_THAT(statuses, ElementsAre(200, 500, 500, 200));
  EXPECT_THAT(proxy_.unused_faults(), ElementsAre(HasSubstr("comp=snapshot")));
}

TEST(Strictness, IsTheRealServices) {
  const auto refusal = [](const std::string& target, std::size_t bytes) {
    const auto refused = strict_refusal({.method = "PUT", .target = target, .body = std::string(bytes, 'x')});
    return refused ? refused->status : 0;
  };
  constexpr std::size_t most = 4UL * 1024 * 1024;
  EXPECT_EQ(refusal("/c/b?comp=page", most), 0);
  EXPECT_EQ(refusal("/c/b?comp=page", most + 512), 413);
  EXPECT_EQ(refusal("/c/b?comp=pagelist&prevsnapshot=2026", 0), 501);
  EXPECT_EQ(strict_answer({.method = "GET"}, {.status = 206}).status, 416) << "a range that begins at the end";
  for (const auto& [version, headers] : {std::pair("2017-04-17", 1U), std::pair("2017-07-29", 2U)}) {
    const sim::Request request{.method = "GET", .headers = {{"x-ms-version", version}}};
    EXPECT_EQ(strict_answer(request, blob_error(404, "BlobNotFound")).headers.size(), headers) << version;
  }
}

}  // namespace
}  // namespace azurite
