#include "host/plugin.h"

#include <gtest/gtest.h>

#include "host/errors.h"
#include "tests/support/temporary_directory.h"

namespace {

std::string refusal(const std::string& path) {
  try {
    const host::Plugin plugin(path);
    return "";
  } catch (const host::PluginError& error) {
    return error.what();
  }
}

TEST(Plugin, LoadsAndHandsOutTheTable) {
  const host::Plugin plugin(FAKE_PLUGIN);
  EXPECT_EQ(plugin.version(), "fake 1");
  EXPECT_EQ(plugin.entry().claim("azurestack:x"), AAPI_OK);
  EXPECT_EQ(plugin.entry().claim("other:x"), AAPI_E_INVALID_OBJECT);
}

TEST(Plugin, RefusesWhatIsNone) {
  const test_support::TemporaryDirectory folder;
  EXPECT_NE(refusal(folder.path("absent.so")).find("absent.so"), std::string::npos);
  EXPECT_NE(refusal(folder.write_file("text.so", "no library")).find("text.so"), std::string::npos);
  EXPECT_NE(refusal("libm.so.6").find("aapi_pgn_init"), std::string::npos);
  EXPECT_NE(refusal(FAKE_PLUGIN_OLD).find("6608"), std::string::npos);
  EXPECT_NE(refusal(FAKE_PLUGIN_GAP).find("entry point 38 of 38"), std::string::npos);
}

}  // namespace
