// Discovery through the entry table: what the workload files hold, byte for byte, and what stands in their way.
#include "src/discovery/discovery.h"

#include <algorithm>
#include <cstring>

#include "tests/discovery/file_size_limit.h"
#include "tests/discovery/scripted_snapshots.h"
#include "tests/support/read_file.h"
#include "tests/transport/open_server.h"

namespace discovery_test {
namespace {

using azurestackpi::kOk;
using azurestackpi::Status;
using transport_test::ServerSetup;
using Texts = std::vector<std::string>;

/// A machine as Resource Manager is to describe it; with managed disks unless it says otherwise.
struct Machine {
  std::string name = {};
  std::string group = "rg";
  bool managed = true;
  int data_disks = 0;
  std::string security_group = {};
  std::string boot_uri = {};
  std::string state = "running";
  std::string size = "Standard_D2";
};

std::string Id(const std::string& group, const std::string& kind, const std::string& name) {
  return "/subscriptions/sub/resourceGroups/" + group + "/providers/" + kind + "/" + name;
}

std::string DiskJson(const Machine& vm, const std::string& name, int lun = 0) {
  std::string source = R"("vhd":{"uri":"https://acct.blob.local.example/vhds/)" + name + R"(.vhd"})";
  if (vm.managed) {
    source = R"("managedDisk":{"storageAccountType":"Standard_LRS","id":")" +
             Id("Disks", "Microsoft.Compute/disks", name) + R"("})";
  }
  return R"({"lun":)" + std::to_string(lun) + R"(,"name":")" + name + R"(","diskSizeGB":10,)" + source + "}";
}

std::string MachineJson(const Machine& vm) {
  std::string data_disks;
  for (int i = 0; i < vm.data_disks; ++i) {
    data_disks += (i == 0 ? "" : ",") + DiskJson(vm, vm.name + "-d" + std::to_string(i), i);
  }
  const std::string boot =
      vm.boot_uri.empty() ? R"({"enabled":false})" : R"({"enabled":true,"storageUri":")" + vm.boot_uri + R"("})";
  return R"({"name":")" + vm.name + R"(","id":")" + Id(vm.group, "Microsoft.Compute/virtualMachines", vm.name) +
         R"(","properties":{"vmId":"id-)" + vm.name + R"(","hardwareProfile":{"vmSize":")" + vm.size +
         R"("},"storageProfile":{"osDisk":)" + DiskJson(vm, vm.name + "-os") + R"(,"dataDisks":[)" + data_disks +
         R"(]},"networkProfile":{"networkInterfaces":[{"id":")" +
         Id(vm.group, "Microsoft.Network/networkInterfaces", vm.name + "-nic") +
         R"("}]},"diagnosticsProfile":{"bootDiagnostics":)" + boot +
         R"(},"instanceView":{"statuses":[{"code":"PowerState/)" + vm.state + R"("}]}}})";
}

std::string NicJson(const Machine& vm) {
  const std::string group = R"("networkSecurityGroup":{"id":")" +
                            Id(vm.group, "Microsoft.Network/networkSecurityGroups", vm.security_group) + R"("},)";
  return R"({"properties":{)" + (vm.security_group.empty() ? std::string() : group) +
         R"("ipConfigurations":[{"properties":{"subnet":{"id":")" +
         Id(vm.group, "Microsoft.Network/virtualNetworks", "net1/subnets/front") + R"("}}}]}})";
}

/// The records that a machine has in every file whose other machines are not of its group.
Texts ExpectedRecords(const Machine& vm, const Texts& disks, const std::string& boot) {
  const std::string path = "/sub/" + vm.group + "/" + vm.name;
  const std::string meta = path + "/Metadata/";
  Texts records{"snapshot_name=1700", "/sub",
                "/sub/" + vm.group,   path,
                path + "/Metadata",   meta + "UseManagedDisk=" + (vm.managed ? "Yes" : "No"),
                meta + "SubId=sub",   meta + "StagingStorageAccount="};
  for (const std::string& disk : disks) {
    records.push_back(path);
    records.back().append("/").append(disk);
  }
  for (const std::string& entry : {"BootDiagnostics=" + boot, "RgName=" + vm.group, "Size=" + vm.size,
                                   "PowerState=" + vm.state, std::string("Vnet=net1"), std::string("Subnet=front")}) {
    records.push_back(meta + entry);
  }
  if (!vm.security_group.empty()) {
    records.push_back(meta + "Nsg=" + vm.security_group);
  }
  for (const std::string& entry : {std::string("Key1=value"), std::string("Key2=value"), "VmName=" + vm.name}) {
    records.push_back(meta + entry);
  }
  return records;
}

std::string FileOf(const Texts& records) {
  std::string bytes;
  for (const std::string& record : records) {
    const std::uint64_t length = record.size() + 1;
    std::string number(sizeof(length), '\0');
    std::memcpy(number.data(), &length, sizeof(length));
    bytes += number + record + '\0';
  }
  return bytes;
}

class DiscoveryTest : public transport_test::OpenServer {
 protected:
  DiscoveryTest() {
    setup.config["VM_SNAPSHOT_IN_DISCOVERY"] = "false";
    EXPECT_EQ(Open(setup), kOk);
  }

  void Serve(const std::string& target, const std::string& body, int status = 200) {
    Answer(target, status, {}, body, 1, sim::Fault::forever);
  }
  void ServeDescription(const Machine& vm) {
    Serve("/resourcegroups/" + vm.group + "/.*/virtualMachines/" + vm.name + "[?]", MachineJson(vm));
  }
  void Serve(const Machine& vm) {
    ServeDescription(vm);
    Serve("/networkInterfaces/" + vm.name + "-nic[?]", NicJson(vm));
  }
  /// A resource group and its machines.
  void ServeGroup(const std::string& group, const std::vector<Machine>& machines) {
    std::string list;
    for (const Machine& vm : machines) {
      list += (list.empty() ? R"({"name":")" : R"(,{"name":")") + vm.name + R"("})";
      Serve(vm);
    }
    Serve("/resourcegroups/" + group + "/.*/virtualMachines[?]", R"({"value":[)" + list + "]}");
  }
  Status Discover(const std::string& selections, const std::string& workers = "w") {
    return table->discovery(server, selections.c_str(), workers.c_str(), output.c_str(), "wl", "FULL", "1700");
  }
  void SetUpWith(const std::string& key, const std::string& value) {
    setup.config[key] = value;
    EXPECT_EQ(Open(setup), kOk);
  }
  std::string Bytes(const std::string& name) const { return test_support::read_file(output + "/" + name); }
  /// The machines in a workload file, in their order, separated by blanks.
  std::string MachinesIn(const std::string& name) const {
    const std::string bytes = Bytes(name);
    const std::string marker = "/Metadata/VmName=";
    std::string machines;
    for (std::size_t at = bytes.find(marker); at != std::string::npos; at = bytes.find(marker, at + 1)) {
      machines += (machines.empty() ? "" : " ") + std::string(bytes.c_str() + at + marker.size());
    }
    return machines;
  }
  Texts Files() const {
    Texts names;
    for (const auto& entry : std::filesystem::directory_iterator(output)) {
      names.push_back(entry.path().filename());
    }
    std::sort(names.begin(), names.end());
    return names;
  }

  ServerSetup setup = AadSetup();
  const std::string output = folder.path("work load's $(files)");
};

TEST_F(DiscoveryTest, WorkloadFilesAreWrittenByteForByte) {
  const Machine web{"Web-1", "rg", true, 2, "nsg1", "https://diag.blob.local.example/"};
  const Machine db{"db", "RG.2", false, 1, "", "", "deallocated"};
  ServeGroup("rg", {web});
  Serve(db);
  EXPECT_EQ(Discover("/sub/rg /sub/RG.2/db", "a b"), kOk);
  EXPECT_EQ(Files(), (Texts{"a.wl.1", "b.wl.1"}));
  EXPECT_EQ(Bytes("a.wl.1"), FileOf(ExpectedRecords(web,
                                                    {"ManagedDisks:Standard_LRS", "ManagedDisks:Standard_LRS/Disks",
                                                     "ManagedDisks:Standard_LRS/Disks/Web-1-os",
                                                     "ManagedDisks:Standard_LRS/Disks/Web-1-d0",
                                                     "ManagedDisks:Standard_LRS/Disks/Web-1-d1"},
                                                    "diag")));
  EXPECT_EQ(Bytes("b.wl.1"), FileOf(ExpectedRecords(db,
                                                    {"acct.blob.local.example", "acct.blob.local.example/vhds",
                                                     "acct.blob.local.example/vhds/" + db.name + "-os.vhd",
                                                     "acct.blob.local.example/vhds/" + db.name + "-d0.vhd"},
                                                    "Off")))
      << "the last selection is scanned first, and the last worker is given the first machine";
  EXPECT_TRUE(log.contains(1, "Total VMs scanned: 2, Total Managed VMs scanned: 1 Total Unmanaged VMs scanned: 1"));
  EXPECT_TRUE(log.contains(1, "Total disks scanned: 7"));
  EXPECT_TRUE(log.contains(1, "Total configured size of scanned disks: 50"));
}

TEST_F(DiscoveryTest, MachinesAreDealtOutOverWorkersAndStreams) {
  SetUpWith("NO_OF_BACKUP_STREAMS_PER_NODE", "2");
  ServeGroup("rg", {{"m1"}, {"m2"}, {"m3"}, {"m4"}, {"m5"}});
  EXPECT_EQ(Discover("/sub/rg", " a  b a"), kOk);
  EXPECT_TRUE(log.contains(4, "The worker a is named twice and is used once"));
  EXPECT_EQ(MachinesIn("b.wl.1"), "m1 m5");
  EXPECT_EQ(MachinesIn("a.wl.1"), "m2");
  EXPECT_EQ(MachinesIn("b.wl.2"), "m3");
  EXPECT_EQ(MachinesIn("a.wl.2"), "m4");
  Texts second = ExpectedRecords(
      {"m5"}, {"ManagedDisks:Standard_LRS", "ManagedDisks:Standard_LRS/Disks", "ManagedDisks:Standard_LRS/Disks/m5-os"},
      "Off");
  second.erase(second.begin() + 1, second.begin() + 3);
  const std::string bytes = Bytes("b.wl.1");
  const std::string tail = FileOf(second);
  EXPECT_EQ(bytes.substr(bytes.size() - std::min(bytes.size(), tail.size())), tail)
      << "a directory stands in a file once";
}

TEST_F(DiscoveryTest, AMachineSelectedTwiceIsWrittenOnce) {
  const Machine one{"m1"};
  ServeGroup("rg", {one, {"m2"}});
  Serve("/resourcegroups/RG/.*/virtualMachines/M1[?]", MachineJson(one));
  EXPECT_EQ(Discover("  /sub/rg /sub/RG/M1/  /SUB/rg/m1 ", "a b"), kOk);
  EXPECT_EQ(MachinesIn("b.wl.1"), "m1");
  EXPECT_EQ(MachinesIn("a.wl.1"), "m2") << "a duplicate does not take a turn";
  EXPECT_TRUE(log.contains(1, "Duplicate entry found for vm /sub/rg/m1, skipping"));
}

TEST_F(DiscoveryTest, OneMachineThatCannotBeProtectedTakesNoOtherDown) {
  SetUpWith("VM_STATE", "running");
  Machine huge{"huge"};
  huge.size = std::string(70000, 'x');
  Machine off{"off"};
  off.state = "deallocated";
  ServeGroup("rg", {{"m1"}, huge, {"m2"}});
  ServeDescription(off);
  EXPECT_EQ(Discover("/sub/rg /sub/rg/off"), kOk);
  EXPECT_EQ(MachinesIn("w.wl.1"), "m1 m2");
  EXPECT_TRUE(log.contains(4, "VM /sub/rg/huge is not protected: a path of it is longer than 65535 bytes"));
  EXPECT_TRUE(log.contains(3, "VM /sub/rg/off is not protected: "));
}

TEST_F(DiscoveryTest, SelectionsOfAnotherFormFailTheWholeDiscovery) {
  struct Case {
    const char* selections;
    Status expected;
    const char* line;
  };
  const std::vector<Case> cases{{"sub", 6795, "Incorrect selection entry: sub"},
                                {"/", 6795, "Incorrect selection entry: /"},
                                {"/sub/rg/vm/disk", 6795, "Incorrect selection entry"},
                                {"//rg", 6610, "A subscription must be provided. "},
                                {"", kOk, "There is no data available for protection"},
                                {"   ", kOk, "There is no data available for protection"}};
  for (const Case& c : cases) {
    log.clear();
    EXPECT_EQ(Discover(c.selections), c.expected) << c.selections;
    EXPECT_TRUE(log.contains(4, c.line)) << log.text();
    EXPECT_EQ(Files(), Texts{}) << c.selections;
  }
}

TEST_F(DiscoveryTest, CredentialsAreNeededAsTheLoginAsksForThem) {
  for (const char* const key : {"IdentityProvider", "TenantId", "ClientSecret", "ClientId"}) {
    ServerSetup without = setup;
    without.credentials.erase(key);
    EXPECT_EQ(Open(without), kOk);
    EXPECT_EQ(Discover("/sub/rg"), 6661U) << key;
  }
  EXPECT_TRUE(simulator.requests().empty());
  EXPECT_EQ(Open(AdfsSetup()), kOk);
  ServeGroup("rg", {});
  EXPECT_EQ(Discover("/sub/rg"), kOk) << "no tenant or secret for ADFS";
}

TEST_F(DiscoveryTest, WithoutWorkersMachinesAreRefusedBeforeTheScan) {
  ServeGroup("rg", {{"m1"}});
  EXPECT_EQ(Discover("/sub/rg", " "), 6601U);
  EXPECT_FALSE(log.contains(3, "run_scanner: entering"));
  EXPECT_EQ(Discover("", ""), kOk) << "nothing to protect needs no worker";
}

TEST_F(DiscoveryTest, ADirectoryOrNameThatCannotBeEndsItBeforeAnyRequest) {
  const std::string below_file = folder.write_file("file", "") + "/below";
  const std::string too_long(512, 'x');
  EXPECT_EQ(table->discovery(server, "/sub/rg", "w", below_file.c_str(), "wl", "", "1"), 256U);
  EXPECT_TRUE(log.contains(1, "Failed to create directory " + below_file));
  EXPECT_TRUE(log.contains(1, "Error during create_worker_list, rc: 256"));
  EXPECT_EQ(table->discovery(server, "/sub/rg", "w", nullptr, "wl", nullptr, "1"), 256U);
  EXPECT_EQ(table->discovery(server, "/sub/rg", "w", output.c_str(), too_long.c_str(), "", "1"), 6601U);
  EXPECT_EQ(table->discovery(server, "/sub/rg", "w", output.c_str(), "wl", "", too_long.c_str()), 6601U);
  EXPECT_TRUE(simulator.requests().empty());
}

TEST_F(DiscoveryTest, StreamsAreANumberFromOneToEight) {
  const std::vector<std::pair<const char*, int>> cases{
      {"0", 1}, {"-3", 1}, {"many", 1}, {"3x", 1}, {"", 1}, {"3", 3}, {"8", 8}, {"12", 8}, {"99999999999999999999", 8}};
  for (const auto& [value, streams] : cases) {
    SetUpWith("NO_OF_BACKUP_STREAMS_PER_NODE", value);
    log.clear();
    EXPECT_EQ(Discover("", "w"), kOk);
    EXPECT_TRUE(log.contains(1, "No of Backup streams : " + std::to_string(streams))) << value;
    EXPECT_TRUE(log.contains(3, "Workername: w, stream cntr: " + std::to_string(streams))) << value;
  }
}

std::size_t OpenDescriptors() {
  const std::filesystem::directory_iterator open_ones("/proc/self/fd");
  return static_cast<std::size_t>(std::distance(begin(open_ones), end(open_ones)));
}

TEST_F(DiscoveryTest, AWriteThatFailsMidwayEndsTheScan) {
  std::vector<Machine> machines;
  for (int i = 0; i < 20; ++i) {
    machines.push_back({"m" + std::to_string(i)});
    machines.back().size = std::string(60000, 'x');
  }
  ServeGroup("rg", machines);
  Machine last{"last", "rg2"};
  Serve(last);
  EXPECT_EQ(Discover("/sub/rg2/last"), kOk);
  const std::size_t descriptors = OpenDescriptors();
  const std::string before = Bytes("w.wl.1");
  log.clear();
  {
    const FileSizeLimit limit(0);
    EXPECT_EQ(Discover("/sub/rg2/last /sub/rg"), kOk);
  }
  EXPECT_TRUE(log.contains(4, "run_scanner: wkldfile_write_record failed for " + output +
                                  "/w.wl.1 failed, errno : 27, "
                                  "retval : 27"));
  EXPECT_EQ(Bytes("w.wl.1"), before);
  EXPECT_FALSE(log.contains(1, "Total VMs scanned"));
  EXPECT_FALSE(log.contains(1, "fullpath:/sub/rg2/last/Metadata/VmName=last")) << "the entry after it is not scanned";
  EXPECT_EQ(OpenDescriptors(), descriptors) << "no file is left open";
}

TEST_F(DiscoveryTest, AFlushThatFailsLeavesTheFilesBehindItUnwritten) {
  ServeGroup("rg", {{"m1"}, {"m2"}});
  {
    const FileSizeLimit limit(0);
    EXPECT_EQ(Discover("/sub/rg", "a b"), kOk);
  }
  EXPECT_EQ(Bytes("a.wl.1") + Bytes("b.wl.1"), "");
  EXPECT_TRUE(log.contains(4, "wkldfile_write_record failed for " + output + "/b.wl.1 failed, errno : 27"));
  EXPECT_FALSE(log.contains(4, "wkldfile_write_record failed for " + output + "/a.wl.1"));
  EXPECT_TRUE(log.contains(1, "Total VMs scanned: 2")) << "the scan itself was complete";
}

TEST_F(DiscoveryTest, AFileThatCannotBeMadeEndsTheScan) {
  ServeGroup("rg", {{"m1"}});
  std::filesystem::create_directories(output + "/w.wl.1");
  EXPECT_EQ(Discover("/sub/rg", "w no/such/folder .."), kOk);
  EXPECT_TRUE(log.contains(4, "Failed to open w"));
  EXPECT_TRUE(log.contains(4, "The worker no/such/folder cannot be part of a file's name and is not used"));
  EXPECT_TRUE(log.contains(4, "The worker .. cannot"));
}

TEST_F(DiscoveryTest, SnapshotsAreTakenOfWhatWasWrittenUnlessSwitchedOff) {
  const Machine managed{"m1", "rg", true, 1};
  const Machine unmanaged{"M0", "rg", false, 1};
  ServeGroup("rg", {managed, unmanaged});
  const std::vector<std::pair<const char*, bool>> cases{{"false", false}, {"yes", false}, {"truely", false},
                                                        {"TRUE", true},   {"t", true},    {"", true}};
  for (const auto& [value, taken] : cases) {
    SetUpWith("VM_SNAPSHOT_IN_DISCOVERY", value);
    ScriptedSnapshots snapshots;
    EXPECT_EQ(azurestackpi_impl_discovery(*server, {"/sub/rg", "w", output, "wl", "", "1700"}, snapshots), kOk);
    EXPECT_EQ(snapshots.Names(), taken ? "https://acct.blob.local.example/vhds/M0-os.vhd "
                                         "https://acct.blob.local.example/vhds/M0-d0.vhd " +
                                             Id("Disks", "Microsoft.Compute/disks", "m1-os") + " " +
                                             Id("Disks", "Microsoft.Compute/disks", "m1-d0")
                                       : "")
        << value << ": in the order of the machines' paths";
  }
}

TEST_F(DiscoveryTest, ASnapshotThatFailsDoesNotFailTheDiscovery) {
  setup.config.erase("VM_SNAPSHOT_IN_DISCOVERY");
  EXPECT_EQ(Open(setup), kOk);
  ServeGroup("rg", {{"m1"}});
  EXPECT_EQ(Discover("/sub/rg"), kOk);
  EXPECT_TRUE(
      log.contains(4, "Failed to create snapshot for " + Id("Disks", "Microsoft.Compute/disks", "m1-os") + " disk"));
  EXPECT_EQ(MachinesIn("w.wl.1"), "m1");
  EXPECT_EQ(clock.pauses(), std::vector<std::int64_t>{});
}

}  // namespace
}  // namespace discovery_test
