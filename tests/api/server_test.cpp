// Claiming, opening and closing servers, their properties, and paths inside snapshots.
#include <cstring>
#include <iterator>

#include "tests/api/loaded_library.h"

namespace {

class Server : public api_test::LoadedLibraryTest {
 protected:
  static constexpr const char* kName = "azurestack:management.r.d1.d2";
};

struct NameCase {
  std::string name;
  std::uint32_t claimed;
  std::uint32_t opened;
  std::string region;  // and domain, where there is a colon
  std::string domain;
};

TEST_F(Server, NamesAreClaimedByPrefixAndOpenedByTheirParts) {
  const std::string label(500, 'm');
  const std::string domain = std::string(89, 'd') + ".e";
  constexpr std::uint32_t other = AAPI_E_INVALID_OBJECT;
  constexpr std::uint32_t bad = AAPI_E_INVALID_ARGUMENT;
  const std::vector<NameCase> cases = {
      {kName, 0, 0, "r", "d1.d2"},
      {"azurestack:management.r.d1.d2.d3:30024", 0, 0, "r", "d1.d2.d3:30024"},
      {"x:management.r.d1:1.d2", other, 0, "r", "d1:1.d2"},
      {"AzureStack:...d2", other, 0, "", ".d2"},
      {" azurestacks:" + label + ".r." + domain, other, 0, "r", domain},
      {"azurestack:management.r.d1.", 0, bad, "r", "d1"},
      {"azurestack:", 0, bad, "", ""},
      {"azurestack:" + std::string(600, '%'), 0, bad, "", ""},
      {"", other, AAPI_E_SERVER_NAME, "", ""},
      {"azurestack", other, AAPI_E_SERVER_NAME, "", ""},
  };
  for (const NameCase& given : cases) {
    EXPECT_EQ(table.claim(given.name.c_str()), given.claimed) << given.name;
    EXPECT_EQ(Open(given.name), given.opened) << given.name;
    EXPECT_EQ(log.contains(AAPI_LOG_ERROR, "Server name is not in expected format"), given.opened != 0) << given.name;
    if (given.opened == AAPI_E_SERVER_NAME) {
      EXPECT_EQ(server, nullptr);
      continue;
    }
    ASSERT_NE(server, nullptr) << given.name;
    std::uint32_t marker = 0;
    std::memcpy(&marker, server, sizeof(marker));
    EXPECT_EQ(marker, 0xa5f20000u);
    EXPECT_TRUE(log.contains(AAPI_LOG_FLOW, "azurestackpi_open_server_v1: parsed region name " + given.region +
                                                " and domain name " + given.domain + " "))
        << given.name << log.text();
  }
}

TEST_F(Server, TwoAreOpenAtOnceAndCloseInEitherOrder) {
  ASSERT_EQ(Open("azurestack:management.r1.d1.d2"), AAPI_OK);
  aapi_server_t* second = nullptr;
  const aapi_credentials_v1_t user{0, "user:password"};
  ASSERT_EQ(table.open_server(&log.session(), "azurestack:management.r2.d1.d2", &user, &second), AAPI_OK);
  ASSERT_NE(server, second);
  EXPECT_EQ(table.close_server(server), AAPI_OK);
  server = nullptr;
  aapi_server_info_v1_t info{};
  EXPECT_EQ(table.get_server_prop(second, &info), AAPI_OK);
  EXPECT_STREQ(info.server_name, "management.r2.d1.d2");
  EXPECT_EQ(table.close_server(second), AAPI_OK);
  log.clear();
  EXPECT_EQ(table.close_server(nullptr), AAPI_OK);
  EXPECT_EQ(log.text(),
            "3 azurestackpi_close_server_v1: entering.\n"
            "3 azurestackpi_close_server_v1: deleting storage account metadata\n"
            "3 azurestackpi_close_server_v1: exiting.\n");
}

// A credentials record need not end in a NUL, nor the user name in a colon.
TEST_F(Server, OpenTakesAnyCredentialsText) {
  aapi_credentials_v1_t full{};
  std::memset(full.text, ':', sizeof(full.text));
  for (const char* text : {"user:password", "user", ":", "\n", ""}) {
    aapi_credentials_v1_t credentials{};
    std::strcpy(credentials.text, text);
    aapi_server_t* opened = nullptr;
    EXPECT_EQ(table.open_server(&log.session(), "x:management.r.d1.d2", &credentials, &opened), AAPI_OK) << text;
    table.close_server(opened);
  }
  EXPECT_EQ(table.open_server(&log.session(), "x:management.r.d1.d2", &full, &server), AAPI_OK);
  EXPECT_EQ(log.text().find("password"), std::string::npos) << log.text();
}

TEST_F(Server, PropertiesKeepTheBitsOfTheHost) {
  ASSERT_EQ(Open(kName), AAPI_OK);
  aapi_server_info_v1_t expected{};
  std::memset(&expected, 0, sizeof(expected));
  std::strcpy(expected.server_name, "management.r.d1.d2");
  // Every tenth bit from 10 to 210 but for 150, on top of bit 0, which is the host's.
  expected.properties[0] = 1;
  for (unsigned bit = 10; bit <= 210; bit += 10) {
    expected.properties[bit / 32] |= bit == 150 ? 0 : 1u << (bit % 32);
  }
  expected.value = 4;

  aapi_server_info_v1_t info;
  std::memset(&info, 0xee, sizeof(info));
  std::memset(&info.properties, 0, sizeof(info.properties));
  info.properties[0] = 1;
  aapi_server_info_v1_t by_name = info;
  log.clear();
  ASSERT_EQ(table.get_server_prop(server, &info), AAPI_OK);
  EXPECT_EQ(log.text(),
            "3 azurestackpi_get_server_prop_v1: enter\n"
            "3 azurestackpi_get_server_prop_v1: returning rc: 0\n");
  ASSERT_EQ(table.get_server_prop_byname(&log.session(), kName, nullptr, &by_name), AAPI_OK);
  for (const aapi_server_info_v1_t& filled : {info, by_name}) {
    EXPECT_STREQ(filled.server_name, expected.server_name);
    EXPECT_EQ(filled.reserved, 0u);
    EXPECT_TRUE(std::equal(std::begin(filled.properties), std::end(filled.properties), expected.properties));
    EXPECT_TRUE(std::equal(std::begin(filled.limits), std::end(filled.limits), expected.limits));
    EXPECT_EQ(filled.value, 4u);
  }
}

TEST_F(Server, PropertiesOfANameAreCutToTheirField) {
  aapi_server_info_v1_t info{};
  EXPECT_EQ(table.get_server_prop_byname(&log.session(), "management.r.d1.d2", nullptr, &info), AAPI_E_SERVER_NAME);
  EXPECT_EQ(info.value, 0u);
  const std::string name(600, 'n');
  ASSERT_EQ(table.get_server_prop_byname(&log.session(), (":" + name).c_str(), nullptr, &info), AAPI_OK);
  EXPECT_EQ(std::string(info.server_name, sizeof(info.server_name)), name.substr(0, 511) + '\0');
  EXPECT_EQ(info.reserved, 0u);
}

// A disk has the same path inside a snapshot as outside.
TEST_F(Server, SnapshotPathsAreThePathsThemselves) {
  ASSERT_EQ(Open(kName), AAPI_OK);
  const std::string path = "/sub/group/vm/disk%s.vhd";
  for (const std::size_t size : {std::size_t{0}, std::size_t{1}, std::size_t{5}, path.size(), path.size() + 1}) {
    for (const auto convert : {table.get_snappath_from_realpath, table.get_realpath_from_snappath}) {
      std::string out(path.size() + 2, '#');
      log.clear();
      ASSERT_EQ(convert(server, "1700000000", path.c_str(), out.data(), size), AAPI_OK) << size;
      std::string expected(path.size() + 2, '#');
      if (size > 0) {
        expected.replace(0, size, path.substr(0, size - 1) + '\0');
      }
      EXPECT_EQ(out, expected) << size;
      EXPECT_EQ(log.contains(AAPI_LOG_ERROR, "is cut"), size <= path.size()) << size;
    }
  }
}

}  // namespace
