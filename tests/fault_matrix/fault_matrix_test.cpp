// Discovery, backup and restore of the two machines of the demonstration world, each request failing in each way.
#include <algorithm>
#include <map>

#include "sim/blob_accounts.h"
#include "sim/disk_store.h"
#include "sim/vhd_footer.h"
#include "tests/fault_matrix/fault_sweep.h"

namespace fault_matrix {
namespace {

using azurestackpi::kOk;
using azurestackpi::Status;
using backup_test::kMiB;

// Flows that read: nothing of theirs may stay, since the sweep after them deletes what they could not.
class ReadingMatrix : public FaultSweep {
 protected:
  using FaultSweep::FaultSweep;

  void Sweep(const transport_test::Settings& settings) {
    settings_ = settings;
    FaultSweep::Sweep();
  }

  void StartFlow() override {
    snapid_ = std::to_string(clock.now());
    Start(settings_);
  }

  Status PostProcess() { return table->postprocess(server, ("/" + subscription).c_str(), snapid_.c_str()); }

  void CleanUp() override {
    simulator.advance_time(31);  // snapshots that nobody waited for have come into being
    Start({{"VM_SNAPSHOT_IN_DISCOVERY", "true"}});
    EXPECT_EQ(PostProcess(), kOk);
  }

  Texts LeftOver() override {
    Texts left = ManagedSnapshots();
    for (const std::string& id : BlobSnapshots()) left.push_back("the snapshot of a VHD of backup " + id);
    return left;
  }

  std::string snapid_;

 private:
  transport_test::Settings settings_;
};

class DiscoveryMatrix : public ReadingMatrix {
 protected:
  DiscoveryMatrix() : ReadingMatrix("discovery") {}

  void Run() override {
    Note(Discover(snapid_));
    Note(PostProcess());
  }

  std::set<std::string> WholeMachines() override {
    std::set<std::string> whole;
    for (const std::string& machine : {web, db}) {
      const std::size_t count = RecordsWith(machine).size();
      EXPECT_TRUE(count == 0 || !RecordsWith(machine + "Metadata/VmName=").empty()) << "half a machine";
      if (count != 0 && count == expected_.emplace(machine, count).first->second) whole.insert(machine);
    }
    return whole;
  }

 private:
  std::map<std::string, std::size_t> expected_;  // how many paths a machine has, by the unharmed run
};

TEST_F(DiscoveryMatrix, EachRequestFailsInEachWay) { Sweep({{"VM_SNAPSHOT_IN_DISCOVERY", "true"}}); }

class BackupMatrix : public ReadingMatrix {
 protected:
  BackupMatrix() : ReadingMatrix("backup") {}

  void Run() override {
    failed_.clear();
    Note(Discover(snapid_));
    for (const std::string& path : Texts(records)) {
      if (!BackUp(path)) failed_.insert(path.find(web) != std::string::npos ? web : db);
    }
    Note(PostProcess());
  }

  std::set<std::string> WholeMachines() override {
    std::set<std::string> whole;
    for (const std::string& machine : {web, db}) {
      if (!RecordsWith(machine).empty() && failed_.count(machine) == 0) whole.insert(machine);
    }
    return whole;
  }

 private:
  bool BackUp(const std::string& path) {
    if (!Note(Query(path, snapid_))) return false;
    if (info.object_type != AAPI_OBJECT_FILE) return true;
    if (!Note(ReadObject(path, 8 * kMiB))) return false;
    const std::string name = path.substr(path.rfind('/') + 1);
    const auto expected = images_.find(name.substr(0, name.find(".vhd")));
    EXPECT_TRUE(expected == images_.end() || image == expected->second) << path << ": wrong data, and no failure";
    return true;
  }

  const std::map<std::string, std::string> images_{{"web-01-os", ImageOfDisk("web-01-os")},
                                                   {"web-01-data", ImageOfDisk("web-01-data")},
                                                   {"DB-01-os", ImageOfDisk("DB-01-os")}};
  std::set<std::string> failed_;
};

TEST_F(BackupMatrix, EachRequestFailsInEachWay) { Sweep({{"VM_SNAPSHOT_IN_DISCOVERY", "false"}}); }

/// A resource of the simulated cloud, or a blob.
using Things = std::set<std::string>;

class RestoreMatrix : public FaultSweep {
 protected:
  RestoreMatrix() : FaultSweep("restore") {}

  void Prepare() override {
    for (const std::string& machine : {web, db}) objects_[machine] = BackUpMachine(machine);
    blob_client.create_container(account, "vhds");
    originals_ = OriginalDisks();
    table->close_server(server);
    server = nullptr;
  }

  void StartFlow() override {
    ++round_;
    before_ = AllThings();
    StartRestore({{"STAGING_STORAGE_ACCOUNTS", account}});
  }

  void Run() override {
    done_.clear();
    for (const auto& [machine, objects] : objects_) {
      if (Note(GiveBack(objects, {{"VmName", NewName(machine)}}))) done_.insert(machine);
    }
    Note(table->restore_postprocess());
  }

  std::set<std::string> WholeMachines() override {
    for (const std::string& machine : done_) {
      const sim::Machine made = MachineOf(machine, NewName(machine));
      EXPECT_FALSE(made.vm_id.empty()) << NewName(machine) << " is not there, and no failure";
      EXPECT_TRUE(DisksOf(made, GroupOf(machine)) == originals_.at(machine)) << "wrong data, and no failure";
    }
    return done_;
  }

  /// What belongs to a machine that is there needs no line of its own; the machine does when it was not told of.
  Texts LeftOver() override {
    Things expected = before_;
    for (const auto& [machine, objects] : objects_) {
      const sim::Machine made = MachineOf(machine, NewName(machine));
      for (const sim::MachineDisk& disk : AllDisks(made)) {
        if (disk.vhd) expected.insert(disk.vhd->name);
        if (disk.managed_disk) expected.insert(disk.managed_disk->name);
      }
      for (const sim::MachineNic& nic : made.nics) {
        expected.insert(nic.nic.name);
        const auto address = NicOf(machine, nic.nic.name).public_address;
        if (address) expected.insert(address->name);
      }
      if (done_.count(machine) != 0) expected.insert(NewName(machine));
    }
    Texts left;
    const Things now = AllThings();
    std::set_difference(now.begin(), now.end(), expected.begin(), expected.end(), std::back_inserter(left));
    return left;
  }

  void CheckOriginals() override { EXPECT_TRUE(OriginalDisks() == originals_) << "an original disk was changed"; }

  /// A subnet of the simulator has 252 addresses, and a blob service of thousands of blobs is slow.
  void MakeRoom() override {
    simulator.advance_time(31);  // what nobody waited for has been made
    Start({});
    for (const auto& [machine, objects] : objects_) {
      const sim::Machine made = MachineOf(machine, NewName(machine));
      const std::string group_name = GroupOf(machine);
      if (!made.vm_id.empty()) {
        DeleteResource(group_name, "Compute/virtualMachines/" + NewName(machine), "2017-12-01");
      }
      const sim::World now = simulator.world();
      const sim::ResourceGroup& group = now.subscriptions[0].resource_groups.at(group_name);
      for (const auto& [name, nic] : group.nics) {
        if (before_.count(name) == 0) DeleteResource(group_name, "Network/networkInterfaces/" + name, "2017-10-01");
      }
      for (const auto& [name, disk] : group.disks) {
        if (before_.count(name) == 0) DeleteResource(group_name, "Compute/disks/" + name, "2017-03-30");
      }
    }
    for (const std::string& container : {std::string("vhds"), Vhd().container}) {
      for (const std::string& name : BlobNames(container)) {
        if (before_.count(name) == 0) RemoveBlob(container, name);
      }
    }
  }

 private:
  using Images = std::vector<std::string>;

  std::string NewName(const std::string& machine) const {
    return (machine == web ? "web-r" : "DB-r") + std::to_string(round_);
  }
  std::string GroupOf(const std::string& machine) const { return machine == web ? "web-rg" : "Data_RG.1"; }

  sim::NetworkInterface NicOf(const std::string& machine, const std::string& name) const {
    const sim::World now = simulator.world();
    return now.subscriptions[0].resource_groups.at(GroupOf(machine)).nics.at(name);
  }

  sim::Machine MachineOf(const std::string& machine, const std::string& name) const {
    return MachineNow(GroupOf(machine), name);
  }

  static std::vector<sim::MachineDisk> AllDisks(const sim::Machine& machine) {
    std::vector<sim::MachineDisk> disks{machine.os_disk};
    disks.insert(disks.end(), machine.data_disks.begin(), machine.data_disks.end());
    return disks;
  }

  /// What the machine's disks hold, the system's first, but for the footers: the service writes those of its own.
  Images DisksOf(const sim::Machine& machine, const std::string& group) {
    const sim::World now = simulator.world();
    const auto& managed = now.subscriptions[0].resource_groups.at(group).disks;
    Images images;
    for (const sim::MachineDisk& disk : AllDisks(machine)) {
      if (!disk.vhd && !disk.managed_disk) continue;
      const std::string whole =
          ImageOfBlob(disk.vhd ? *disk.vhd : sim::DiskStore::data_blob(managed.at(disk.managed_disk->name).container));
      images.push_back(whole.substr(0, whole.size() - sim::vhd_footer_size));
    }
    return images;
  }

  std::map<std::string, Images> OriginalDisks() {
    return {{web, DisksOf(MachineOf(web, "web-01"), GroupOf(web))}, {db, DisksOf(MachineOf(db, "DB-01"), GroupOf(db))}};
  }

  /// Names of all machines, disks, interfaces, addresses and blobs.
  Things AllThings() {
    Things names;
    const sim::World now = simulator.world();
    for (const auto& [group_name, group] : now.subscriptions[0].resource_groups) {
      for (const auto& [name, machine] : group.machines) names.insert(name);
      for (const auto& [name, disk] : group.disks) names.insert(name);
      for (const auto& [name, nic] : group.nics) names.insert(name);
      for (const auto& [name, address] : group.public_addresses) names.insert(name);
    }
    for (const std::string& container : {std::string("vhds"), Vhd().container}) {
      for (const std::string& name : BlobNames(container)) names.insert(name);
    }
    return names;
  }

  std::map<std::string, std::vector<Object>> objects_;
  std::map<std::string, Images> originals_;
  Things before_;
  std::set<std::string> done_;
  int round_ = 0;
};

TEST_F(RestoreMatrix, EachRequestFailsInEachWay) { Sweep(); }

}  // namespace
}  // namespace fault_matrix
