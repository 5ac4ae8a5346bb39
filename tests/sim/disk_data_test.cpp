// What disks and snapshots hold, in a real blob server.
#include <gmock/gmock.h>

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
  Answer import(const std::string& name, const sim::Blob& source, const std::string& size,
                const std::string& account = "demodisks1") {
    return send("PUT", compute + "disks/" + name + "/" + version,
                R"({  "location": "local","properties": {"creationData": {"createOption": "Import", )"
                R"("storageAccountId" : "subscriptions/4caa8431-21b4-4e0b-bca0-1542a5f11e23/resourceGroups/data_rg.1/)"
                "providers/Microsoft.Storage/storageAccounts/" +
                    account + R"(", "sourceUri" : "https://)" + source.account + ".blob.local.azurestack.localhost:" +
                    std::to_string(azurite::port()) + "/" + source.container + "/" + source.name +
                    R"("}, "diskSizeGB" : ")" + size + R"("}, "sku" : {"name" : "Premium_LRS", "tier" : "Premium"}})");
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
  EXPECT_EQ(import("spare", vhd(), "1").error(), "Conflict");
  EXPECT_EQ(import("new", vhd(), "0").error(), "InvalidParameter");
  EXPECT_EQ(import("new", vhd(), "1024").error(), "InvalidParameter");
  EXPECT_EQ(import("new", vhd(), "1", "demodiag1").error(), "InvalidParameter");
  EXPECT_EQ(import("new", {"unknown", "c", "b"}, "1").error(), "InvalidParameter");
}

TEST(BlobServer, IsNeededWhenItIsNamed) {
  sim::Options options;
  options.blob_port = 1;  // nobody listens there
  EXPECT_THROW(sim::Simulator{options}, std::runtime_error);
}

}  // namespace
}  // namespace sim_test
