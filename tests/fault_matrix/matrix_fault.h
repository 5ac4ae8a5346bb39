// The ways in which a service fails in the fault matrix.
#pragma once

#include <cstdint>
#include <vector>

#include "sim/fault.h"
#include "tests/azurite/proxy_fault.h"

namespace fault_matrix {

struct MatrixFault {
  const char* name = nullptr;
  sim::FaultAction management = {};  // of Resource Manager and the login authority
  azurite::ProxyAction blobs = {};
  bool blobs_only = false;
  bool of_texts = false;  // JSON and XML, not a disk's data
  /// How many requests in a row get it when the client is to see it once: libcurl repeats a request by itself when a
  /// connection that it had kept is reset.
  std::uint64_t once = 1;
};

const std::vector<MatrixFault>& MatrixFaults();

}  // namespace fault_matrix
