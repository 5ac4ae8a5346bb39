// The bearer token: how it is asked for, how long it is used, and when it is asked for anew.
#include "tests/transport/open_server.h"

namespace transport_test {
namespace {

using azurestackpi::kNotAuthorized;
using azurestackpi::kNoToken;
using azurestackpi::kOk;

constexpr const char* kTokenPath = "/oauth2/token$";

class TokenTest : public OpenServer {
 protected:
  TokenTest() { EXPECT_EQ(Open(AadSetup()), kOk); }

  void AnswerToken(const std::string& body, std::uint64_t times = 1) {
    Answer(kTokenPath, 200, {{"Content-Type", "application/json"}}, body, 1, times);
  }
};

TEST_F(TokenTest, AsksThePublicAuthorityWithTheClientsSecret) {
  ASSERT_EQ(Send(Request()), kOk);
  const sim::RecordedRequest login = LoginRequests().at(0);
  EXPECT_EQ(login.method, "POST");
  EXPECT_EQ(login.target, "/" + world.tenant_id + "/oauth2/token");
  EXPECT_EQ(login.body, "grant_type=client_credentials&resource=" + world.audience + "&client_id=" +
                            world.aad_clients[0].client_id + "&client_secret=demo%2Bclient/secret%3D42");
  EXPECT_EQ(sim::find_header(login.headers, "Content-Type"), "application/x-www-form-urlencoded");
  EXPECT_FALSE(sim::find_header(login.headers, "Authorization"));
}

TEST_F(TokenTest, AsksTheRegionsOwnAuthorityWithTheUsersPassword) {
  ASSERT_EQ(Open(AdfsSetup()), kOk);
  ASSERT_EQ(Send(Request()), kOk);
  const sim::RecordedRequest login = LoginRequests().at(0);
  EXPECT_EQ(login.host, simulator.adfs_host());
  EXPECT_EQ(login.target, "/adfs/oauth2/token");
  EXPECT_EQ(login.body, "grant_type=password&resource=" + world.audience +
                            "&client_id=" + world.adfs_users[0].client_id +
                            "&username=backup@azurestack.localhost&password=demo%20%26%20password%20100%25");
}

TEST_F(TokenTest, IsUsedAgainWhileItLivesMoreThanFiveMinutes) {
  const auto answer = [&](std::int64_t lifetime) {
    AnswerToken("{\"access_token\":\"short.lived\",\"expires_on\":\"" + std::to_string(clock.now() + lifetime) + "\"}");
    Answer("^/subscriptions", 200, {}, "{}", 1, 2);
    simulator.clear_requests();
    ASSERT_EQ(Open(AadSetup()), kOk);
    azurestackpi::ResetProcessState();
    ASSERT_EQ(Open(AadSetup()), kOk);
    ASSERT_EQ(Send(Request()), kOk);
  };
  answer(301);
  ASSERT_EQ(Send(Request()), kOk);
  EXPECT_EQ(LoginRequests().size(), 1U);
  answer(300);
  ASSERT_EQ(Send(Request()), kOk);
  EXPECT_EQ(LoginRequests().size(), 2U);
}

TEST_F(TokenTest, LifetimeIsReadInEveryFormThatAuthoritiesWrite) {
  const std::string now = std::to_string(clock.now());
  const std::string later = std::to_string(clock.now() + 3600);
  const std::vector<std::pair<std::string, bool>> cases{{"\"expires_on\":\"" + later + "\"", true},
                                                        {"\"expires_on\":" + later, true},
                                                        {"\"expires_in\":\"3599\"", true},
                                                        {"\"expires_in\":3599", true},
                                                        {"\"expires_on\":null,\"expires_in\":3599", true},
                                                        {"\"expires_in\":299", false},
                                                        {"\"expires_on\":\"soon\"", false},
                                                        {"\"expires_on\":-5", false},
                                                        {"\"expires_on\":[1]", false},
                                                        {"\"x\":1", false}};
  for (const auto& [member, kept] : cases) {
    azurestackpi::ResetProcessState();
    ASSERT_EQ(Open(AadSetup()), kOk);
    simulator.clear_requests();
    const std::uint64_t logins = kept ? 1 : 2;
    AnswerToken("{" + member + ",\"access_token\":\"a.b.c\"}", logins);
    Answer("^/subscriptions", 200, {}, "{}", 1, 2);
    ASSERT_EQ(Send(Request()), kOk);
    ASSERT_EQ(Send(Request()), kOk);
    EXPECT_EQ(LoginRequests().size(), logins) << member;
    EXPECT_EQ(sim::find_header(ManagementRequests().at(1).headers, "Authorization"), "Bearer a.b.c");
  }
}

TEST_F(TokenTest, BelongsToOneLoginResourceClientUserAndSecret) {
  ASSERT_EQ(Send(Request()), kOk);
  ASSERT_EQ(Open(AdfsSetup()), kOk);
  ASSERT_EQ(Send(Request()), kOk);
  EXPECT_EQ(LoginRequests().size(), 2U);
  ServerSetup wrong = AadSetup();
  wrong.credentials["ClientSecret"] = "another";
  ASSERT_EQ(Open(wrong), kOk);
  EXPECT_EQ(Send(Request()), kNoToken) << "a token of the right secret must not serve a wrong one";
}

TEST_F(TokenTest, UnusableAnswersGiveNone) {
  const std::vector<std::string> bodies{"",
                                        "<html>gateway</html>",
                                        "{}",
                                        "[]",
                                        "\"text\"",
                                        "{\"access_token\":null}",
                                        "{\"access_token\":5}",
                                        "{\"access_token\":\"\"}",
                                        "{\"access_token\":\"a\\r\\nX-Injected: 1\"}",
                                        "{\"access_token\":\"a b\"}",
                                        "{\"access_token\":\"cut",
                                        std::string(100000, '[')};
  for (const std::string& body : bodies) {
    AnswerToken(body);
    EXPECT_EQ(Send(Request()), kNoToken) << body.substr(0, 40);
    EXPECT_TRUE(ManagementRequests().empty());
  }
}

TEST_F(TokenTest, ARefusedLoginNamesTheAuthoritysReason) {
  ServerSetup setup = AadSetup();
  setup.credentials["ClientSecret"] = "wrong secret";
  ASSERT_EQ(Open(setup), kOk);
  EXPECT_EQ(Send(Request()), kNoToken);
  EXPECT_TRUE(log.contains(4, "invalid_client"));
  EXPECT_TRUE(log.contains(4, "Error calling AzureStack API (Authorization). AAPI_Errno = "));
}

TEST_F(TokenTest, IsRenewedWhenTheServerCallsItInvalid) {
  ASSERT_EQ(Send(Request()), kOk);
  simulator.revoke_tokens();
  simulator.clear_requests();
  EXPECT_EQ(Send(Request()), kOk);
  EXPECT_EQ(http_status, 200);
  const std::vector<sim::RecordedRequest> sent = ManagementRequests();
  ASSERT_EQ(sent.size(), 2U);
  EXPECT_NE(sim::find_header(sent[0].headers, "Authorization"), sim::find_header(sent[1].headers, "Authorization"));
  EXPECT_EQ(LoginRequests().size(), 1U);
  EXPECT_TRUE(clock.pauses().empty());
}

TEST_F(TokenTest, IsNotRenewedForAnyOtherRefusal) {
  const std::vector<std::string> refusals{
      R"(Bearer error="invalid_token", error_description="The authentication failed: no 'Authorization' header.")",
      "Bearer error_description=\"The access token has expired.\"",
      "Bearer error_description=The access token is invalid.",
      "Bearer error_description=\"The access token is invalid.",
      "Bearer realm=\"The access token is invalid.\"",
      ""};
  ASSERT_EQ(Send(Request()), kOk);
  for (const std::string& refusal : refusals) {
    simulator.clear_requests();
    Answer("^/subscriptions", 401, {{"WWW-Authenticate", refusal}});
    EXPECT_EQ(Send(Request()), kOk);
    EXPECT_EQ(http_status, 401);
    EXPECT_EQ(simulator.requests().size(), 1U) << refusal;
  }
}

TEST_F(TokenTest, RenewalEndsAfterThreeRefusals) {
  ASSERT_EQ(Send(Request()), kOk);
  simulator.revoke_tokens();
  simulator.clear_requests();
  Answer(kTokenPath, 400, {}, "{\"error\":\"invalid_grant\"}", 1, 3);
  EXPECT_EQ(Send(Request()), kNotAuthorized);
  EXPECT_EQ(LoginRequests().size(), 3U);
  EXPECT_TRUE(log.contains(4, "Maximum limit to renew auth token is over"));
}

TEST_F(TokenTest, RenewalThatNeverHelpsEnds) {
  simulator.add_fault({"", "^/subscriptions", 1, sim::Fault::forever, sim::RefuseToken{}});
  EXPECT_EQ(Send(Request()), azurestackpi::kCannotCommunicate);
  EXPECT_EQ(ManagementRequests().size(), 10U);
  EXPECT_TRUE(log.contains(4, "error code 401. retries exceeded"));
}

TEST_F(TokenTest, NoSecretEverReachesTheLogEvenWhenTraced) {
  for (ServerSetup setup : {AadSetup(), AdfsSetup()}) {
    setup.config["CURL_VERBOSE"] = "true";
    azurestackpi::ResetProcessState();
    ASSERT_EQ(Open(setup), kOk);
    ASSERT_EQ(Send(Request()), kOk);
    simulator.revoke_tokens();
    ASSERT_EQ(Send(Request()), kOk);
    Answer("^/subscriptions", 403, {}, "{\"keys\":[{\"value\":\"c2VjcmV0LWtleQ==\",\"keyName\":\"key1\"}]}");
    ASSERT_EQ(Send(Request()), kOk);
  }
  const std::string lines = log.text();
  ASSERT_NE(lines.find("=> Send header"), std::string::npos);
  ASSERT_NE(lines.find("=> Send data"), std::string::npos);
  ASSERT_NE(lines.find("access_token"), std::string::npos) << "the answer itself is traced";
  std::vector<std::string> secrets{aad_secret, "demo%2Bclient", adfs_password, "demo%20%26", "c2VjcmV0LWtleQ=="};
  for (const sim::RecordedRequest& request : ManagementRequests()) {
    const std::string bearer = sim::find_header(request.headers, "Authorization").value_or("");
    ASSERT_GT(bearer.size(), 100U);
    secrets.push_back(bearer.substr(7, 20));
    secrets.push_back(bearer.substr(bearer.size() - 20));
  }
  for (const std::string& secret : secrets) {
    EXPECT_EQ(lines.find(secret), std::string::npos) << secret;
  }
}

// An answer of more than one TLS record reaches a trace in pieces, here with the border inside the token.
TEST_F(TokenTest, NoPieceOfATokenThatSpansRecordsIsTraced) {
  ServerSetup setup = AadSetup();
  setup.config["CURL_VERBOSE"] = "true";
  ASSERT_EQ(Open(setup), kOk);
  std::string token;
  while (token.size() < 3000) {
    token += "TOKENPIECE" + std::to_string(token.size()) + ".";
  }
  AnswerToken("{\"padding\":\"" + std::string(15000, 'p') + "\",\"access_token\":\"" + token +
              "\",\"expires_in\":3600}");
  Answer("^/subscriptions", 200, {}, "{}");
  ASSERT_EQ(Send(Request()), kOk);
  EXPECT_EQ(sim::find_header(ManagementRequests().at(0).headers, "Authorization"), "Bearer " + token);
  ASSERT_NE(log.text().find("ppppp"), std::string::npos) << "the answer is traced";
  EXPECT_EQ(log.text().find("TOKENPIECE"), std::string::npos);
}

TEST_F(TokenTest, TracingFollowsTheOpenServersSetting) {
  const auto traced_login = [&](const char* verbose) {
    ServerSetup setup = AdfsSetup();
    setup.config["CURL_VERBOSE"] = verbose;
    EXPECT_EQ(Open(setup), kOk);
    simulator.revoke_tokens();
    log.clear();
    EXPECT_EQ(Send(Request()), kOk);
    return log.contains(1, "=> Send data : grant_type=password");
  };
  EXPECT_FALSE(traced_login("false"));
  EXPECT_TRUE(traced_login("true"));
  EXPECT_FALSE(traced_login("false"));
}

// Without a host the path's first piece would become one, and be sent the secret.
TEST_F(TokenTest, AnEmptyLoginHostMeansThePublicOne) {
  ServerSetup setup = AadSetup();
  setup.config["AAD_LOGIN_ENDPOINT"] = "";
  ASSERT_EQ(Open(setup), kOk);
  azurestackpi::azs_rest_server_s rest;
  EXPECT_EQ(azurestackpi::InitRestServerHandle(server, rest), kOk);
  EXPECT_EQ(rest.login_endpoint, "login.microsoftonline.com");
}

}  // namespace
}  // namespace transport_test
