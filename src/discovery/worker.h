// The workers among which machines are dealt out: one workload file for each worker and backup stream.
#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "aapi/wkldfile.h"
#include "src/base/status.h"

namespace azurestackpi {

struct WorkloadFileCloser {
  void operator()(wkldfile_handle_s* handle) const { close_wkld_file(handle); }
};
/// Closes without a flush.
using WorkloadFilePtr = std::unique_ptr<wkldfile_handle_s, WorkloadFileCloser>;

/// One stream of one worker.
struct Worker {
  std::string name;
  std::uint32_t stream = 1;
  WorkloadFilePtr file;           // none until the worker gets its first machine
  std::set<std::string> parents;  // directories already in the file
};

/// Most streams of a worker.
inline constexpr std::uint32_t kMostStreams = 8;

/// Every stream of every worker, in the order in which machines are dealt out: first the first streams of all workers,
/// the last-named worker first, then the second streams, and so on.
std::vector<Worker> MakeWorkers(const std::vector<std::string>& names, std::uint32_t streams);

/// Writes every ancestor directory of the path that the set does not hold yet into the file, the shortest first, and
/// remembers it. "/" is none, nor is the path itself. Returns 0 or the errno value of a failed write.
int add_parents(std::set<std::string>& parents, wkldfile_handle_s& file, const std::string& path);

}  // namespace azurestackpi
