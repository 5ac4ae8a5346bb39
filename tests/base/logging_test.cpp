#include "src/base/logging.h"

#include <gtest/gtest.h>

#include "src/base/process_state.h"
#include "tests/support/fresh_state.h"
#include "tests/support/log_transcript.h"

namespace {

using azurestackpi::kLongestLine;
using azurestackpi::LogMsg;

class Log : public testing::Test {
 protected:
  test_support::FreshState fresh;
  test_support::LogTranscript log;
};

TEST_F(Log, ALineCarriesTagNameTextAndLevel) {
  LogMsg(&log.session(), 3, "Function", "%s has %d", "100%s", 5);
  const std::vector<test_support::LogLine> expected = {{"v1.0 2017_03 AzureStack Plugin", "Function: 100%s has 5", 3}};
  EXPECT_EQ(log.lines(), expected);
}

TEST_F(Log, NothingWithoutSessionCallbackFunctionOrFormat) {
  const char* const none = nullptr;
  aapi_session_def_v1_t silent{};
  LogMsg(nullptr, 3, "Function", "text");
  LogMsg(&silent, 3, "Function", "text");
  LogMsg(&log.session(), 3, none, "text");
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  LogMsg(&log.session(), 3, "Function", none);
#pragma GCC diagnostic pop
  EXPECT_EQ(log.text(), "");
}

TEST_F(Log, NothingBeforeAServerWasOpened) {
  azurestackpi::ResetProcessState();
  azurestackpi::FunctionLog("Function").error("text");
  EXPECT_EQ(log.text(), "");
}

// Every length around the two bounds: what a line fits the stack with, and the longest that there is.
TEST_F(Log, LongLinesStandWholeUpToTheBound) {
  const std::string prefix = "Function: ";
  for (const std::size_t length :
       {std::size_t{1022}, std::size_t{1023}, std::size_t{1024}, std::size_t{1025}, std::size_t{100000},
        kLongestLine - 2, kLongestLine - 1, kLongestLine, kLongestLine + 1, 2 * kLongestLine}) {
    log.clear();
    const std::string text = std::string(length - prefix.size() - 1, 'x') + "e";
    LogMsg(&log.session(), 1, "Function", "%s", text.c_str());
    ASSERT_EQ(log.lines().size(), 1u);
    EXPECT_EQ(log.lines()[0].text, (prefix + text).substr(0, kLongestLine - 1)) << length;
  }
}

TEST_F(Log, StorageMessagesAreTextsAtTheirLevel) {
  const std::vector<std::pair<std::uint32_t, std::uint32_t>> levels = {{0, 5}, {1, 1}, {2, 2}, {3, 3},
                                                                       {4, 4}, {5, 5}, {6, 5}, {0xffffffff, 5}};
  for (const auto& [given, logged] : levels) {
    log.clear();
    azurestackpi::AzureStorageWrapperLog(given, "100% %s%n%d%");
    EXPECT_EQ(log.text(), std::to_string(logged) + " AzureStorageWrapperLog: 100% %s%n%d%\n") << given;
  }
  azurestackpi::AzureStorageWrapperLog(4, nullptr);
}

}  // namespace
