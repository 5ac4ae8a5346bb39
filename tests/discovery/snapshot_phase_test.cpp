// Snapshots of whole machines over disks that answer as told: order, roll-back, the host's stop, passes and pauses.
#include "src/discovery/snapshot_phase.h"

#include <gtest/gtest.h>

#include "src/config/config.h"
#include "tests/discovery/scripted_snapshots.h"
#include "tests/support/fake_clock.h"
#include "tests/support/fresh_state.h"
#include "tests/support/log_transcript.h"
#include "tests/support/temporary_directory.h"

namespace discovery_test {
namespace {

using azurestackpi::DiskList;
using azurestackpi::kOk;
using azurestackpi::kOperationFailed;
using azurestackpi::kServerBusy;
using azurestackpi::MachineDisks;
using azurestackpi::Status;
using Calls = std::vector<std::string>;

DiskList Disks(const std::vector<std::string>& names) {
  DiskList disks;
  for (const std::string& name : names) {
    if (name[0] == 'M') {
      auto disk = std::make_unique<azurestackpi::vm_managed_disk_t>();
      disk->m_disk_id = name;
      disks.emplace_back(std::move(disk));
    } else {
      auto disk = std::make_unique<azurestackpi::vm_unmanaged_disk_t>();
      disk->m_uri = name;
      disks.emplace_back(std::move(disk));
    }
  }
  return disks;
}

std::uint32_t keepalives_left = 0;
std::string keepalive_caller;
std::uint32_t StopWhenUsedUp(const char* caller) {
  keepalive_caller = caller;
  return keepalives_left-- == 0 ? 77 : 0;
}

class SnapshotPhaseTest : public testing::Test {
 protected:
  SnapshotPhaseTest() {
    server.session = &log.session();
    log.session().keepalive = nullptr;
  }
  ~SnapshotPhaseTest() override { log.session().keepalive = nullptr; }

  Status SnapshotOne(const std::vector<std::string>& disks) {
    return snapshotVmDisks(server, snapshots, "1700", Disks(disks));
  }
  void Configure(const std::string& settings) {
    config = folder.write_file("conf", settings);
    log.session().config_path = config.c_str();
    azurestackpi::AzureStackPi_Config::getInstance().SetSessionDef(&log.session());
    azurestackpi::AzureStackPi_Config::getInstance().ReadConf();
  }
  void SnapshotAll(const std::vector<std::string>& disks) {
    MachineDisks machines;
    for (const std::string& disk : disks) {
      machines["/s/g/" + disk] = Disks({disk});
    }
    SnapshotMachines(server, snapshots, "1700", std::move(machines));
  }

  test_support::FreshState fresh;
  test_support::FakeClock clock;
  test_support::LogTranscript log;
  test_support::TemporaryDirectory folder;
  std::string config;
  aapi_pgn_server_handle_s server;
  ScriptedSnapshots snapshots;
};

TEST_F(SnapshotPhaseTest, WithoutANameNothingIsRolledBack) {
  snapshots.answers["create U2"] = {kOperationFailed};
  EXPECT_EQ(snapshotVmDisks(server, snapshots, "", Disks({"U1", "U2"})), kOperationFailed);
  EXPECT_EQ(snapshots.Names(), "U1 U2") << "no delete: it would mean the old snapshots of other backups";
  EXPECT_TRUE(log.contains(4, "have no name"));
}

TEST_F(SnapshotPhaseTest, DisksAreSnapshottedInOrder) {
  EXPECT_EQ(SnapshotOne({"M1", "U1", "M2"}), kOk);
  EXPECT_EQ(snapshots.calls,
            (Calls{"create M1 1700 BDAZSNAP wait", "create U1 1700 BDAZSNAP alive", "create M2 1700 BDAZSNAP wait"}));
  EXPECT_EQ(SnapshotOne({}), kOk);
}

TEST_F(SnapshotPhaseTest, AnUnmanagedFailureRollsBackTheUnmanagedOnesBefore) {
  snapshots.answers["create U3"] = {kServerBusy};
  snapshots.answers["delete U2"] = {kOperationFailed};
  EXPECT_EQ(SnapshotOne({"M1", "U1", "U2", "U3", "U4"}), kServerBusy);
  EXPECT_EQ(snapshots.calls,
            (Calls{"create M1 1700 BDAZSNAP wait", "create U1 1700 BDAZSNAP alive", "create U2 1700 BDAZSNAP alive",
                   "create U3 1700 BDAZSNAP alive", "delete U1 1700 BDAZSNAP alive", "delete U2 1700 BDAZSNAP alive"}));
  EXPECT_TRUE(log.contains(4, "Snapshot creation failed for VM disk: U3"));
  EXPECT_TRUE(log.contains(1, "Failed to delete partially completed snapshots rc :6614"));

  snapshots = {};
  snapshots.answers["create U1"] = {kOperationFailed};
  EXPECT_EQ(SnapshotOne({"M1", "U1"}), kOperationFailed);
  EXPECT_EQ(snapshots.calls.size(), 2U) << "nothing to roll back";
}

TEST_F(SnapshotPhaseTest, AManagedFailureIsToldOnlyWhenItIsTheLastDisk) {
  snapshots.answers["create M1"] = {kOperationFailed, kOperationFailed};
  EXPECT_EQ(SnapshotOne({"M1", "U1"}), kOk);
  EXPECT_EQ(SnapshotOne({"U1", "M1"}), kOperationFailed);
  EXPECT_EQ(snapshots.calls.size(), 4U);
}

TEST_F(SnapshotPhaseTest, TheHostCanStopItBeforeEachDisk) {
  log.session().keepalive = StopWhenUsedUp;
  keepalives_left = 1;
  EXPECT_EQ(SnapshotOne({"U1", "U2", "U3"}), 77U);
  EXPECT_EQ(snapshots.calls, Calls{"create U1 1700 BDAZSNAP alive"});
  EXPECT_EQ(keepalive_caller, "snapshotVmDisks");
  EXPECT_TRUE(log.contains(4, "Failed to send keepalive snapshotVmDisks, ret: 77"));
}

TEST_F(SnapshotPhaseTest, MachinesThatFailedAreTriedAgainWithLongerPauses) {
  snapshots.answers["create M1"] = {kServerBusy, kServerBusy, kOk};
  snapshots.answers["create M2"] = {kServerBusy, kOperationFailed};
  snapshots.answers["create M3"] = {kServerBusy, kServerBusy, kServerBusy, kServerBusy, kServerBusy};
  SnapshotAll({"M3", "M1", "M4", "M2"});
  EXPECT_EQ(snapshots.Names(), "M1 M2 M3 M4 M1 M2 M3 M1 M3 M3");
  EXPECT_EQ(clock.pauses(), (std::vector<std::int64_t>{30, 40}));
  EXPECT_TRUE(log.contains(1, " Snapshot creation for VM successful : /s/g/M4 return status rc: 0"));
  EXPECT_TRUE(log.contains(4, "Failed to process Snapshot creation for VM : /s/g/M1 return status rc: 6612"));
  EXPECT_TRUE(log.contains(4, "non retryable snapshot error detected for VM : /s/g/M2"));
  EXPECT_TRUE(log.contains(4, "Snapshot creation fatally failed for VM : /s/g/M2"));
  EXPECT_FALSE(log.contains(4, "fatally failed for VM : /s/g/M3"));
  EXPECT_TRUE(log.contains(1, "Snapshot creation failed 1 virtual machines"));
  EXPECT_FALSE(log.contains(1, "Snapshot creation failed for all virtual machines"));
}

TEST_F(SnapshotPhaseTest, AllFailingIsToldAndNoneFailingNeedsNoRetry) {
  SnapshotAll({"M1", "M2"});
  EXPECT_EQ(snapshots.calls.size(), 2U);
  EXPECT_FALSE(log.contains(3, "retrySnapshotVm: entering"));
  EXPECT_FALSE(log.contains(1, "Snapshot creation failed"));
  snapshots.answers["create M1"] = std::vector<Status>(9, kServerBusy);
  SnapshotAll({"M1"});
  EXPECT_TRUE(log.contains(1, "Snapshot creation failed for all virtual machines"));
}

TEST_F(SnapshotPhaseTest, TheLimitOfRetriesIsASettingUpToThree) {
  const std::vector<std::pair<std::string, std::vector<std::int64_t>>> cases{{"", {30, 40}},
                                                                             {"SNAPSHOT_RETRY_COUNT=5", {30, 40}},
                                                                             {"SNAPSHOT_RETRY_COUNT=3", {30, 40}},
                                                                             {"SNAPSHOT_RETRY_COUNT=2", {30}},
                                                                             {"SNAPSHOT_RETRY_COUNT=1", {}},
                                                                             {"SNAPSHOT_RETRY_COUNT=0", {}},
                                                                             {"SNAPSHOT_RETRY_COUNT=-1", {30, 40}},
                                                                             {"SNAPSHOT_RETRY_COUNT=some", {30, 40}}};
  for (const auto& [setting, pauses] : cases) {
    Configure(setting + "\n");
    clock.clear_pauses();
    snapshots = {};
    snapshots.answers["create M1"] = std::vector<Status>(9, kServerBusy);
    SnapshotAll({"M1"});
    EXPECT_EQ(clock.pauses(), pauses) << setting;
    EXPECT_EQ(snapshots.calls.size(), pauses.size() + 2) << setting;
  }
}

}  // namespace
}  // namespace discovery_test
