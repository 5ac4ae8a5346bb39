#include "src/base/process_state.h"

#include <gmock/gmock.h>

#include "src/base/logging.h"

namespace {

using azurestackpi::ProcessStateNames;
using azurestackpi::ProcessValue;
using azurestackpi::ResetProcessState;

TEST(ProcessState, ResetPutsEveryValueBack) {
  const aapi_session_def_v1_t session{};
  azurestackpi::setGlobalSessionDef(&session);
  ProcessValue<std::vector<int>> numbers("numbers of a test");
  numbers->push_back(3);
  ResetProcessState();
  EXPECT_TRUE(numbers->empty());
  EXPECT_EQ(azurestackpi::getGlobalSessionDef(), nullptr);
}

TEST(ProcessState, AValueThatEndsLeavesTheList) {
  const std::vector<std::string> before = ProcessStateNames();
  {
    const ProcessValue<int> outer("outer");
    { const ProcessValue<int> inner("inner"); }
    EXPECT_THAT(ProcessStateNames(), testing::Contains("outer"));
    EXPECT_THAT(ProcessStateNames(), testing::Not(testing::Contains("inner")));
  }
  EXPECT_EQ(ProcessStateNames(), before);
  ResetProcessState();
}

}  // namespace
