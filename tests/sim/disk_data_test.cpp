// What disks and snapshots hold, in a real blob server.
#include <gmock/gmock.h>

#include <array>
#include <memory>

#include "azurite_world.h"
#include "disk_fixture.h"
#include "sim/blob_accounts.h"
#include "sim/blob_client.h"
#include "sim/disk_content.h"
#include "sim/disk_store.h"

namespace sim_test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Pair;

constexpr std::int64_t mib = 1 << 20;
constexpr std::int64_t gib = 1 << 30;

sim::World world_with_contents() {
  sim::World world = world_with_spare_disk();
  auto& groups = world.subscriptions[0].resource_groups;
  groups["web-rg"].disks["spare"].content = {{{0, mib}, {gib - mib, mib}}};
  groups["Data_RG.1"].machines["DB-01"].os_disk.content = {{{5 * mib, 9 * mib}}};
  return world;
}

class DiskDataTest : public DiskFixture {
 protected:
  DiskDataTest() : DiskFixture(over_azurite(world_with_contents())) {}

  std::string read(const std::string& address, std::int64_t offset, std::int64_t size) {
    const Answer answer =
        client.get(address, {"x-ms-range: bytes=" + std::to_string(offset) + "-" + std::to_string(offset + size - 1)});
    EXPECT_EQ(answer.status, 206) << answer.body;
    return answer.body;
  }

  long status(const std::string& address) { return client.get(address, {"x-ms-range: bytes=0-511"}).status; }

  /// The blob behind the address of an exported snapshot: the disk itself.
  static sim::Blob disk_behind(const std::string& address) {
    const std::size_t container = address.find('/', address.find("://") + 3) + 1;
    return {sim::managed_disk_account, address.substr(container, address.find('/', container) - container), "abcd"};
  }

  const sim::Blob& vhd() const {
    return *world.subscriptions[0].resource_groups.at("Data_RG.1").machines.at("DB-01").os_disk.vhd;
  }

  sim::BlobClient blobs{{.port = azurite::port()}, sim::blob_accounts(world)};
};

std::vector<std::pair<std::int64_t, std::int64_t>> merged(const std::vector<sim::ByteRange>& ranges) {
  std::vector<std::pair<std::int64_t, std::int64_t>> merged;
  for (const auto& [offset, size] : ranges) {
    if (!merged.empty() && merged.back().first + merged.back().second == offset) {
      merged.back().second += size;
    } else {
      merged.emplace_back(offset, size);
    }
  }
  return merged;
}

/// The sum that the footer of a VHD has to hold, added up without the simulator's code.
std::uint32_t footer_sum(std::string footer) {
  for (std::size_t i = 64; i < 68; ++i) footer[i] = 0;
  std::uint32_t sum = 0;
  for (const char c : footer) sum += static_cast<unsigned char>(c);
  return ~sum;
}

std::string bytes(std::initializer_list<int> values) {
  std::string text;
  for (const int value : values) text += static_cast<char>(value);
  return text;
}

TEST_F(DiskDataTest, IsWhatTheWorldSaysInAFixedVhd) {
  EXPECT_THAT(merged(blobs.ranges(vhd())), ElementsAre(Pair(5 * mib, 9 * mib), Pair(gib, 512)));
  EXPECT_EQ(blobs.size_of(vhd()), gib + 512);
  EXPECT_EQ(blobs.read(vhd(), 5 * mib, 9 * mib), sim::disk_data("DB-01-os", 5 * mib, 9 * mib));

  const std::string footer = blobs.read(vhd(), gib, 512);
  EXPECT_EQ(footer.substr(0, 24), "conectix" + bytes({0, 0, 0, 2, 0, 1, 0, 0}) + std::string(8, '\xff'));
  EXPECT_EQ(footer.substr(40, 24), bytes({0, 0, 0, 0, 0x40, 0, 0, 0}) + bytes({0, 0, 0, 0, 0x40, 0, 0, 0}) +
                                       bytes({0x08, 0x20, 16, 63}) + bytes({0, 0, 0, 2}));
  const std::uint32_t sum = footer_sum(footer);
  EXPECT_EQ(footer.substr(64, 4),
            bytes({int(sum >> 24U), int(sum >> 16U & 255U), int(sum >> 8U & 255U), int(sum & 255U)}));

  make_snapshot("usual", "web-01-os");
  const std::string address = exported("usual");
  EXPECT_EQ(read(address, mib, 4096), sim::disk_data("web-01-os", mib, 4096));
  EXPECT_THAT(client.get(address + "&comp=pagelist").body, HasSubstr("<Start>1073741824</Start><End>1073742335</End>"));
}

TEST_F(DiskDataTest, OfVhdsOutliveTheSimulatorAndThoseOfManagedDisksDoNot) {
  const std::string changed(512, 'x');
  blobs.write(vhd(), 0, changed);
  sim::World same = world;
  auto store = std::make_unique<sim::DiskStore>(sim::BlobServer{.port = azurite::port()}, same);
  store->fill(same);
  const auto& spare = same.subscriptions[0].resource_groups.at("web-rg").disks.at("spare");
  const sim::Blob managed{sim::managed_disk_account, spare.container, "abcd"};
  EXPECT_EQ(blobs.size_of(managed), gib + 512);
  store.reset();
  EXPECT_THROW(blobs.size_of(managed), sim::BlobError);
  EXPECT_EQ(blobs.read(vhd(), 0, 512), changed);
}

TEST_F(DiskDataTest, OfSnapshotsTakenAtOnceAreKeptApart) {
  sim::World same = world;
  sim::DiskStore store(sim::BlobServer{.port = azurite::port()}, same);
  store.fill(same);
  const std::string container = same.subscriptions[0].resource_groups.at("web-rg").disks.at("spare").container;
  std::set<std::string> names;
  for (int i = 0; i < 100; ++i) names.insert(store.snapshot(container));
  EXPECT_EQ(names.size(), 100U);
  for (const std::string& name : names) EXPECT_NO_THROW(store.remove_snapshot(container, name));
}

TEST_F(DiskDataTest, OfSnapshotsStayWhatTheyWere) {
  const std::string before = sim::disk_data("spare", 0, 512);
  const std::string first_write(512, '1');
  const std::string second_write(512, '2');
  make_snapshot("first", "spare");
  const std::string first = exported("first");
  const sim::Blob disk = disk_behind(first);
  blobs.write(disk, 0, first_write);
  make_snapshot("second", "spare");
  const std::string second = exported("second");
  blobs.write(disk, 0, second_write);
  EXPECT_EQ(read(first, 0, 512), before);
  EXPECT_EQ(read(second, 0, 512), first_write);
  EXPECT_EQ(blobs.read(disk, 0, 512), second_write);

  // Ending one export ends no other, and only the last one of the data takes them away.
  EXPECT_EQ(status_of(act("first", "endGetAccess")), "Succeeded");
  EXPECT_EQ(status(first), 403);
  EXPECT_EQ(read(second, 0, 512), first_write);
  EXPECT_EQ(status_of(send("DELETE", compute + "disks/spare" + version)), "Succeeded");
  EXPECT_EQ(status_of(send("DELETE", compute + "snapshots/first" + version)), "Succeeded");
  EXPECT_EQ(read(second, 0, 512), first_write);
  EXPECT_EQ(status_of(act("second", "endGetAccess")), "Succeeded");
  EXPECT_EQ(status(second), 403);
  EXPECT_EQ(status_of(send("DELETE", compute + "snapshots/second" + version)), "Succeeded");
  EXPECT_THROW(blobs.size_of(disk), sim::BlobError);
}

TEST_F(DiskDataTest, OfManyExportsOfOneDiskAreAllReadable) {
  std::vector<std::string> addresses;
  for (int i = 0; i < 8; ++i) {
    make_snapshot("s" + std::to_string(i), "spare");
    addresses.push_back(exported("s" + std::to_string(i)));
  }
  for (const std::string& address : addresses) EXPECT_EQ(status(address), 206);
}

class ImportTest : public DiskDataTest {
 protected:
  std::string address_of(const sim::Blob& blob) const {
    return "https://" + blob.account + ".blob.local.azurestack.localhost:" + std::to_string(azurite::port()) + "/" +
           blob.container + "/" + blob.name;
  }

  Answer import(const std::string& name, const sim::Blob& source, const std::string& size) {
    return send("PUT", compute + "disks/" + name + "/" + version, import_body(address_of(source), size, "demodisks1"));
  }
};

TEST_F(ImportTest, MakesADiskOfItsOwnOutOfAVhd) {
  ASSERT_EQ(status_of(import("restored", vhd(), "2")), "Succeeded");
  blobs.write(vhd(), 5 * mib, std::string(512, 'x'));
  make_snapshot("s", "restored");
  const std::string address = exported("s");
  const sim::Blob disk = disk_behind(address);
  EXPECT_THAT(merged(blobs.ranges(disk)), ElementsAre(Pair(5 * mib, 9 * mib), Pair(2 * gib, 512)));
  EXPECT_EQ(blobs.read(disk, 5 * mib, 9 * mib), sim::disk_data("DB-01-os", 5 * mib, 9 * mib));
  const auto described = nlohmann::json::parse(send("GET", compute + "disks/restored" + version).body);
  EXPECT_EQ(described.at("properties").at("diskSizeGB"), 2);
  EXPECT_EQ(described.at("sku").at("tier"), "Premium");
}

TEST_F(ImportTest, TakesNothingButAVhdThatFits) {
  sim::Blob no_vhd = vhd();
  no_vhd.name = "no.vhd";
  blobs.create_page_blob(no_vhd, gib + 512);
  sim::Blob damaged = vhd();
  damaged.name = "damaged.vhd";
  blobs.create_page_blob(damaged, gib + 512);
  std::string footer = blobs.read(vhd(), gib, 512);
  footer[30] ^= 1;
  blobs.write(damaged, gib, footer);
  sim::Blob longer = vhd();
  longer.name = "longer.vhd";
  blobs.create_page_blob(longer, 2 * gib + 512);
  blobs.write(longer, 2 * gib, blobs.read(vhd(), gib, 512));
  const sim::Blob absent{"demodisks1", vhd().container, "absent.vhd"};
  for (const auto& [source, code] : std::vector<std::pair<sim::Blob, std::string>>{
           {no_vhd, "InvalidVhd"}, {damaged, "InvalidVhd"}, {longer, "InvalidVhd"}, {absent, "BlobNotFound"}}) {
    const auto end = followed(import("new", source, "3"));
    EXPECT_EQ(end.at("status"), "Failed") << source.name;
    EXPECT_EQ(end.at("error").at("code"), code) << source.name;
  }
  EXPECT_EQ(send("GET", compute + "disks/new" + version).status, 404);

  // Nor is a machine made of them.
  ASSERT_EQ(send("PUT", network + "networkInterfaces/free" + network_version, nic_body()).status, 201);
  for (const auto& [source, error] : std::vector<std::pair<sim::Blob, std::string>>{
           {no_vhd, "InvalidVhd"}, {damaged, "InvalidVhd"}, {absent, "DiskBlobNotFound"}}) {
    const std::string os_disk = R"("name": "os", "vhd": {"uri": ")" + address_of(source) + "\"}";
    const Answer answer =
        send("PUT", compute + "virtualMachines/n" + machine_version, machine_body(os_disk, "", "free"));
    EXPECT_EQ(answer.error(), error) << source.name;
  }
}

TEST_F(ImportTest, DigestsTellWhetherDisksHoldTheSame) {
  const std::string original = address_of(vhd());
  ASSERT_EQ(status_of(import("restored", vhd(), "1")), "Succeeded");
  const std::string restored = compute + "disks/restored";
  const sim::DiskDigest before = simulator.disk_digest(original);
  EXPECT_EQ(before.size, gib);
  EXPECT_EQ(before.data_bytes, 9 * mib);
  EXPECT_LE(simulator.disk_digest(restored).allocated_bytes, before.allocated_bytes);
  EXPECT_EQ(simulator.disk_digest(restored).sha256, before.sha256);

  blobs.write(vhd(), gib / 2, std::string(1024, '\0'));
  EXPECT_EQ(simulator.disk_digest(original).sha256, before.sha256);
  EXPECT_GT(simulator.disk_digest(original).allocated_bytes, before.allocated_bytes);
  blobs.write(vhd(), 5 * mib + 512, blobs.read(vhd(), 5 * mib, 512));
  const std::string moved = simulator.disk_digest(original).sha256;
  EXPECT_NE(moved, before.sha256);

  const std::string control = "https://localhost:" + std::to_string(simulator.port()) + "/_sim/disk-digest?disk=";
  EXPECT_EQ(nlohmann::json::parse(client.get(control + original).body).at("sha256"), moved);
  EXPECT_EQ(client.get(control + compute + "disks/absent").status, 404);
}

class MachineTest : public ImportTest {
 protected:
  nlohmann::json get(const std::string& path) { return nlohmann::json::parse(send("GET", path).body); }

  /// Of the instance view; the first status is the provisioning's.
  std::string power_state() {
    const auto json = get(vm + machine_version + "&$expand=instanceView");
    return json.at("properties").at("provisioningState").get<std::string>() + " " +
           json.at("properties").at("instanceView").at("statuses").at(1).at("code").get<std::string>();
  }

  const std::string vm = compute + "virtualMachines/back/";
  const std::string nic = network + "networkInterfaces/back-nic/";
};

TEST_F(MachineTest, IsMadeOfImportedDisksAndLeavesThemBehind) {
  for (const char* disk : {"back-os", "back-data"}) ASSERT_EQ(status_of(import(disk, vhd(), "1")), "Succeeded");
  const std::string address = network + "publicIPAddresses/back-pip/" + network_version;
  EXPECT_EQ(status_of(send("PUT", address, R"({"location":"local"})")), "Succeeded");
  EXPECT_EQ(status_of(send("PUT", nic + network_version, nic_body("back-pip"))), "Succeeded");
  EXPECT_EQ(get(address).at("properties").at("ipAddress"), "192.168.103.2");

  const std::string body = machine_body(managed("back-os"), data_disk(3, managed("back-data")), "back-nic");
  const Answer made = send("PUT", vm + machine_version, body);
  ASSERT_EQ(made.status, 201) << made.body;
  EXPECT_EQ(header(made, "Location"), "");
  EXPECT_EQ(nlohmann::json::parse(made.body).at("properties").at("provisioningState"), "Creating");
  EXPECT_EQ(power_state(), "Creating PowerState/starting");
  EXPECT_EQ(status_of(made), "Succeeded");
  EXPECT_EQ(power_state(), "Succeeded PowerState/running");

  const auto groups = simulator.world().subscriptions[0].resource_groups;
  const sim::ResourceGroup& now = groups.at("web-rg");
  const sim::Machine& machine = now.machines.at("back");
  EXPECT_EQ(machine.os_disk.managed_disk, (sim::Reference{"web-rg", "back-os"}));
  EXPECT_EQ(machine.data_disks.at(0).lun, 3);
  EXPECT_EQ(machine.tags, (sim::Tags{{"role", ""}, {"ö", "\"q\""}}));
  EXPECT_EQ(machine.boot_diagnostics->account, "demodiag1");
  EXPECT_EQ(now.disks.at("back-os").os_type, "Linux");
  EXPECT_EQ(now.disks.at("back-data").machine, (sim::Reference{"web-rg", "back"}));
  EXPECT_EQ(now.nics.at("back-nic").private_address, "10.1.0.4");
  const auto state = nlohmann::json::parse(simulator.state());
  EXPECT_EQ(state.at("machines").size(), 3U);
  EXPECT_EQ(state.at("disks").size(), 5U);

  EXPECT_EQ(send("DELETE", nic + network_version).error(), "NicInUse");
  EXPECT_EQ(status_of(send("DELETE", vm + machine_version)), "Succeeded");
  EXPECT_EQ(send("GET", vm + machine_version).status, 404);
  EXPECT_EQ(get(compute + "disks/back-os" + version).at("properties").at("diskState"), "Unattached");
  EXPECT_EQ(status_of(send("PUT", vm + machine_version, body)), "Succeeded");
  EXPECT_NE(get(vm + machine_version).at("properties").at("vmId"), machine.vm_id);
}

TEST_F(MachineTest, GoesThroughPowerStatesAndTakesItsVhdBack) {
  const std::string data_group = "/subscriptions/4caa8431-21b4-4e0b-bca0-1542a5f11e23/resourcegroups/Data_RG.1";
  const std::string original = data_group + "/providers/Microsoft.Compute/virtualMachines/DB-01";
  ASSERT_EQ(send("PUT", nic + network_version, nic_body()).status, 201);
  const std::string body =
      machine_body(R"("name": "back","vhd": { "uri": ")" + address_of(vhd()) + "\"}", "", "back-nic");
  EXPECT_EQ(send("PUT", vm + machine_version, body).error(), "DiskBlobAlreadyInUseByAnotherDisk");
  EXPECT_EQ(status_of(send("DELETE", original + machine_version)), "Succeeded");
  EXPECT_EQ(status_of(send("PUT", vm + machine_version, body)), "Succeeded");
  EXPECT_EQ(get(vm + machine_version).at("properties").at("storageProfile").at("osDisk").at("diskSizeGB"), 1);
  for (const auto& [action, during, then] :
       std::vector<std::array<std::string, 3>>{{"poweroff", "stopping", "stopped"},
                                               {"start", "starting", "running"},
                                               {"deallocate", "deallocating", "deallocated"}}) {
    const Answer accepted = send("POST", vm + action + machine_version);
    EXPECT_EQ(accepted.status, 202) << action;
    EXPECT_EQ(power_state(), "Updating PowerState/" + during);
    EXPECT_EQ(status_of(accepted), "Succeeded");
    EXPECT_EQ(power_state(), "Succeeded PowerState/" + then);
  }
}

TEST(BlobServer, IsNeededWhenItIsNamed) {
  sim::Options options;
  options.blob_port = 1;  // nobody listens there
  EXPECT_THROW(sim::Simulator{options}, std::runtime_error);
}

}  // namespace
}  // namespace sim_test
