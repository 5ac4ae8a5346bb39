#include "sim/simulator.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

#include "simulator_fixture.h"

namespace sim_test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::Pair;
using testing::SizeIs;

TEST_F(SimulatorTest, CertificateIsGoodForEveryHostAndRefusedWithoutTheAuthority) {
  const std::string port = ":" + std::to_string(simulator.port());
  for (const std::string& host :
       {simulator.management_host(), simulator.aad_host(), simulator.adfs_host(),
        "disks1.blob.local.azurestack.localhost" + port, "localhost" + port, "127.0.0.1" + port}) {
    EXPECT_EQ(client.get("https://" + host + "/").result, CURLE_OK) << host;
  }
  EXPECT_EQ(client.get("https://other.localhost" + port + "/").result, CURLE_PEER_FAILED_VERIFICATION);
  EXPECT_EQ(CurlClient("").get(management(subscriptions)).result, CURLE_PEER_FAILED_VERIFICATION);
}

TEST(Authority, StaysTheSameInItsDirectoryAndIsPrivate) {
  const std::filesystem::path directory = std::filesystem::path(testing::TempDir()) / "sim-authority";
  std::filesystem::remove_all(directory);
  sim::Options options;
  options.tls_dir = directory;
  const std::string first_file = sim::Simulator(options).ca_file();
  CurlClient client(first_file);
  std::ostringstream before;
  before << std::ifstream(first_file).rdbuf();
  const sim::Simulator second(options);
  std::ostringstream after;
  after << std::ifstream(first_file).rdbuf();
  EXPECT_EQ(before.str(), after.str());
  EXPECT_EQ(client.get("https://" + second.management_host() + subscriptions).result, CURLE_OK);
  EXPECT_EQ(std::filesystem::status(directory / "ca-key.pem").permissions(),
            std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);

  std::filesystem::remove(directory / "ca-key.pem");
  EXPECT_THROW(sim::Simulator{options}, std::runtime_error);
}

TEST(Simulator, RefusesAPortInUse) {
  const sim::Simulator first;
  sim::Options options;
  options.port = first.port();
  EXPECT_THROW(sim::Simulator{options}, std::runtime_error);
}

TEST(Simulator, RemovesItsPrivateDirectory) {
  const std::filesystem::path file = sim::Simulator().ca_file();
  EXPECT_FALSE(std::filesystem::exists(file.parent_path()));
}

TEST_F(SimulatorTest, LoginsAreCheckedFieldByField) {
  const std::string tenant = "/d9b782d5-d098-4374-8f2c-3907cc34611c/oauth2/token";
  const std::string adfs = "/adfs/oauth2/token";
  const std::string grant = "grant_type=client_credentials&resource=" + world.audience;
  const std::string client_id = "&client_id=625bc9f6-3bf6-4b6d-94ba-e97cf07a22de";
  const std::string secret = "&client_secret=demo%2Bclient/secret=42";
  const std::string password = "grant_type=password&resource=" + world.audience;
  const std::string adfs_id = "&client_id=1950a258-227b-4e31-a9cf-717495945fc2";
  const std::string user = "&username=backup@azurestack.localhost&password=demo";
  struct Case {
    const char* name;
    std::string path;
    std::string body;
    long status;
    const char* error;
  };
  const std::vector<Case> cases = {
      {"good client", tenant, grant + client_id + secret, 200, "none"},
      {"secret whose plus sign was not encoded", tenant, grant + client_id + "&client_secret=demo+client/secret=42",
       401, "invalid_client"},
      {"unknown client", tenant, grant + "&client_id=0" + secret, 400, "unauthorized_client"},
      {"other resource", tenant, "grant_type=client_credentials&resource=https://other/" + client_id + secret, 400,
       "invalid_resource"},
      {"no grant", tenant, "resource=" + world.audience, 400, "invalid_request"},
      {"wrong grant", tenant, "grant_type=password", 400, "unsupported_grant_type"},
      {"other tenant", "/contoso.com/oauth2/token", "grant_type=client_credentials", 400, "invalid_request"},
      {"good user", adfs, password + adfs_id + user + "%20%26%20password%20100%25", 200, "none"},
      {"wrong password", adfs, password + adfs_id + user, 400, "invalid_grant"},
      {"client of nobody", adfs, password + "&client_id=0", 400, "invalid_client"},
      {"other resource at AD FS", adfs, "grant_type=password&resource=x" + adfs_id, 400, "invalid_resource"},
      {"wrong grant at AD FS", adfs, "grant_type=client_credentials", 400, "unsupported_grant_type"},
  };
  for (const Case& test : cases) {
    const std::string host = test.path == adfs ? simulator.adfs_host() : simulator.aad_host();
    const Answer answer = client.send("POST", "https://" + host + test.path,
                                      {"Content-Type: application/x-www-form-urlencoded; charset=utf-8"}, test.body);
    EXPECT_EQ(answer.status, test.status) << test.name;
    EXPECT_EQ(answer.error(), test.error) << test.name;
  }
  EXPECT_THAT(simulator.unknown_requests(), IsEmpty());
}

TEST_F(SimulatorTest, TokenAnswersDifferAsTheRealOnesDo) {
  const Answer aad =
      client.send("POST", "https://" + simulator.aad_host() + "/" + world.tenant_id + "/oauth2/token", {},
                  "grant_type=client_credentials&client_id=" + world.aad_clients[0].client_id +
                      "&client_secret=demo%2Bclient/secret=42&resource=" + world.audience);
  const auto aad_body = nlohmann::json::parse(aad.body);
  EXPECT_EQ(aad_body.at("expires_in"), "3600");
  EXPECT_EQ(std::stoll(aad_body.at("expires_on").get<std::string>()),
            std::stoll(aad_body.at("not_before").get<std::string>()) + 3600);
  EXPECT_GT(aad_body.at("access_token").get<std::string>().size(), 1100U);

  const Answer adfs = client.send("POST", "https://" + simulator.adfs_host() + "/adfs/oauth2/token", {},
                                  "grant_type=password&client_id=" + world.adfs_users[0].client_id +
                                      "&username=backup%40azurestack.localhost&password=demo+%26+password+100%25"
                                      "&resource=" +
                                      world.audience);
  const auto adfs_body = nlohmann::json::parse(adfs.body);
  EXPECT_EQ(adfs_body.at("expires_in"), 3600);
  EXPECT_FALSE(adfs_body.contains("expires_on"));
  EXPECT_EQ(
      client
          .get(management(subscriptions), {"Authorization: Bearer " + adfs_body.at("access_token").get<std::string>()})
          .status,
      200);
}

TEST_F(SimulatorTest, ListsSubscriptionsAndGroups) {
  const std::string token = bearer();
  const Answer list = client.get(management(subscriptions), {token, "Content-Length: 0"});
  ASSERT_EQ(list.status, 200);
  EXPECT_THAT(list.head, HasSubstr("x-ms-routing-request-id: LOCAL:"));
  const auto values = nlohmann::json::parse(list.body).at("value");
  ASSERT_THAT(values, SizeIs(2));
  EXPECT_EQ(values[1].at("displayName"), "Test & Development");
  EXPECT_EQ(values[1].at("tenantId"), world.tenant_id);

  // Paths match in either case, percent-encoded or not, with and without the closing slash.
  for (const char* form : {"/subscriptions/4caa8431-21b4-4e0b-bca0-1542a5f11e23/resourcegroups/",
                           "/SUBSCRIPTIONS/4CAA8431-21b4-4e0b-bca0-1542a5f11e23/resourceGroups",
                           "/subscriptions/%34caa8431-21b4-4e0b-bca0-1542a5f11e23/resourcegroups"}) {
    const Answer groups = client.get(management(std::string(form) + "?api-version=2018-09-01"), {token});
    ASSERT_EQ(groups.status, 200) << form;
    EXPECT_EQ(nlohmann::json::parse(groups.body).at("value")[0].at("id"),
              "/subscriptions/4caa8431-21b4-4e0b-bca0-1542a5f11e23/resourceGroups/Data_RG.1");
  }
  EXPECT_EQ(simulator.connections(), 2U) << "one to each host";
}

TEST_F(SimulatorTest, RefusesWhatResourceManagerRefuses) {
  const std::string token = bearer();
  const std::string one = "/subscriptions/4caa8431-21b4-4e0b-bca0-1542a5f11e23";
  struct Case {
    std::string method, path, token;
    long status;
    std::string error;
  };
  const std::vector<Case> cases = {
      {"GET", subscriptions, "", 401, "AuthenticationFailed"},
      {"GET", subscriptions, "Authorization: Bearer nonsense", 401, "InvalidAuthenticationToken"},
      {"GET", subscriptions, "Authorization: Basic " + token.substr(22), 401, "InvalidAuthenticationToken"},
      {"GET", "/subscriptions", "", 400, "MissingApiVersionParameter"},
      {"GET", "/subscriptions?api-version=2018-09-01", token, 400, "InvalidApiVersionParameter"},
      {"GET", "/subscriptions/nobodys?api-version=2018-05-01", token, 404, "SubscriptionNotFound"},
      {"GET", "/nothing?api-version=2018-05-01", token, 404, "MissingSubscription"},
      {"GET", one + "/nothing?api-version=2018-05-01", token, 404, "HttpResourceNotFound"},
      {"DELETE", one + "?api-version=2018-05-01", token, 404, "HttpResourceNotFound"},
      {"PUT", "//subscriptions?api-version=2018-05-01", token, 404, "MissingSubscription"},
      {"POST", "/d9b782d5-d098-4374-8f2c-3907cc34611c/oauth2/token?api-version=1.0", token, 404, "MissingSubscription"},
  };
  for (const Case& test : cases) {
    std::vector<std::string> headers;
    if (!test.token.empty()) headers.push_back(test.token);
    const Answer answer = client.send(test.method, management(test.path), headers);
    EXPECT_EQ(answer.status, test.status) << test.method << " " << test.path;
    EXPECT_EQ(answer.error(), test.error) << test.method << " " << test.path;
  }
  EXPECT_THAT(simulator.unknown_requests(), SizeIs(5));
  EXPECT_THAT(client.get(management("/subscriptions?api-version=1"), {token}).body,
              HasSubstr("'2015-11-01,2016-06-01,2018-05-01'"));
}

TEST_F(SimulatorTest, TokensExpireAndAreRevoked) {
  constexpr const char* invalid = "error_description=\"The access token is invalid.\"";
  const std::string old_token = bearer();
  simulator.advance_time(world.token_lifetime_seconds - 60);
  EXPECT_EQ(client.get(management(subscriptions), {old_token}).status, 200);
  simulator.advance_time(60);
  const Answer expired = client.get(management(subscriptions), {old_token});
  EXPECT_EQ(expired.error(), "ExpiredAuthenticationToken");
  EXPECT_THAT(expired.head, HasSubstr(invalid));

  const std::string second = bearer();
  EXPECT_EQ(client.get(management(subscriptions), {second}).status, 200);
  simulator.revoke_tokens();
  const Answer revoked = client.get(management(subscriptions), {second});
  EXPECT_EQ(revoked.status, 401);
  EXPECT_EQ(revoked.error(), "InvalidAuthenticationToken");
  EXPECT_THAT(revoked.head, HasSubstr(invalid));
  EXPECT_EQ(client.get(management(subscriptions), {bearer()}).status, 200);
  EXPECT_THAT(client.get(management(subscriptions)).head, Not(HasSubstr(invalid)));
}

TEST_F(SimulatorTest, RecordsRequestsAsReceived) {
  client.send("PUT", management("/a%2Fb/%zz?x=%20&api-version=1"),
              {"Host: MANAGEMENT.local.azurestack.localhost", "X-Second:  two  words ", "x-first: 1", "X-First: 2",
               "User-Agent:", "Accept:", "Content-Type: text/plain"},
              "body");
  client.get(management(subscriptions));
  const std::vector<sim::RecordedRequest> requests = simulator.requests();
  ASSERT_THAT(requests, SizeIs(2));
  const sim::RecordedRequest& put = requests[0];
  EXPECT_EQ(put.method + " " + put.target, "PUT /a%2Fb/%zz?x=%20&api-version=1");
  EXPECT_EQ(put.host, "MANAGEMENT.local.azurestack.localhost");
  EXPECT_THAT(put.headers,
              ElementsAre(Pair("Host", put.host), Pair("X-Second", "two  words"), Pair("x-first", "1"),
                          Pair("X-First", "2"), Pair("Content-Type", "text/plain"), Pair("Content-Length", "4")));
  EXPECT_EQ(put.body, "body");
  EXPECT_EQ(put.status, 401);
  EXPECT_EQ(requests[1].client_port, put.client_port);
  CurlClient other(simulator.ca_file());
  other.get(management(subscriptions));
  EXPECT_NE(simulator.requests().at(2).client_port, put.client_port);

  simulator.clear_requests();
  EXPECT_THAT(simulator.requests(), IsEmpty());
}

TEST(Simulator, ForgetsTheOldestRequestsBeyondTheLimit) {
  sim::Options options;
  options.record_limit = 2;
  const sim::Simulator simulator(options);
  CurlClient client(simulator.ca_file());
  for (const char* path : {"/1", "/2", "/3"}) client.get("https://" + simulator.management_host() + path);
  const auto requests = simulator.requests();
  ASSERT_THAT(requests, SizeIs(2));
  EXPECT_EQ(requests[0].target, "/2");
}

TEST_F(SimulatorTest, BodiesOfEveryFramingArrive) {
  const std::string large(3 << 20, 'b');  // curl waits for "100 Continue" before it sends this one
  client.send("PUT", management("/large"), {"Content-Type: application/json"}, large);
  client.send("POST", management("/chunked"), {"Content-Type: text/plain", "Transfer-Encoding: chunked"}, "in chunks");
  client.send("DELETE", management("/none"));  // no length at all: no body, and no wait for one
  const auto requests = simulator.requests();
  ASSERT_THAT(requests, SizeIs(3));
  EXPECT_EQ(requests[0].body, large);
  EXPECT_EQ(requests[1].body, "in chunks");
  EXPECT_EQ(requests[2].body, "");
  EXPECT_EQ(simulator.connections(), 1U);
}

TEST_F(SimulatorTest, SurvivesWhatIsNoHttp) {
  for (const std::string& bytes : {std::string("\0\xff\n\r\n\r\n", 7), std::string("GET\r\n\r\n"),
                                   std::string("GET / HTTP/1.1\r\n:\r\nContent-Length: -5\r\n\r\n"),
                                   "GET /" + std::string(100'000, 'a') + " HTTP/1.1\r\n\r\n",
                                   std::string("POST /x HTTP/1.1\r\nContent-Length: 99999999999999999999\r\n\r\n")}) {
    const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> owner(curl_easy_init(), curl_easy_cleanup);
    CURL* curl = owner.get();
    curl_easy_setopt(curl, CURLOPT_URL, management("").c_str());
    curl_easy_setopt(curl, CURLOPT_CAINFO, simulator.ca_file().c_str());
    curl_easy_setopt(curl, CURLOPT_CONNECT_ONLY, 1L);
    ASSERT_EQ(curl_easy_perform(curl), CURLE_OK);
    std::size_t sent = 0;
    curl_easy_send(curl, bytes.data(), bytes.size(), &sent);
  }
  EXPECT_EQ(client.get(management(subscriptions)).status, 401);
}

TEST_F(SimulatorTest, ControlEndPointMasksSecretsAndWorksOnLocalhostOnly) {
  const std::string control = "https://localhost:" + std::to_string(simulator.port()) + "/_sim/";
  const std::string token = bearer();
  client.get(management(subscriptions), {token});
  const Answer listed = client.get(control + "requests");
  EXPECT_THAT(nlohmann::json::parse(listed.body), SizeIs(2));
  EXPECT_THAT(listed.body, HasSubstr("client_secret=******&resource="));
  EXPECT_THAT(listed.body, Not(HasSubstr("demo%2Bclient")));
  EXPECT_THAT(listed.body, Not(HasSubstr(token.substr(30, 60))));

  EXPECT_EQ(client
                .send("POST", control + "faults", {},
                      R"({"target":"^/subs","action":{"kind":"answer","status":503,"headers":{"Retry-After":"7"}}})")
                .status,
            201);
  const Answer faulty = client.get(management(subscriptions), {token});
  EXPECT_EQ(faulty.status, 503);
  EXPECT_THAT(faulty.head, HasSubstr("Retry-After: 7"));
  EXPECT_EQ(client.send("POST", control + "faults", {}, R"({"target":"(","action":{"kind":"delay"}})").status, 400);

  EXPECT_EQ(
      client.send("POST", control + "faults", {}, R"({"target":"^/never","action":{"kind":"refuseToken"}})").status,
      201);
  EXPECT_THAT(client.get(control + "unused-faults").body, HasSubstr("^/never"));
  client.get(management("/unknown?sig=abcdef&api-version=1"), {token});
  EXPECT_THAT(nlohmann::json::parse(client.get(control + "unknown-requests").body),
              ElementsAre("GET " + simulator.management_host() + " /unknown?sig=******&api-version=1"));

  const std::string later = bearer();
  EXPECT_EQ(client.send("POST", control + "advance-time", {}, R"({"seconds":3600})").status, 204);
  EXPECT_EQ(client.get(management(subscriptions), {later}).error(), "ExpiredAuthenticationToken");
  for (const char* body : {"", "[]", R"({"seconds":-1})", R"({"seconds":"1"})"}) {
    EXPECT_EQ(client.send("POST", control + "advance-time", {}, body).status, 400) << body;
  }

  EXPECT_EQ(client.send("POST", control + "revoke-tokens").status, 204);
  EXPECT_EQ(client.get(management(subscriptions), {token}).status, 401);
  EXPECT_EQ(client.send("DELETE", control + "requests").status, 204);
  EXPECT_THAT(simulator.requests(), IsEmpty());
  EXPECT_EQ(client.get(management("/_sim/requests?api-version=1"), {bearer()}).status, 404);
}

}  // namespace
}  // namespace sim_test
