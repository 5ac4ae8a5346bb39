// The plug-in's process-wide state as it is right after loading, for one test.
#pragma once

#include "src/base/process_state.h"

namespace test_support {

class FreshState {
 public:
  FreshState() { azurestackpi::ResetProcessState(); }
  ~FreshState() { azurestackpi::ResetProcessState(); }
  FreshState(const FreshState&) = delete;
  FreshState& operator=(const FreshState&) = delete;
};

}  // namespace test_support
