#include "src/config/credentials_store.h"

#include <filesystem>

#include "tests/config/config_fixture.h"

namespace {

class Credentials : public config_test::ConfigFixture {
 protected:
  Credentials() { server.server_name = "management.r.d1.d2"; }
};

TEST_F(Credentials, TheOwnSectionWins) {
  WriteStore(
      "ClientId=general\nOnly=general\nTwice=first\nTwice=second\nEmpty=\n# [management.r.d1.d2]\n"
      "[management.other]\nClientId=other\nForeign=other\n"
      " [ management.r.d1.d2 ] \r\nClientId = own\nEmptyHere=\nOnly2=own\n"
      "[management.third]\nClientId=third\n"
      "[management.r.d1.d2]\nAgain=own\nClientId=too late\n");
  const std::vector<std::pair<std::string, std::string>> expected = {
      {"ClientId", "own"}, {"Only", "general"}, {"Twice", "first"},  {"Empty", ""},       {"EmptyHere", ""},
      {"Only2", "own"},    {"Again", "own"},    {"Foreign", "6661"}, {"clientid", "6661"}};
  for (const auto& [key, value] : expected) {
    EXPECT_EQ(Credential(key), value) << key;
  }
  server.server_name = "management.third";
  EXPECT_EQ(Credential("ClientId"), "third");
  EXPECT_EQ(Credential("Only2"), "6661");
  config.SetServerDef(nullptr);
  EXPECT_EQ(Credential("ClientId"), "general");
}

TEST_F(Credentials, WhatIsMissingIsToldAtTheRightLevel) {
  WriteStore("Other=value\n");
  EXPECT_EQ(Credential("ClientId"), "6661");
  EXPECT_EQ(Credential("ClientId", true), "6661");
  std::filesystem::remove(folder.path("credentials"));
  EXPECT_EQ(Credential("ClientId"), "6662");
  EXPECT_EQ(Credential("ClientId", true), "6662");
  for (const char* const no_store : {static_cast<const char*>(nullptr), "/"}) {
    log.session().credentials_path = no_store;
    EXPECT_EQ(Credential("ClientId"), "6662");
  }
  const std::string parameter = "return status 6661 : Unable to find the configuration parameter. \n";
  const std::string file =
      "4 GetCredsVal: Failed to read value of ClientId, return status 6662 : "
      "Unable to find the configuration file. \n";
  EXPECT_EQ(log.text(), "4 GetCredsVal: Failed to read value of ClientId, " + parameter +
                            "3 GetCredsVal: Value not found for ClientId, " + parameter + file + file + file + file);
}

// Others may read it: said once for each server that is opened, and again only after that.
TEST_F(Credentials, LoosePermissionsAreReportedOncePerOpen) {
  const std::string line = "can be read by group or others";
  for (const mode_t mode : {0640u, 0604u, 0644u}) {
    WriteStore("ClientId=id\n", mode);
    config.ReadConf();
    log.clear();
    EXPECT_EQ(Credential("ClientId"), "id");
    WriteStore("ClientId=changed\n", mode);
    EXPECT_EQ(Credential("ClientId"), "changed");
    ASSERT_EQ(log.lines().size(), 1u) << log.text();
    EXPECT_TRUE(log.contains(4, folder.path("credentials") + " " + line));
  }
  for (const mode_t mode : {0600u, 0400u, 0700u}) {
    WriteStore("ClientId=id\n", mode);
    config.ReadConf();
    log.clear();
    EXPECT_EQ(Credential("ClientId"), "id");
    EXPECT_EQ(log.text(), "");
    WriteStore("", 0600);
  }
}

TEST_F(Credentials, AStoreReplacedWhileOpenIsSeen) {
  WriteStore("ClientId=one\nOld=1\n");
  EXPECT_EQ(Credential("ClientId"), "one");
  // As an operator's editor does it: a new file of the same length under the old name.
  folder.write_file("new", "ClientId=two\nOlt=1\n");
  std::filesystem::rename(folder.path("new"), folder.path("credentials"));
  EXPECT_EQ(Credential("ClientId"), "two");
  EXPECT_EQ(Credential("Old"), "6661");
  std::filesystem::remove(folder.path("credentials"));
  EXPECT_EQ(Credential("ClientId"), "6662");
  WriteStore("ClientId=three\n");
  EXPECT_EQ(Credential("ClientId"), "three");
}

TEST_F(Credentials, ALineThatIsTooLongIsNotUsed) {
  WriteStore("ClientSecret=" + std::string(5000, 's') + "\nClientId=id\n");
  EXPECT_EQ(Credential("ClientSecret"), "6661");
  EXPECT_EQ(Credential("ClientId"), "id");
  EXPECT_TRUE(log.contains(4, "Line 1 of " + folder.path("credentials") + " is longer than 4095 bytes"));
  EXPECT_EQ(log.text().find("ssss"), std::string::npos);
}

TEST_F(Credentials, SecretsOfTheStoreAreInNoLine) {
  WriteStore("ClientSecret=top/secret+1\nInternetProxyPassword=topsecret2\nInternetProxyUrl=http://u:topsecret3@p:1\n");
  for (const char* key : {"ClientSecret", "InternetProxyPassword", "InternetProxyUrl", "TenantId"}) {
    azurestackpi::FunctionLog("test").error("%s is %s", key, Credential(key).c_str());
  }
  azurestackpi::FunctionLog("test").error("body: client_id=x&other=top/secret%%2B1");
  EXPECT_EQ(log.text().find("secret2"), std::string::npos) << log.text();
  EXPECT_EQ(log.text().find("secret3"), std::string::npos) << log.text();
  EXPECT_EQ(log.text().find("top/secret"), std::string::npos) << log.text();
}

}  // namespace
