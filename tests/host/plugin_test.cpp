#include "host/plugin.h"

#include <gmock/gmock.h>

#include "host/errors.h"
#include "tests/support/temporary_directory.h"

namespace {

TEST(Plugin, IsLoadedOrRefusedWithWhatItLacks) {
  EXPECT_EQ(host::Plugin(FAKE_PLUGIN).version(), "fake 1");
  const test_support::TemporaryDirectory folder;
  const std::vector<std::pair<std::string, std::string>> cases = {
      {folder.path("absent.so"), "absent.so"},
      {folder.write_file("text.so", "no library"), "text.so"},
      {"libm.so.6", "aapi_pgn_init"},
      {FAKE_PLUGIN_OLD, "6608"},
      {FAKE_PLUGIN_GAP, "entry point 38 of 38"}};
  for (const auto& [path, words] : cases) {
    EXPECT_THAT([path = path] { host::Plugin{path}; },
                testing::ThrowsMessage<host::PluginError>(testing::HasSubstr(words)));
  }
}

}  // namespace
