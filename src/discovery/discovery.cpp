#include "src/discovery/discovery.h"

#include <algorithm>
#include <memory>
#include <new>
#include <vector>

#include "aapi/wkldfile.h"
#include "src/base/logging.h"
#include "src/base/text.h"
#include "src/config/number_setting.h"
#include "src/discovery/scanner.h"
#include "src/model/resource_calls.h"

namespace azurestackpi {
namespace {

constexpr std::size_t kLongestName = 511;

std::uint32_t StreamCount(const FunctionLog& log) {
  const long wanted = NumberSetting("NO_OF_BACKUP_STREAMS_PER_NODE", 1);
  const long streams = std::clamp(wanted, 1L, static_cast<long>(kMostStreams));
  log.detail("No of Backup streams : %d", static_cast<int>(streams));
  return static_cast<std::uint32_t>(streams);
}

std::vector<std::string> WorkerNames(const FunctionLog& log, const std::string& proxyclients) {
  std::vector<std::string> names;
  for (const std::string& name : SplitText(proxyclients, ' ')) {
    if (name.empty()) {
      continue;
    }
    if (!IsPathSegment(name)) {
      log.error("The worker %s cannot be part of a file's name and is not used", name.c_str());
      continue;
    }
    if (std::find(names.begin(), names.end(), name) != names.end()) {
      // Two workers of one name would write over each other in one file.
      log.error("The worker %s is named twice and is used once", name.c_str());
      continue;
    }
    log.detail("Workername configured in policy: %s", name.c_str());
    names.push_back(name);
  }
  return names;
}

bool HasMachines(const ScanList& list) {
  return std::any_of(list.begin(), list.end(), [](const ScanEntry& entry) {
    const auto& groups = entry.machines->resource_groups();
    return std::any_of(groups.begin(), groups.end(),
                       [](const auto& group) { return group->m_vm && !group->m_vm->vm_details().empty(); });
  });
}

// Cut, either would name something else.
Status CheckLengths(const FunctionLog& log, const DiscoveryRequest& request) {
  if (request.outfilesuffix.size() > kLongestName || request.snapid.size() > kLongestName) {
    log.error("The file suffix or the snapshot id is longer than %zu bytes", kLongestName);
    return kInvalidArgument;
  }
  return kOk;
}

Status PrepareWorkers(const FunctionLog& log, const DiscoveryRequest& request, fs_scanner_s& scanner) {
  const std::uint32_t streams = StreamCount(log);
  if (const int status = create_out_dir(request.wkldoutdir.c_str()); status != 0) {
    log.detail("Failed to create directory %s", request.wkldoutdir.c_str());
    log.detail("Error during create_worker_list, rc: %d", status);
    return static_cast<Status>(status);
  }
  scanner.workers = MakeWorkers(WorkerNames(log, request.proxyclients), streams);
  return kOk;
}

Status Discover(const FunctionLog& log, const DiscoveryRequest& request, fs_scanner_s& scanner) {
  if (const Status status = CheckLengths(log, request); status != kOk) {
    return status;
  }
  if (const Status status = PrepareWorkers(log, request, scanner); status != kOk) {
    return status;
  }
  if (const Status status = create_azurestack_scanlist(scanner.scan_list, *scanner.server, request.selections);
      status != kOk) {
    return status;
  }
  if (scanner.workers.empty() && HasMachines(scanner.scan_list)) {
    log.error("There is no worker to protect the selected machines");
    return kInvalidArgument;
  }
  return run_scanner(scanner);
}

// Null when there is no memory for it.
std::unique_ptr<fs_scanner_s> MakeScanner(aapi_pgn_server_handle_s& server, const DiscoveryRequest& request,
                                          DiskSnapshots& snapshots) {
  try {
    auto scanner = std::make_unique<fs_scanner_s>();
    scanner->output_directory = request.wkldoutdir;
    scanner->output_suffix = request.outfilesuffix;
    scanner->snapshot_id = request.snapid;
    scanner->server = &server;
    scanner->snapshots = &snapshots;
    return scanner;
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

}  // namespace

Status azurestackpi_impl_discovery(aapi_pgn_server_handle_s& server, const DiscoveryRequest& request,
                                   DiskSnapshots& snapshots) {
  const FunctionLog log(__func__);
  log.detail("entering: selections: %s, proxyclients: %s, wkldoutdir: %s, outfilesuffix: %s, schedtype: %s, snapid: %s",
             request.selections.c_str(), request.proxyclients.c_str(), request.wkldoutdir.c_str(),
             request.outfilesuffix.c_str(), request.schedtype.c_str(), request.snapid.c_str());
  const std::unique_ptr<fs_scanner_s> scanner = MakeScanner(server, request, snapshots);
  if (!scanner) {
    log.error("memory allocation error");
    return kOutOfMemory;
  }
  const Status status = Discover(log, request, *scanner);
  log.detail("returning rc: %d", static_cast<int>(status));
  return status;
}

}  // namespace azurestackpi
