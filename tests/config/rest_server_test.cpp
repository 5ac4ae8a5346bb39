// Server names, endpoints and selections.
#include "src/config/rest_server.h"

#include "tests/config/config_fixture.h"

namespace {

using azurestackpi::azs_rest_server_s;
using azurestackpi::Status;

class RestServer : public config_test::ConfigFixture {
 protected:
  RestServer() {
    server.server_name = "management.r.d1.d2:30024";
    server.region_name = std::string(1, 'r');  // g++ 12 takes the assignment of a short literal for an overlap
    server.domain_name = "d1.d2:30024";
  }
  // The login host for a credentials store and a configuration.
  std::string LoginHost(const std::string& store, const std::string& configuration = "") {
    WriteStore(store);
    ReadConfiguration(configuration);
    azs_rest_server_s rest;
    EXPECT_EQ(config.InitRestHandle(rest), 0u);
    EXPECT_EQ(rest.management_endpoint, "management.r.d1.d2:30024");
    return rest.login_endpoint;
  }
};

TEST_F(RestServer, TheIdentityProviderChoosesTheLoginHost) {
  const std::string federation = "adfs.r.d1.d2:30024";
  const std::string cloud = "login.microsoftonline.com";
  EXPECT_EQ(LoginHost("IdentityProvider=ADFS\n"), federation);
  EXPECT_EQ(LoginHost("IdentityProvider = ADFS \r\n", "AAD_LOGIN_ENDPOINT=login.other\n"), federation);
  for (const char* other : {"adfs", "Adfs", "ADFS2", "\"ADFS\"", "AAD", ""}) {
    EXPECT_EQ(LoginHost(std::string("IdentityProvider=") + other + "\n"), cloud) << other;
  }
  EXPECT_EQ(LoginHost("IdentityProvider=AAD\n", "AAD_LOGIN_ENDPOINT=login.other:8443\n"), "login.other:8443");
  EXPECT_FALSE(log.contains(4, "IdentityProvider"));
  EXPECT_EQ(LoginHost("ClientId=id\n"), cloud);
  EXPECT_TRUE(log.contains(4, "Unable to find IdentityProvider parameter value from configuration file"));
}

TEST_F(RestServer, ANameThatWouldHaveToBeCutIsRefused) {
  WriteStore("IdentityProvider=AAD\n");
  azs_rest_server_s rest;
  server.server_name = std::string(127, 'm');
  EXPECT_EQ(azurestackpi::InitRestServerHandle(&server, rest), 0u);
  EXPECT_EQ(rest.management_endpoint, server.server_name);
  log.clear();
  for (const aapi_pgn_server_handle_s* refused : {&server, static_cast<aapi_pgn_server_handle_s*>(nullptr)}) {
    server.server_name = std::string(128, 'm');
    rest = {"before", "before"};
    EXPECT_EQ(azurestackpi::InitRestServerHandle(refused, rest), 6601u);
    EXPECT_EQ(rest.management_endpoint, "before");
    EXPECT_TRUE(log.contains(4, "The server name is missing or longer than 127 bytes. AAPI_Errno = 6601"));
  }
}

struct NameCase {
  std::string name;
  Status status;
  std::string parts;  // each in parentheses
};

std::string Parts(const std::vector<std::string>& parts) {
  std::string text;
  for (const std::string& part : parts) {
    text.append("(").append(part).append(")");
  }
  return text;
}

TEST_F(RestServer, PartsOfServerNamesAndSelections) {
  const std::vector<NameCase> names = {
      {"m.r.d1.d2", 0, "(r)(d1.d2)"},
      {"m.r.d1.d2.d3.d4:443", 0, "(r)(d1.d2.d3.d4:443)"},
      {"...x", 0, "()(.x)"},
      {"m.r..d", 0, "(r)(.d)"},
      {"m.r.d1", 6601, "(r)(d1)"},
      {"m.r.d1.", 6601, "(r)(d1)"},
      {"m.r", 6601, "(r)()"},
      {"m", 6601, "()()"},
      {"", 6601, "()()"},
  };
  const std::vector<NameCase> selections = {
      {"/sub", 0, "(sub)()()"},
      {"/sub/", 0, "(sub)()()"},
      {"/sub/group", 0, "(sub)(group)()"},
      {"/sub/group/vm", 0, "(sub)(group)(vm)"},
      {"/sub/group/vm/", 0, "(sub)(group)(vm)"},
      {"/sub//vm", 0, "(sub)()(vm)"},
      {"/a b/%s/\xc3\xa9", 0, "(a b)(%s)(\xc3\xa9)"},
      {"sub/group", 0, "(group)()()"},
      {"/sub/group/vm/more", 6795, "(sub)(group)(vm)"},
      {"/sub/group/vm//", 6795, "(sub)(group)(vm)"},
      {"sub", 6795, "()()()"},
      {"/", 6795, "()()()"},
      {"", 6795, "()()()"},
  };
  std::string one;
  std::string two;
  std::string three;
  for (const NameCase& given : names) {
    log.clear();
    one = two = "";
    EXPECT_EQ(azurestackpi::parseAzureEndpoint(given.name, one, two), given.status) << given.name;
    EXPECT_EQ(Parts({one, two}), given.parts) << given.name;
    EXPECT_EQ(log.contains(4, "Server name is not in expected format: " + given.name), given.status != 0);
  }
  for (const NameCase& given : selections) {
    log.clear();
    one = two = three = "";
    EXPECT_EQ(azurestackpi::parseSRVSection(given.name, one, two, three), given.status) << given.name;
    EXPECT_EQ(Parts({one, two, three}), given.parts) << given.name;
    EXPECT_EQ(log.contains(4, "Incorrect selection entry: " + given.name + ", return code: 6795"), given.status != 0);
  }
}

}  // namespace
