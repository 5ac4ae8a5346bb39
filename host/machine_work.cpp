#include "host/machine_work.h"

#include <map>
#include <utility>

#include "host/workload_file.h"

namespace host {

namespace {

constexpr std::string_view snapshot_mark = "snapshot_name=";

class WorkReader {
 public:
  void start_file() { snapshot_name_.clear(); }

  void add(std::string_view record) {
    if (record.substr(0, snapshot_mark.size()) == snapshot_mark) {
      snapshot_name_ = record.substr(snapshot_mark.size());
      if (!is_backup_id(snapshot_name_)) throw WorkloadError("a workload file names its snapshots by no time");
      return;
    }
    if (snapshot_name_.empty()) throw WorkloadError("a workload file names no snapshots before its objects");
    list_.add(record);
    const std::string_view machine = machine_part(record);
    if (work_.empty() || work_.back().machine.path != machine) {
      work_.emplace_back().machine.path = machine;
      work_.back().snapshot_name = snapshot_name_;
    }
    work_.back().paths.emplace_back(record);
  }

  std::vector<MachineWork> take() {
    std::map<std::string, Machine> machines;
    for (Machine& machine : list_.take()) machines.emplace(machine.path, std::move(machine));
    for (MachineWork& work : work_) {
      if (work.machine.path.empty()) continue;
      const auto found = machines.extract(work.machine.path);
      if (found.empty()) {
        work.machine.problem = "its records are not complete, or stand in several places";
      } else {
        work.machine = std::move(found.mapped());
      }
    }
    return std::move(work_);
  }

 private:
  MachineList list_;
  std::string snapshot_name_;
  std::vector<MachineWork> work_;
};

}  // namespace

bool is_backup_id(std::string_view text) {
  constexpr std::size_t most_digits = 18;
  return !text.empty() && text.size() <= most_digits && text.find_first_not_of("0123456789") == std::string_view::npos;
}

std::vector<MachineWork> read_machine_work(const std::vector<std::string>& files) {
  WorkReader reader;
  for (const std::string& file : files) {
    reader.start_file();
    read_workload_file(file, [&](std::string_view record) { reader.add(record); });
  }
  return reader.take();
}

}  // namespace host
