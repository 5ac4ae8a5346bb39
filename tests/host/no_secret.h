// Looks for the secrets of a simulated Azure Stack where none may be.
#pragma once

#include <string>
#include <vector>

#include "sim/simulator.h"
#include "sim/world.h"

namespace host_test {

/// A test failure for each secret in the text: those of the world, as they are and as they travel, and the tokens of
/// the requests sent.
void expect_no_secret(const std::string& text, const sim::World& world, const std::vector<sim::RecordedRequest>& sent);

}  // namespace host_test
