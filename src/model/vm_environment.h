// The environment that every request for machines starts from.
#pragma once

#include "src/base/status.h"
#include "src/model/vm_records.h"

namespace azurestackpi {

/// Fills in the API versions and the credentials that the login asks for: the client, and without ADFS its tenant and
/// its secret. Returns 0, or the status of the first of them that the store lacks.
Status PrepareEnvironment(vm_env_t& env);

}  // namespace azurestackpi
