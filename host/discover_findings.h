// What a discovery left out and why it failed, read out of its status and the plug-in's log lines: machines that cannot
// be protected, and lists that cannot be read, do not change the status.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/check_findings.h"
#include "host/session.h"

namespace host {

/// Something that is not protected, and why.
struct LeftOut {
  std::string what;
  std::string why;
};

struct DiscoveryFindings {
  std::vector<LeftOut> refused;        // machines that cannot be protected, by path; each once
  std::vector<LeftOut> filtered;       // machines that the configuration's filter keeps out
  std::vector<LeftOut> unsnapshotted;  // machines, some of whose snapshots could not be taken
  std::vector<LeftOut> unlisted;  // lists that could not be read, or not to their end: what stands there is not known
  bool snapshots_forbidden = false;      // because the login may not
  std::optional<std::uint64_t> written;  // machines that the plug-in says it wrote; none: it did not get to its end
  std::map<std::string, std::uint64_t> disk_sizes;  // gigabytes by the disk's path, as far as they are known
  std::string last_scan_error;                      // of the part that writes the workload files; empty: none
};

DiscoveryFindings read_discovery_findings(const std::vector<LogLine>& lines);

/// True for the lines below level 4 that the functions here need.
bool is_discovery_evidence(std::string_view line);

/// Judges a failed discovery (status is not 0), as judge_query does a failed property query.
Finding judge_discovery(std::uint32_t status, const std::vector<std::string>& lines, std::string_view server);

}  // namespace host
