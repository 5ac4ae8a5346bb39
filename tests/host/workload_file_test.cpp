// Workload files as bytes, and the machines that their records make up.
#include "host/workload_file.h"

#include <gmock/gmock.h>

#include "host/machine_list.h"
#include "tests/support/temporary_directory.h"

namespace {

using host::Machine;
using host::MachineList;
using host::WorkloadError;
using testing::ElementsAre;
using testing::HasSubstr;
using namespace std::string_literals;

std::string length_of(std::uint64_t length) { return {reinterpret_cast<const char*>(&length), sizeof length}; }

std::string record(const std::string& text) { return length_of(text.size() + 1) + text + "\0"s; }

struct Reading {
  std::vector<std::string> texts;
  std::string failure;
};

Reading read(const std::string& bytes) {
  const test_support::TemporaryDirectory folder;
  Reading reading;
  try {
    host::read_workload_file(folder.write_file("w", bytes), [&](auto text) { reading.texts.emplace_back(text); });
  } catch (const WorkloadError& error) {
    reading.failure = error.what();
  }
  return reading;
}

TEST(WorkloadFile, HandsOutItsTextsInOrder) {
  EXPECT_THAT(read("").texts, ElementsAre());
  const std::string longest(1048567, 'x');
  const Reading reading = read(record("/a b/\"$(c)") + record("") + record(longest) + record("/ü\n"));
  EXPECT_EQ(reading.failure, "");
  EXPECT_THAT(reading.texts, ElementsAre("/a b/\"$(c)", "", longest, "/ü\n"));
}

TEST(WorkloadFile, RefusesWhatNoDiscoveryWrites) {
  const std::string good = record("/s");
  const std::vector<std::pair<std::string, std::string>> cases = {
      {good.substr(0, 3), "breaks off"},
      {good.substr(0, 8), "breaks off"},
      {good.substr(0, good.size() - 1), "breaks off"},
      {length_of(1048568) + "/s", "breaks off"},
      {length_of(0), "length"},
      {length_of(1048569) + std::string(1048569, '\0'), "length"},
      {length_of(~std::uint64_t{0}) + "/s\0"s, "length"},
      {length_of(3) + "/s/", "no text"},
      {length_of(4) + "/\0s\0"s, "no text"},
      {"{\"machines\": [1, 2, 3]}", "length"},
  };
  for (const auto& [bytes, why] : cases) {
    const Reading reading = read(good + bytes);
    EXPECT_THAT(reading.failure, HasSubstr(why)) << bytes.substr(0, 20);
    EXPECT_THAT(reading.failure, HasSubstr("at byte " + std::to_string(good.size())));
    EXPECT_THAT(reading.texts, ElementsAre("/s"));
  }
  EXPECT_THROW(host::read_workload_file("/absent", [](auto) {}), WorkloadError);
  EXPECT_THROW(host::read_workload_file("/tmp", [](auto) {}), WorkloadError);
}

// What a discovery writes of one machine besides its disks; the folders above an entry come before it.
void add_machine(MachineList& list, const std::string& path, const std::vector<std::string>& disks) {
  for (const char* entry : {"", "/Metadata", "/Metadata/UseManagedDisk=Yes", "/Metadata/StagingStorageAccount="}) {
    list.add(path + entry);
  }
  const std::string folder = path + "/";
  for (const std::string& disk : disks) list.add(folder + disk);
  for (const char* entry : {"/Metadata/BootDiagnostics=Off", "/Metadata/Size=A1",
                            "/Metadata/PowerState=", "/Metadata/Key1=value", "/Metadata/VmName=x"}) {
    list.add(path + entry);
  }
}

TEST(MachineList, GroupsTheRecordsOfSeveralFiles) {
  MachineList list;
  list.add("snapshot_name=1700000000");
  for (const char* folder : {"/s2", "/s2/g"}) list.add(folder);
  add_machine(list, "/s2/g/a", {"acct.blob.r.d:10000", "acct.blob.r.d:10000/vhds", "acct.blob.r.d:10000/vhds/o.vhd"});
  list.add("snapshot_name=1700000000");
  add_machine(list, "/S1/G/b", {"ManagedDisks:", "ManagedDisks:/G", "ManagedDisks:/G/os", "ManagedDisks:P/h/data"});
  add_machine(list, "/s1/g/a=b c", {"ManagedDisks:P/g/os"});
  const std::vector<Machine> machines = list.take();
  ASSERT_EQ(machines.size(), 3U);
  for (const Machine& machine : machines) EXPECT_EQ(machine.problem, "") << machine.path;
  EXPECT_EQ(machines[0].name, "a=b c");
  EXPECT_EQ(machines[1].path, "/S1/G/b");
  ASSERT_EQ(machines[1].disks.size(), 2U);
  EXPECT_EQ(std::get<host::ManagedDisk>(machines[1].disks[0].source).storage_type, "");
  EXPECT_EQ(std::get<host::ManagedDisk>(machines[1].disks[1].source).resource_group, "h");
  EXPECT_EQ(machines[1].disks[1].path, "/S1/G/b/ManagedDisks:P/h/data");
  EXPECT_EQ(machines[1].size, "A1");
  ASSERT_EQ(machines[2].disks.size(), 1U);
  const auto& vhd = std::get<host::Vhd>(machines[2].disks[0].source);
  EXPECT_EQ(vhd.account() + "|" + vhd.host + "|" + vhd.container + "|" + vhd.blob,
            "acct|acct.blob.r.d:10000|vhds|o.vhd");
}

TEST(MachineList, TakesTheWholeOfAValueWithSlashes) {
  MachineList list;
  for (const char* path :
       {"/s/g/m/Metadata/Subnet=a", "/s/g/m/Metadata/Subnet=a/b", "/s/g/m/Metadata/Subnet=a/b=c/d"}) {
    list.add(path);
  }
  EXPECT_EQ(list.take()[0].subnet, "a/b=c/d");
}

TEST(MachineList, TellsWhatCannotBeBackedUp) {
  MachineList list;
  add_machine(list, "/s/g/1-folder", {"h/vhds/os.vhd", "h/vhds/new", "h/vhds/new/data.vhd"});
  add_machine(list, "/s/g/2-diskless", {});
  list.add("/s/g/3-torn/h/vhds/os.vhd");
  const std::vector<Machine> machines = list.take();
  ASSERT_EQ(machines.size(), 3U);
  EXPECT_THAT(machines[0].problem, HasSubstr("h/vhds/new/data.vhd"));
  EXPECT_EQ(machines[0].disks.size(), 1U);
  EXPECT_THAT(machines[1].problem, HasSubstr("not complete"));
  EXPECT_THAT(machines[2].problem, HasSubstr("not complete"));
  for (const char* garbage : {"", "s/g/m", "snapshot"}) EXPECT_THROW(list.add(garbage), WorkloadError) << garbage;
}

}  // namespace
