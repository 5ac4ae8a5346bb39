#include "host/login.h"

#include <gtest/gtest.h>

#include <sstream>

#include "host/errors.h"
#include "tests/support/temporary_directory.h"

namespace {

using host::LoginSource;
using host::UsageError;

struct Case {
  std::string content;
  std::string login;  // empty: refused
};

TEST(ReadLogin, TakesThePasswordFromFileOrCommand) {
  const test_support::TemporaryDirectory folder;
  const std::string longest(1023 - 5, 'x');
  const Case cases[] = {
      {"secret", "anna:secret"},
      {"secret\n", "anna:secret"},
      {"secret\r\n", "anna:secret"},
      {" with: colon & blank \n", "anna: with: colon & blank "},
      {longest + "\n", "anna:" + longest},
      {longest + "y", ""},
      {std::string(100000, 'x'), ""},
      {"", ""},
      {"\n", ""},
      {"two\nlines\n", ""},
      {"secret\n\n", ""},
      {std::string("a\0b", 3), ""},
  };
  for (const Case& given : cases) {
    const std::string file = folder.write_file("password", given.content);
    for (const LoginSource& source : {LoginSource{"anna", file, ""}, LoginSource{"anna", "", "cat '" + file + "'"}}) {
      if (given.login.empty()) {
        EXPECT_THROW(host::read_login(source), UsageError) << given.content.substr(0, 20);
      } else {
        EXPECT_EQ(host::read_login(source).reveal(), given.login);
      }
    }
  }
}

TEST(ReadLogin, RefusesWhatCannotServe) {
  const test_support::TemporaryDirectory folder;
  const std::string file = folder.write_file("password", "hunter2");
  const LoginSource sources[] = {{"anna", "", ""},
                                 {"anna", folder.path("absent"), ""},
                                 {"anna", folder.path(""), ""},
                                 {"an:na", file, ""},
                                 {"an\nna", file, ""},
                                 {"anna", "", "cat " + file + "; exit 3"},
                                 {"anna", "", "kill -9 $$"}};
  for (const LoginSource& source : sources) {
    try {
      host::read_login(source);
      ADD_FAILURE() << "accepted: " << source.user << " " << source.password_file << " " << source.password_command;
    } catch (const UsageError& error) {
      EXPECT_EQ(std::string(error.what()).find("hunter2"), std::string::npos);
    }
  }
  EXPECT_TRUE(host::read_login({}).empty());
}

TEST(ReadLogin, SecretPrintsAsAsterisks) {
  std::ostringstream out;
  out << host::Secret("hunter2");
  EXPECT_EQ(out.str(), "******");
}

}  // namespace
