#include "host/login.h"

#include <gmock/gmock.h>

#include <sstream>

#include "host/errors.h"
#include "tests/support/temporary_directory.h"

namespace {

using host::LoginSource;

// "refused" for what is, which must not show the password.
std::string login_of(const LoginSource& source) {
  try {
    return host::read_login(source).reveal();
  } catch (const host::UsageError& error) {
    EXPECT_THAT(error.what(), testing::Not(testing::HasSubstr("hunter2")));
    return "refused";
  }
}

TEST(ReadLogin, TakesThePasswordFromFileOrCommand) {
  const test_support::TemporaryDirectory folder;
  const std::string longest(1023 - 5, 'x');
  const std::vector<std::pair<std::string, std::string>> cases = {{"secret", "anna:secret"},
                                                                  {"secret\r\n", "anna:secret"},
                                                                  {" with: colon \n", "anna: with: colon "},
                                                                  {longest + "\n", "anna:" + longest},
                                                                  {longest + "y", "refused"},
                                                                  {std::string(100000, 'x'), "refused"},
                                                                  {"", "refused"},
                                                                  {"\n", "refused"},
                                                                  {"hunter2\nlines\n", "refused"},
                                                                  {"hunter2\n\n", "refused"},
                                                                  {std::string("hunter2\0b", 9), "refused"}};
  for (const auto& [content, login] : cases) {
    const std::string file = folder.write_file("password", content);
    EXPECT_EQ(login_of({"anna", file, ""}), login);
    EXPECT_EQ(login_of({"anna", "", "cat '" + file + "'"}), login);
  }
}

TEST(ReadLogin, RefusesWhatCannotServe) {
  const test_support::TemporaryDirectory folder;
  const std::string file = folder.write_file("password", "hunter2");
  for (const LoginSource& source : std::vector<LoginSource>{{"anna", "", ""},
                                                            {"anna", folder.path("absent"), ""},
                                                            {"anna", folder.path(""), ""},
                                                            {"an:na", file, ""},
                                                            {"an\nna", file, ""},
                                                            {"anna", "", "cat " + file + "; exit 3"},
                                                            {"anna", "", "kill -9 $$"}}) {
    EXPECT_EQ(login_of(source), "refused") << source.user << source.password_file << source.password_command;
  }
  EXPECT_EQ(login_of({}), "");
}

TEST(ReadLogin, SecretPrintsAsAsterisks) {
  std::ostringstream out;
  out << host::Secret("hunter2");
  EXPECT_EQ(out.str(), "******");
}

}  // namespace
