// The body of a PUT of a machine.
#pragma once

#include "sim/scope.h"

namespace sim {

/// The machine that the request asks for, made of disks and interfaces that are there already. What a request does not
/// tell (vm id, power state) is left at its default, and the world stays as it is. `name` is the machine's, which may
/// be the owner of these resources already. Throws Refusal for what the compute provider refuses, and BlobError.
Machine requested_machine(Cloud& cloud, const GroupScope& scope, const Call& call, const std::string& name);

}  // namespace sim
