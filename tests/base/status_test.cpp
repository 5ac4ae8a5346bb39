#include "src/base/status.h"

#include <gtest/gtest.h>

namespace {

using azurestackpi::Status;
using azurestackpi::StatusText;

TEST(StatusText, HoldsItsRangesExactly) {
  const std::vector<std::pair<Status, std::string>> cases = {
      {0, "OK"},
      {6599, ""},
      {6600, "OK"},
      {6601, "One or more of the input parameters or arguments are invalid."},
      {6797, "Unable to find the resource."},
      {6798, "Status 6798 of the host framework."},
      {6799, ""},
      {7623, ""},
      {3199, ""},
      {3200, "Status 3200 of the host framework."},
      {3346, "Optional threshold is not specified."},
      {3347, ""},
      {4223, ""},
      {95, ""},
      {6011, ""},
      {0xffffffff, ""},
  };
  for (const auto& [status, text] : cases) {
    EXPECT_EQ(StatusText(status), text) << status;
  }
}

TEST(StatusText, IsThereForEveryStatusThatIsReturned) {
  for (const Status status :
       {6601u, 6602u, 6608u, 6609u, 6610u, 6612u, 6613u, 6614u, 6617u, 6619u, 6622u, 6625u, 6626u,
        6629u, 6630u, 6646u, 6658u, 6661u, 6662u, 6777u, 6778u, 6779u, 6780u, 6781u, 6782u, 6783u,
        6784u, 6785u, 6786u, 6787u, 6788u, 6789u, 6790u, 6791u, 6792u, 6793u, 6794u, 6795u, 6797u}) {
    EXPECT_EQ(StatusText(status).find(std::to_string(status)), std::string::npos) << StatusText(status);
    EXPECT_GT(StatusText(status).size(), 10u) << status;
  }
}

}  // namespace
