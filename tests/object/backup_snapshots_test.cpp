// When a backup's snapshots are taken and when they go, by the settings, and which snapshots are left alone.
#include <strings.h>

#include <algorithm>
#include <cctype>

#include "tests/object/backup_fixture.h"

namespace backup_test {
namespace {

using namespace azurestackpi;

class BackupSnapshotsTest : public BackupTest {
 protected:
  /// "2 1": how many snapshots of web-01's disks and of DB-01's carry the id.
  std::string Counts(const std::string& snapid) {
    const Texts managed = ManagedSnapshots();
    const Texts blobs = BlobSnapshots();
    const auto of_backup = [&](const std::string& name) { return name.find("_" + snapid + "_") != std::string::npos; };
    return std::to_string(std::count_if(managed.begin(), managed.end(), of_backup)) + " " +
           std::to_string(std::count(blobs.begin(), blobs.end(), snapid));
  }

  /// The same, with those that are still being made.
  std::string Asked(const std::string& snapid) {
    const auto requests = ManagementRequests();
    const auto managed = std::count_if(requests.begin(), requests.end(), [&](const sim::RecordedRequest& request) {
      return request.method == "PUT" && request.target.find("_" + snapid + "_BDAZSNAP") != std::string::npos;
    });
    return std::to_string(managed) + Counts(snapid).substr(1);
  }

  std::string MinutesAgo(std::int64_t minutes) { return std::to_string(clock.now() - minutes * 60); }

  Status Postprocess(const std::string& selections, const char* snapid) {
    return table->postprocess(server, selections.c_str(), snapid);
  }
  Status Postprocess(const char* snapid) { return Postprocess("/" + subscription, snapid); }
};

TEST_F(BackupSnapshotsTest, AreTakenAndRemovedWhenTheSettingsSay) {
  struct Case {
    const char* in_discovery;  // null: not set
    const char* async;
    const char* after_discovery;
    Status query_no;  // of DB-01's UseManagedDisk object
    const char* after_machines;
    Status query_managed;
    const char* after_disks;
    const char* after_postprocess;
  };
  const std::vector<Case> cases{
      // Not set, a discovery takes them, and a machine's start takes the unmanaged ones once more.
      {nullptr, nullptr, "2 1", 0, "2 2", 0, "2 2", "2 2"}, {nullptr, "false", "2 1", 6661, "2 1", 0, "2 1", "2 1"},
      {"T", nullptr, "2 1", 0, "2 1", 0, "2 1", "0 0"},     {"", nullptr, "2 1", 0, "2 1", 0, "2 1", "0 0"},
      {"false", nullptr, "0 0", 0, "2 1", 0, "2 1", "2 1"}, {"F", "no", "0 0", 0, "2 0", 0, "2 2", "2 2"},
      {"no", nullptr, "0 0", 0, "0 0", 6778, "0 2", "0 2"}};
  int backup = 1'700'000'000;
  for (const Case& c : cases) {
    const std::string snapid = std::to_string(backup++);
    Settings settings;
    if (c.in_discovery != nullptr) {
      settings["VM_SNAPSHOT_IN_DISCOVERY"] = c.in_discovery;
    }
    if (c.async != nullptr) {
      settings["ASYNC_SNAPSHOT_SUPPORT"] = c.async;
    }
    SCOPED_TRACE(snapid);
    Start(settings);
    ASSERT_EQ(Discover(snapid), kOk);
    EXPECT_EQ(Counts(snapid), c.after_discovery);
    EXPECT_EQ(Query(RecordWith(web + "Metadata/UseManagedDisk=Yes"), snapid), kOk);
    EXPECT_EQ(Query(RecordWith(db + "Metadata/UseManagedDisk=No"), snapid), c.query_no);
    EXPECT_EQ(Asked(snapid), c.after_machines);
    // Only where one may be there already is it looked for before it is taken.
    EXPECT_EQ(Query(RecordWith(db + "demodisks1"), snapid), kOk);
    EXPECT_EQ(Query(RecordWith(db + "demodisks1"), snapid), kOk);
    EXPECT_EQ(Query(RecordWith("/web-01-os"), snapid), c.query_managed);
    EXPECT_EQ(Query(RecordWith("/web-01-data"), snapid), c.query_managed);
    EXPECT_EQ(Counts(snapid), c.after_disks);
    EXPECT_EQ(Postprocess(snapid.c_str()), kOk);
    EXPECT_EQ(Counts(snapid), c.after_postprocess);
    // What is left goes, the one with an active export too.
    Start({{"VM_SNAPSHOT_IN_DISCOVERY", "true"}});
    EXPECT_EQ(Postprocess(snapid.c_str()), kOk);
    EXPECT_EQ(Counts(snapid), "0 0");
  }
  EXPECT_TRUE(log.contains(4, "is neither true nor false"));
}

TEST_F(BackupSnapshotsTest, OldOnesGoAtTheMomentThatThePolicyNames) {
  struct Case {
    const char* policy;
    bool after_discovery;
    bool after_postprocess;
  };
  for (const Case& c : {Case{"0", true, true}, Case{"x", true, true}, Case{"3", true, true}, Case{"1", true, false},
                        Case{"2", false, false}}) {
    Start({{"ENABLE_SNAPSHOT_CLEANUP", c.policy}, {"VM_SNAPSHOT_IN_DISCOVERY", "false"}});
    const std::string old = "vm_OSDisk_0_" + MinutesAgo(1441) + "_BDAZSNAP";
    MakeManagedSnapshot(old);
    const auto there = [&] {
      const Texts names = ManagedSnapshots();
      return std::find(names.begin(), names.end(), old) != names.end();
    };
    ASSERT_EQ(Discover("1700000000"), kOk);
    EXPECT_EQ(there(), c.after_discovery) << c.policy;
    EXPECT_EQ(Postprocess("1700000000"), kOk);
    EXPECT_EQ(there(), c.after_postprocess) << c.policy;
  }
}

TEST_F(BackupSnapshotsTest, OneThatCannotBeDeletedInASweepDoesNotKeepTheOthers) {
  Start({{"ENABLE_SNAPSHOT_CLEANUP", "1"}, {"VM_SNAPSHOT_IN_DISCOVERY", "false"}});
  const std::string refused = "vm_OSDisk_1_" + MinutesAgo(2000) + "_BDAZSNAP";
  const Texts stay{"backup-of-somebody", "vm_DataDisk_0_" + MinutesAgo(1000) + "_BDAZSNAP", refused};
  for (const std::string& name : stay) {
    MakeManagedSnapshot(name);
  }
  MakeManagedSnapshot("vm_OSDisk_2_" + MinutesAgo(1500) + "_BDAZSNAP");
  MakeBlobSnapshot("1", "BDAZSNAP");
  simulator.add_fault({"DELETE", refused, 1, 1, sim::AnswerWith{{.status = 409}}});
  EXPECT_EQ(Postprocess("/" + subscription + " /" + subscription + "/web-rg", ""), kOk);
  EXPECT_EQ(ManagedSnapshots(), stay);
  EXPECT_EQ(BlobSnapshots(), Texts{"1"}) << "young by the service's time";
  EXPECT_TRUE(log.contains(4, "Failed to delete Managed Disk stale snapshots of Subscriptions " + subscription));
}

TEST_F(BackupSnapshotsTest, ASweepOfOneBackupLeavesForeignOnesAlone) {
  Start({{"VM_SNAPSHOT_IN_DISCOVERY", "true"}});
  const std::string old = MinutesAgo(5000);
  for (const char* name : {"vm_OSDisk_0_77_BDAZSNAP", "vm_OSDisk_0_777_BDAZSNAP", "vm_OSDisk_0_77_OTHER"}) {
    MakeManagedSnapshot(name);
  }
  MakeManagedSnapshot("vm_OSDisk_0_" + old + "_BDAZSNAP");
  MakeBlobSnapshot("77", "BDAZSNAP");
  MakeBlobSnapshot("77", "OTHER");
  MakeBlobSnapshot("777", "BDAZSNAP");
  EXPECT_EQ(Postprocess("77"), kOk);
  EXPECT_EQ(ManagedSnapshots(),
            (Texts{"vm_OSDisk_0_" + old + "_BDAZSNAP", "vm_OSDisk_0_777_BDAZSNAP", "vm_OSDisk_0_77_OTHER"}));
  EXPECT_EQ(BlobSnapshots(), (Texts{"77", "777"}));
  EXPECT_EQ(Postprocess(nullptr), 6601U) << "without an id it would be a sweep of all old ones";
  EXPECT_EQ(ManagedSnapshots().size(), 3U);
}

TEST_F(BackupSnapshotsTest, ASweepWalksEachSubscriptionOnceUpToAMalformedSelection) {
  Start({{"ENABLE_SNAPSHOT_CLEANUP", "1"}, {"VM_SNAPSHOT_IN_DISCOVERY", "false"}});
  const std::string other = small_world.subscriptions[1].id;
  std::string upper = subscription;
  std::transform(upper.begin(), upper.end(), upper.begin(), [](unsigned char c) { return std::toupper(c); });
  const auto lists = [&](const std::string& of) {
    const std::string prefix = "/subscriptions/" + of + "/providers/Microsoft.Compute/snapshots?";
    const auto requests = ManagementRequests();
    return std::count_if(requests.begin(), requests.end(), [&](const sim::RecordedRequest& request) {
      return strncasecmp(request.target.c_str(), prefix.c_str(), prefix.size()) == 0;
    });
  };
  EXPECT_EQ(
      Postprocess("/" + subscription + "  /" + subscription + "/web-rg/web-01 /" + upper + " /a/b/c/d/e /" + other, ""),
      6795U);
  EXPECT_EQ(lists(subscription), 1);
  EXPECT_EQ(lists(other), 0);
}

TEST_F(BackupSnapshotsTest, OfOneDiskAreMadeAndDeletedByTheHost) {
  Start({{"VM_SNAPSHOT_IN_DISCOVERY", "false"}});
  ASSERT_EQ(Discover("1700000000"), kOk);
  const std::string os = RecordWith("/web-01-os");
  const std::string vhd = RecordWith(db + "demodisks1");
  aapi_snapshot_v1_t own{};
  const std::string now = std::to_string(clock.now());
  ASSERT_EQ(table->create_snapshot(server, vhd.c_str(), &own), kOk);
  EXPECT_EQ(own.name, now) << "nothing else names it";
  EXPECT_EQ(std::to_string(own.time), now);
  const aapi_snapshot_v1_t unnamed{};
  EXPECT_EQ(table->delete_snapshot(server, vhd.c_str(), &unnamed), 6601U) << "no name must not mean all old ones";
  EXPECT_EQ(Counts(now), "0 1");

  ASSERT_EQ(Query("/", "1700000001"), kOk);
  aapi_snapshot_v1_t managed{};
  aapi_snapshot_v1_t blob{};
  ASSERT_EQ(table->create_snapshot(server, os.c_str(), &managed), kOk);
  ASSERT_EQ(table->create_snapshot(server, (vhd + "/").c_str(), &blob), kOk);
  EXPECT_EQ(Counts("1700000001"), "1 1");
  ASSERT_EQ(Query(os, "1700000001"), kOk) << "its machine is known: the snapshot was made by its description";
  EXPECT_EQ(table->delete_snapshot(server, os.c_str(), &unnamed), kOk) << "an export does not stand in the way";
  EXPECT_EQ(table->delete_snapshot(server, vhd.c_str(), &own), kOk);
  EXPECT_EQ(Counts("1700000001"), "0 1");
  EXPECT_EQ(Counts(now), "0 0");
  EXPECT_EQ(table->delete_snapshot(server, vhd.c_str(), &blob), kOk);
  EXPECT_EQ(table->delete_snapshot(server, os.c_str(), &managed), kOk) << "gone already";
  EXPECT_EQ(BlobSnapshots(), Texts{});

  const std::string vm = "/" + subscription + "/web-rg/web-01";
  for (const auto& [path, status] :
       std::vector<std::pair<std::string, Status>>{{vm, 6601},
                                                   {vm + "/ManagedDisks:x/web-rg/nothing", 6797},
                                                   {vm + "x/ManagedDisks:x/web-rg/web-01-os", 6797}}) {
    EXPECT_EQ(table->create_snapshot(server, path.c_str(), &own), status) << path;
    EXPECT_EQ(table->delete_snapshot(server, path.c_str(), &own), status) << path;
  }
}

TEST_F(BackupSnapshotsTest, OfAMachineEndAtTheFirstManagedDiskThatFails) {
  Start({{"VM_SNAPSHOT_IN_DISCOVERY", "false"}});
  ASSERT_EQ(Discover("1700000000"), kOk);
  const std::string start = RecordWith(web + "Metadata/UseManagedDisk=Yes");
  const auto asked = [&] {
    const auto requests = ManagementRequests();
    return std::count_if(requests.begin(), requests.end(), [](const auto& request) { return request.method == "PUT"; });
  };
  simulator.add_fault({"PUT", "/snapshots/", 1, 1, sim::AnswerWith{{.status = 409}}});
  EXPECT_EQ(Query(start, "1700000000"), 6658U);
  EXPECT_TRUE(
      log.contains(4, "Unable to initiate snapshots for disks attached to /" + subscription + "/web-rg/web-01"));
  EXPECT_EQ(asked(), 1);
  simulator.add_fault({"PUT", "/snapshots/", 2, 1, sim::AnswerWith{{.status = 409}}});
  EXPECT_EQ(Query(start, "1700000000"), 6658U);
  EXPECT_EQ(asked(), 3);
  EXPECT_TRUE(log.contains(4, "_OSDisk_9999_1700000000_BDAZSNAP")) << "it was taken and stays";
  EXPECT_EQ(Query(start, "1700000000"), kOk);
  EXPECT_EQ(Query(start, "1700000000"), kOk);
  EXPECT_EQ(asked(), 5) << "what was started once is not started again";
  // One that was accepted and then failed ends the query of its disk.
  simulator.add_fault({"GET", "perations/", 1, 1, sim::AnswerWith{{.status = 200, .body = R"({"status":"Failed"})"}}});
  EXPECT_EQ(Query(RecordWith("/web-01-os"), "1700000000"), 6786U);
  EXPECT_TRUE(log.contains(4, "Snapshot for managed disk web-01-os failed. ret: 6786 "));
}

sim::World WorldOfTwoVhds() {
  sim::World world = SmallWorld();
  sim::Machine& machine = world.subscriptions[0].resource_groups["Data_RG.1"].machines["DB-01"];
  sim::MachineDisk data = machine.os_disk;
  data.name = "DB-01-data";
  data.vhd->name = "DB-01-data.vhd";
  machine.data_disks.push_back(data);
  return world;
}

class TwoVhdsTest : public BackupTest {
 protected:
  TwoVhdsTest() : BackupTest(WorldOfTwoVhds()) {}
};

TEST_F(TwoVhdsTest, EachIsSnapshottedWhenAnotherFails) {
  Start({{"VM_SNAPSHOT_IN_DISCOVERY", "false"}});
  ASSERT_EQ(Discover("1700000000"), kOk);
  proxy.add({.method = "PUT", .target = "comp=snapshot", .action = sim::AnswerWith{.response = {.status = 403}}});
  EXPECT_EQ(Query(RecordWith(db + "Metadata/UseManagedDisk=No"), "1700000000"), kOk) << "the last one's status";
  EXPECT_EQ(BlobSnapshots(), Texts{});
  const auto requests = proxy.requests();
  EXPECT_EQ(
      std::count_if(requests.begin(), requests.end(),
                    [](const auto& request) { return request.target.find("comp=snapshot") != std::string::npos; }),
      2);
  for (const char* disk : {"/DB-01-os.vhd", "/DB-01-data.vhd"}) {
    EXPECT_TRUE(log.contains(3, disk)) << "named as attached now";
  }
}

}  // namespace
}  // namespace backup_test
