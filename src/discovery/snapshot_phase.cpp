#include "src/discovery/snapshot_phase.h"

#include <cstdint>
#include <utility>

#include "platform/clock.h"
#include "src/base/logging.h"
#include "src/config/config.h"
#include "src/config/number_setting.h"

namespace azurestackpi {
namespace {

constexpr std::int64_t kFirstPause = 30;  // seconds
constexpr std::int64_t kLongerEachTime = 10;
constexpr long kMostRetries = 3;

// 0, or what the host's keep-alive callback gave to end the work.
Status AskHost(const FunctionLog& log, const aapi_pgn_server_handle_s& server) {
  if (server.session == nullptr || server.session->keepalive == nullptr) {
    return kOk;
  }
  const Status status = server.session->keepalive(log.function());
  if (status != kOk) {
    log.error("Failed to send keepalive %s, ret: %d", log.function(), static_cast<int>(status));
  }
  return status;
}

Status DeletePartiallyCompletedSnapshots(DiskSnapshots& snapshots, const std::string& snapshot_name,
                                         const std::vector<std::string>& uris) {
  const FunctionLog log(__func__);
  log.flow("entering");
  Status status = kOk;
  for (const std::string& uri : uris) {
    log.detail("Delete snapshot for VM disk: %s", uri.c_str());
    status = snapshots.DeleteSnapshot(uri, snapshot_name, kSnapshotTag, send_keepalive_callback);
  }
  return status;
}

void RollBack(const FunctionLog& log, DiskSnapshots& snapshots, const std::string& snapshot_name,
              const std::vector<std::string>& taken) {
  if (taken.empty()) {
    return;
  }
  if (snapshot_name.empty()) {
    // Deleting without a name means all old snapshots, those of other backups too.
    log.error("The snapshots of this VM have no name and are left for the clean-up by age");
    return;
  }
  log.detail("Deleting all successful snapshots for this given VM");
  if (const Status status = DeletePartiallyCompletedSnapshots(snapshots, snapshot_name, taken); status != kOk) {
    log.detail("Failed to delete partially completed snapshots rc :%d", static_cast<int>(status));
  }
}

// The passes over all machines of one discovery.
class Passes {
 public:
  Passes(aapi_pgn_server_handle_s& server, DiskSnapshots& snapshots, const std::string& snapshot_name)
      : server_(server), snapshots_(snapshots), snapshot_name_(snapshot_name) {}

  // Takes the disks of the machines that failed.
  void First(MachineDisks& machines) {
    const FunctionLog log("snapshotVm");
    log.flow("entering");
    for (auto& [path, disks] : machines) {
      last_ = snapshotVmDisks(server_, snapshots_, snapshot_name_, disks);
      const auto rc = static_cast<int>(last_);
      if (last_ == kOk) {
        log.detail(" Snapshot creation for VM successful : %s return status rc: %d", path.c_str(), rc);
      } else {
        log.error("Failed to process Snapshot creation for VM : %s return status rc: %d", path.c_str(), rc);
        failed_.emplace(path, std::move(disks));
      }
    }
  }

  void Retries() {
    const FunctionLog log("retrySnapshotVm");
    log.flow("entering");
    const long limit = RetryLimit();
    log.detail("Default Max retry count configured %d", static_cast<int>(limit));
    std::int64_t pause = kFirstPause;
    for (long count = 1; Retry(log), !failed_.empty() && count < limit; ++count) {
      log.detail("Sleeping for %d secs", static_cast<int>(pause));
      platform::clock().sleep(pause);
      pause += kLongerEachTime;
      log.detail("Done Sleeping");
      log.detail("Retrying snapshot creation for failed VM's");
    }
  }

  bool AnyFailed() const { return !failed_.empty(); }

  void Report(const FunctionLog& log, std::size_t machine_count) const {
    for (const std::string& path : fatal_) {
      log.error("Snapshot creation fatally failed for VM : %s", path.c_str());
    }
    if (last_ == kOk) {
      return;
    }
    log.detail("Snapshot creation failed %d virtual machines", static_cast<int>(failed_.size()));
    if (failed_.size() == machine_count) {
      log.detail("Snapshot creation failed for all virtual machines");
    }
  }

 private:
  static long RetryLimit() {
    const long limit = NumberSetting("SNAPSHOT_RETRY_COUNT", kMostRetries);
    return limit >= 0 && limit <= kMostRetries ? limit : kMostRetries;
  }

  // One pass over the machines that failed; those that may succeed another time stay.
  void Retry(const FunctionLog& log) {
    for (auto machine = failed_.begin(); machine != failed_.end();) {
      const std::string& path = machine->first;
      last_ = snapshotVmDisks(server_, snapshots_, snapshot_name_, machine->second);
      if (last_ != kOk) {
        log.error("Snapshot creation failed for VM : %s", path.c_str());
      }
      if (last_ == kServerBusy) {
        ++machine;
        continue;
      }
      if (last_ != kOk) {
        log.error("non retryable snapshot error detected for VM : %s", path.c_str());
        fatal_.push_back(path);
      }
      machine = failed_.erase(machine);
    }
  }

  aapi_pgn_server_handle_s& server_;
  DiskSnapshots& snapshots_;
  const std::string& snapshot_name_;
  MachineDisks failed_;
  std::vector<std::string> fatal_;
  Status last_ = kOk;  // of the snapshots of one machine
};

}  // namespace

Status snapshotVmDisks(aapi_pgn_server_handle_s& server, DiskSnapshots& snapshots, const std::string& snapshot_name,
                       const DiskList& disks) {
  const FunctionLog log(__func__);
  std::vector<std::string> taken;
  Status status = kOk;
  for (const DiskOwner& disk : disks) {
    if (const Status stop = AskHost(log, server); stop != kOk) {
      return stop;
    }
    if (vm_managed_disk_t* const managed = disk.managed()) {
      log.detail("Creating snapshot for Managed disk: %s", managed->m_disk_id.c_str());
      status =
          snapshots.CreateManagedDiskSnapshot(server, snapshot_name, kSnapshotTag, *managed, nullptr, kLongRequest);
    } else if (const vm_unmanaged_disk_t* const unmanaged = disk.unmanaged()) {
      log.detail("Creating snapshot for VM disk: %s", unmanaged->m_uri.c_str());
      status = snapshots.CreateSnapshot(unmanaged->m_uri, snapshot_name, kSnapshotTag, send_keepalive_callback);
      if (status != kOk) {
        log.error("Snapshot creation failed for VM disk: %s", unmanaged->m_uri.c_str());
        RollBack(log, snapshots, snapshot_name, taken);
        return status;
      }
      taken.push_back(unmanaged->m_uri);
    }
  }
  return status;
}

void SnapshotMachines(aapi_pgn_server_handle_s& server, DiskSnapshots& snapshots, const std::string& snapshot_name,
                      MachineDisks machines) {
  const std::size_t machine_count = machines.size();
  Passes passes(server, snapshots, snapshot_name);
  passes.First(machines);
  if (passes.AnyFailed()) {
    passes.Retries();
  }
  passes.Report(FunctionLog("run_scanner"), machine_count);
}

}  // namespace azurestackpi
