// The configuration file and the user of a server.
#include "src/config/config.h"

#include <algorithm>
#include <filesystem>

#include "tests/config/config_fixture.h"

namespace {

class Configuration : public config_test::ConfigFixture {};

TEST_F(Configuration, AFileThatCannotBeReadLeavesTheDefaults) {
  std::filesystem::create_symlink(folder.path("nowhere"), folder.path("dangling"));
  std::filesystem::create_directory(folder.path("directory"));
  for (const char* name : {"missing", "dangling", "directory", "missing/below"}) {
    ReadConfigurationAt(folder.path(name));
    EXPECT_EQ(log.text(), "1 ReadConf: Config file name " + folder.path(name) +
                              "\n1 ReadConf: Unable to find the configuration file. : status 6662\n");
    std::string value;
    log.clear();
    EXPECT_EQ(config.GetConfVal("CURL_VERBOSE", value), 6661u);
    EXPECT_EQ(value, "false");
    EXPECT_EQ(log.text(), "1 GetConfVal: CURL_VERBOSE:false status 6661\n");
    EXPECT_FALSE(config.ValidatePeer());
  }
  log.session().config_path = nullptr;
  EXPECT_EQ(config.ReadConf(), 0u);
}

TEST_F(Configuration, LinesAndWhatStandsInThem) {
  ReadConfiguration(
      "#COMMENT=1\n;COMMENT=1\n\nno equals sign\r\nPLAIN=value\n \tBLANKS \t= a value \t\nCRLF=value\r\nEMPTY=\n"
      "EQUALS=a=b==\n=no key\nTWICE=first\nTWICE=second\n #NOT_A_COMMENT=1\nplain=lower\n[SECTION]\nLAST=no line end");
  const std::vector<std::pair<std::string, std::string>> expected = {
      {"COMMENT", "-"},        {"PLAIN", "value"},  {"BLANKS", "a value"},   {"CRLF", "value"},
      {"EMPTY", ""},           {"EQUALS", "a=b=="}, {"", "no key"},          {"TWICE", "first"},
      {"#NOT_A_COMMENT", "1"}, {"plain", "lower"},  {"LAST", "no line end"}, {"CA_FILE_PATH", "-"}};
  for (const auto& [key, value] : expected) {
    EXPECT_EQ(Setting(key), value) << key;
  }
  EXPECT_TRUE(log.contains(3, "ReadConf: Config file, Key = BLANKS and Value = a value")) << log.text();
}

TEST_F(Configuration, ACaFileSwitchesValidationOn) {
  ReadConfiguration("CA_FILE_PATH \t= \t/etc/ca one.pem \nCA_FILE_PATH=/other.pem\n");
  EXPECT_TRUE(config.ValidatePeer());
  EXPECT_EQ(config.CaFile(), "/etc/ca one.pem");
}

TEST_F(Configuration, LongLinesLoseTheirEndAndSaySo) {
  ReadConfiguration("FIRST=" + std::string(10000, 'x') + "=LOST=lost\nFIT=" + std::string(4091, 'y') +
                    "\nNEXT=value\n" + std::string(5000, 'k') + "=value\n");
  EXPECT_EQ(Setting("FIRST"), std::string(1023, 'x'));
  EXPECT_EQ(Setting("FIT"), std::string(1023, 'y'));
  EXPECT_EQ(Setting("NEXT"), "value");
  EXPECT_TRUE(log.contains(4, "Line 1 of " + folder.path("azurestack.conf") + " is longer than 4095 bytes"));
  EXPECT_FALSE(log.contains(4, "Line 2 of ")) << "4095 bytes are not too many";
}

TEST_F(Configuration, LargeAndBinaryFilesAreRead) {
  std::string comments;
  while (comments.size() < 10'000'000) {
    comments += "# a line of a comment, as long as many of them are\n";
  }
  ReadConfiguration(comments + "LAST=value\n");
  EXPECT_EQ(Setting("LAST"), "value");
  std::replace(comments.begin(), comments.end(), '\n', '=');
  ReadConfiguration("LINE=" + comments + "\nLAST=value\n");
  EXPECT_EQ(Setting("LAST"), "value");

  std::string bytes;
  for (int i = 0; i < 65536; ++i) {
    bytes += static_cast<char>(i * 31 / 7);
  }
  ReadConfiguration(bytes + "\nZERO=a" + std::string(1, '\0') + "b\nUTF8=\xc3\xa9\xff\nLAST=value");
  EXPECT_EQ(Setting("ZERO"), "a");
  EXPECT_EQ(Setting("UTF8"), "\xc3\xa9\xff");
  EXPECT_EQ(Setting("LAST"), "value");
}

TEST_F(Configuration, ReadingAgainForgetsEverything) {
  ReadConfiguration("CA_FILE_PATH=/ca.pem\nOLD=1\nBOTH=1\n");
  config.SetCreds("user:password");
  ReadConfiguration("BOTH=2\n");
  EXPECT_EQ(Setting("OLD"), "-");
  EXPECT_EQ(Setting("BOTH"), "2");
  EXPECT_FALSE(config.ValidatePeer());
  EXPECT_EQ(config.CaFile(), "");
  EXPECT_EQ(config.GetUserName() + config.GetPassword(), "");
}

TEST_F(Configuration, SecretsInItAreNotLogged) {
  ReadConfiguration("PROXY_PASSWORD=topsecret\nClientSecret = topsecret\nX=AccountName=a;AccountKey=topsecret\n");
  EXPECT_EQ(log.text().find("topsecret"), std::string::npos) << log.text();
  EXPECT_TRUE(log.contains(3, "Key = PROXY_PASSWORD and Value = ******"));
}

struct UserCase {
  std::string text;
  std::string user;
  std::string password;
};

TEST_F(Configuration, UserAndPasswordOfACredentialsText) {
  const std::vector<UserCase> cases = {
      {"user:password", "user", "password"},
      {"user", "user", ""},
      {"user:", "user", ""},
      {":password", "", "password"},
      {"", "", ""},
      {"domain\\user:pass:word:", "domain\\user", "pass:word:"},
      {"user:password\nrest:more\nlast", "user", "password"},
      {"user:\npassword", "user", ""},
      {"user: p w ", "user", " p w "},
      {"user:" + std::string(2000, 'p'), "user", std::string(2000, 'p')},
  };
  for (const UserCase& given : cases) {
    config.SetCreds(given.text.c_str());
    log.clear();
    EXPECT_EQ(config.GetUserName(), given.user) << given.text;
    EXPECT_EQ(config.GetPassword(), given.password) << given.text;
    EXPECT_EQ(log.text(), "1 GetUserName: username : " + given.user + "\n");
    if (given.password.size() >= 4) {
      log.clear();
      azurestackpi::FunctionLog("test").error("%s", config.GetPassword().c_str());
      EXPECT_EQ(log.text(), "4 test: ******\n");
    }
  }
  config.SetCreds(nullptr);
  EXPECT_EQ(config.GetPassword(), "");
}

TEST_F(Configuration, TrimsWithinTheLength) {
  char text[] = " \t a b \t";
  azurestackpi::AzureStackPi_Config::TrimString(text, sizeof(text));
  EXPECT_STREQ(text, "a b");
  azurestackpi::AzureStackPi_Config::TrimString(text, 2);
  EXPECT_STREQ(text, "a");
  azurestackpi::AzureStackPi_Config::TrimString(nullptr, 2);
}

}  // namespace
