#include "src/api/entry_frame.h"

#include <gtest/gtest.h>

#include <new>
#include <stdexcept>

#include "tests/support/log_transcript.h"

namespace {

using azurestackpi::FunctionLog;
using azurestackpi::RunEntryPoint;
using azurestackpi::Status;

class Frame : public testing::Test {
 protected:
  test_support::LogTranscript log;
};

TEST_F(Frame, TurnsExceptionsIntoAStatusAndALine) {
  EXPECT_EQ(RunEntryPoint({"f"}, {this},
                          [](const FunctionLog&) -> Status { throw std::runtime_error("100%s lost: password=pw;"); }),
            6622u);
  EXPECT_EQ(RunEntryPoint({"g", "entering"}, {}, [](const FunctionLog&) -> Status { throw 1; }), 6622u);
  EXPECT_EQ(log.text(),
            "3 f: enter\n5 f: Exception thrown: 100%s lost: password=******;\n3 f: returning rc: 6622\n"
            "3 g: entering\n5 g: Unknown exception\n3 g: returning rc: 6622\n");
}

TEST_F(Frame, NeverRunsABodyWithoutItsArguments) {
  bool ran = false;
  EXPECT_EQ(RunEntryPoint({"f"}, {this, nullptr},
                          [&](const FunctionLog&) -> Status {
                            ran = true;
                            return 0;
                          }),
            6601u);
  EXPECT_FALSE(ran);
  EXPECT_EQ(log.text(), "");
}

}  // namespace
