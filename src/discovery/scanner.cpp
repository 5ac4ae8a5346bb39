#include "src/discovery/scanner.h"

#include <algorithm>
#include <cerrno>
#include <map>
#include <set>

#include "src/base/logging.h"
#include "src/base/text.h"
#include "src/config/config.h"
#include "src/discovery/machine_records.h"
#include "src/discovery/snapshot_phase.h"
#include "src/model/azurestack_storagekeys.h"

namespace azurestackpi {
namespace {

constexpr std::size_t kLongestPath = 65535;
constexpr std::size_t kLongestFileName = 1023;

class Scan {
 public:
  explicit Scan(fs_scanner_s& scanner) : scanner_(scanner), snapshot_record_("snapshot_name=" + scanner.snapshot_id) {}

  void Run() {
    log_.flow("entering");
    if (!ScanEntries()) {
      return;
    }
    if (take_snapshots_) {
      SnapshotMachines(*scanner_.server, *scanner_.snapshots, scanner_.snapshot_id, CopyDisks());
    }
    CompleteFiles();
    LogStatistics();
  }

 private:
  // Each of these returns false when the scan is to end.
  bool ScanEntries() {
    for (const ScanEntry& entry : scanner_.scan_list) {
      for (const auto& group : entry.machines->resource_groups()) {
        ++scanner_.statistics.resource_groups;
        if (group->m_vm && !ScanGroup(entry.subscription, *group->m_vm)) {
          return false;
        }
      }
      ReadSnapshotSetting();
    }
    return true;
  }

  bool ScanGroup(const std::string& subscription, const azurevm& group) {
    const auto& machines = group.vm_details();
    return std::all_of(machines.begin(), machines.end(),
                       [&](const auto& machine) { return ScanMachine(subscription, *machine); });
  }

  bool ScanMachine(const std::string& subscription, const vm_details_t& vm) {
    const std::string path = MachinePath(subscription, vm);
    if (!seen_.insert(ToLower(path)).second) {
      log_.detail("Duplicate entry found for vm %s, skipping", path.c_str());
      return true;
    }
    const std::vector<MachineRecord> records = MakeMachineRecords(subscription, vm);
    if (std::any_of(records.begin(), records.end(),
                    [](const MachineRecord& record) { return record.path.size() > kLongestPath; })) {
      log_.error("VM %s is not protected: a path of it is longer than %zu bytes", path.c_str(), kLongestPath);
      return true;
    }
    Worker& worker = scanner_.workers[turn_];
    if (!OpenFile(worker) || !WriteMachine(worker, records)) {
      return false;
    }
    Count(vm);
    written_.emplace(path, &vm);
    turn_ = (turn_ + 1) % scanner_.workers.size();
    return true;
  }

  // The worker's file, made when its first machine comes.
  bool OpenFile(Worker& worker) {
    if (worker.file) {
      return true;
    }
    const std::string name = scanner_.output_directory + "/" + worker.name + "." + scanner_.output_suffix + "." +
                             std::to_string(worker.stream);
    log_.flow("Creating workload file = %s", name.c_str());
    // A cut name would be the file of another stream.
    worker.file.reset(name.size() > kLongestFileName ? nullptr : create_wkld_file(name.c_str()));
    if (!worker.file) {
      log_.error("Failed to open %s", worker.name.c_str());
      return false;
    }
    worker.file->cursor = worker.file->buffer;
    worker.file->room = sizeof(worker.file->buffer);
    return true;
  }

  bool WriteMachine(Worker& worker, const std::vector<MachineRecord>& records) {
    log_.detail("fullpath:%s", snapshot_record_.c_str());
    return Write(*worker.file, snapshot_record_) &&
           std::all_of(records.begin(), records.end(),
                       [&](const MachineRecord& record) { return WriteRecord(worker, record); });
  }

  bool WriteRecord(Worker& worker, const MachineRecord& record) {
    for (const std::string& note : record.notes) {
      log_.detail("%s", note.c_str());
    }
    if (record.with_parents) {
      if (const int failure = add_parents(worker.parents, *worker.file, record.path); failure != 0) {
        log_.error("add_parents failed for %s failed, errno : %d, retval : %d", record.path.c_str(), errno, failure);
        return false;
      }
    }
    log_.detail("fullpath:%s", record.path.c_str());
    return Write(*worker.file, record.path);
  }

  bool Write(wkldfile_handle_s& file, const std::string& text) { return Told(file, text.c_str()) == 0; }

  // Writes the text, null for a flush; a failure is told.
  int Told(wkldfile_handle_s& file, const char* text) {
    const int failure = wkldfile_write_record(&file, text, 0, 0);
    if (failure != 0) {
      log_.error("wkldfile_write_record failed for %s failed, errno : %d, retval : %d", file.path, errno, failure);
    }
    return failure;
  }

  void Count(const vm_details_t& vm) {
    ScanStatistics& statistics = scanner_.statistics;
    ++statistics.machines;
    ++(vm.m_is_managed ? statistics.managed_machines : statistics.unmanaged_machines);
    const auto data_disks = static_cast<std::int64_t>(DisksOf(vm).size()) - 1;
    statistics.disks += 1 + data_disks * data_disks;
    statistics.configured_size += static_cast<std::uint64_t>(vm.m_storage_profile.m_os_disk.m_disk_size_gb);
    for (const vm_data_disks_t& disk : vm.m_storage_profile.m_data_disks) {
      statistics.configured_size += static_cast<std::uint64_t>(disk.m_disk_size_gb);
    }
  }

  // The snapshots complete the records that they are given.
  MachineDisks CopyDisks() const {
    MachineDisks disks;
    for (const auto& [path, vm] : written_) {
      for (const DiskOwner* const disk : DisksOf(*vm)) {
        disks[path].push_back(*disk);
      }
    }
    return disks;
  }

  void ReadSnapshotSetting() {
    take_snapshots_ = IsYes(AzureStackPi_Config::getInstance().ConfValueOr("VM_SNAPSHOT_IN_DISCOVERY", "true"));
    if (take_snapshots_) {
      // A failure is logged there, and again by every snapshot that needs a key.
      static_cast<void>(azurestack_storagekeys::createInstance(scanner_.server));
    }
  }

  // One file that fails leaves the files of the workers behind it incomplete.
  void CompleteFiles() {
    for (Worker& worker : scanner_.workers) {
      if (worker.file && !CompleteFile(worker)) {
        return;
      }
    }
  }

  bool CompleteFile(Worker& worker) {
    if (Told(*worker.file, nullptr) != 0) {
      return false;
    }
    const std::string path = worker.file->path;
    const int failure = close_wkld_file(worker.file.release());
    if (failure != 0) {
      log_.error("close_wkld_file failed for %s failed, errno : %d, retval : %d", path.c_str(), errno, failure);
    }
    return failure == 0;
  }

  void LogStatistics() {
    const ScanStatistics& s = scanner_.statistics;
    log_.detail("*** Azure Stack discovery scanner stats *** ");
    log_.detail("Total RGs scanned: %ld", s.resource_groups);
    log_.detail("Total VMs scanned: %ld, Total Managed VMs scanned: %ld Total Unmanaged VMs scanned: %ld", s.machines,
                s.managed_machines, s.unmanaged_machines);
    log_.detail("Total disks scanned: %ld", s.disks);
    log_.detail("Total configured size of scanned disks: %ld", static_cast<long>(s.configured_size));
    if (s.disks == 0 && s.configured_size == 0) {
      log_.error("There is no data available for protection that satisfies the filter conditions and configurations");
    }
  }

  const FunctionLog log_{"run_scanner"};
  fs_scanner_s& scanner_;
  const std::string snapshot_record_;
  std::set<std::string> seen_;                          // lower-cased paths of machines
  std::map<std::string, const vm_details_t*> written_;  // by path; owned by the scan list
  std::size_t turn_ = 0;                                // index of the worker that gets the next machine
  bool take_snapshots_ = false;
};

}  // namespace

Status run_scanner(fs_scanner_s& scanner) {
  Scan(scanner).Run();
  return kOk;
}

}  // namespace azurestackpi
