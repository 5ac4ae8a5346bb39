// A backup through the entry table: every byte of every disk, what is told of objects, and what is refused.
#include <array>
#include <cstdlib>

#include "sim/disk_content.h"
#include "sim/vhd_footer.h"
#include "src/object/vm_configuration.h"
#include "src/rest/json_text.h"
#include "tests/object/backup_fixture.h"

namespace backup_test {
namespace {

using namespace azurestackpi;

const Settings kInBackup{{"VM_SNAPSHOT_IN_DISCOVERY", "false"}};

/// The path of a blob beside an unmanaged disk, in the same account.
std::string PathOf(const sim::Blob& blob, const std::string& disk_path) {
  const std::size_t host = disk_path.find(blob.account);
  return disk_path.substr(0, disk_path.find('/', host) + 1) + blob.container + "/" + blob.name;
}

TEST_F(BackupTest, StreamsHoldTheSnapshotsByteForByteWhateverTheHostReads) {
  Start(kInBackup);
  ASSERT_EQ(Discover("1700000000"), kOk);
  const std::string db_path = RecordWith(db + "demodisks1");
  ASSERT_EQ(Query(RecordWith(db + "Metadata/UseManagedDisk=No"), "1700000000"), kOk);
  OverwriteVhd(std::string(4096, 'x'));  // after the snapshot, so no part of the backup
  const std::string os_path = RecordWith("/web-01-os");
  const std::string data_path = RecordWith("/web-01-data");
  struct Case {
    std::string path;
    std::string disk;
    std::uint64_t piece;
  };
  // Each read to the end deletes the disk's snapshot, so the next one begins with a backup of its own.
  const std::vector<std::vector<Case>> rounds{
      {{os_path, "web-01-os", 8 * kMiB}, {data_path, "web-01-data", 1}, {db_path, "DB-01-os", 100'003}},
      {{os_path + "/", "web-01-os", 100'003}, {data_path, "web-01-data", kMiB}},
      {{os_path, "web-01-os", kMiB}, {data_path + "/", "web-01-data", 512}}};
  int backup = 1'700'000'000;
  for (const auto& round : rounds) {
    const std::string snapid = std::to_string(backup++);
    ASSERT_EQ(Query(RecordWith(web + "Metadata/UseManagedDisk=Yes"), snapid), kOk);
    for (const Case& c : round) {
      ASSERT_EQ(Query(c.path, snapid), kOk) << c.path;
      EXPECT_EQ(info.object_type, static_cast<std::uint32_t>(AAPI_OBJECT_FILE));
      EXPECT_EQ(info.size, kGiB + 512U);
      EXPECT_EQ(info.block_count, info.size / 512);
      ASSERT_EQ(ReadObject(c.path, c.piece), kOk) << c.path;
      EXPECT_TRUE(image == ImageOfDisk(c.disk)) << c.path << " in pieces of " << c.piece;
    }
    EXPECT_EQ(ManagedSnapshots(), Texts{});
  }
  EXPECT_EQ(BlobSnapshots(), Texts{});
}

TEST_F(BackupTest, AnEmptyBlobIsHeaderAndPadding) {
  Start({});
  ASSERT_EQ(Discover("1700000000"), kOk);
  const sim::Blob blob = NewContainer("empty");
  blob_client.create_page_blob(blob, 1024);
  const std::string empty = PathOf(blob, RecordWith(db + "demodisks1"));
  ASSERT_EQ(Query(empty, "1700000000"), kOk);
  EXPECT_EQ(info.size, 1024U);
  ASSERT_EQ(ReadObject(empty, 1), kOk);
  EXPECT_TRUE(image == MakeImage(1024, {}));

  ASSERT_EQ(Query(empty, "1700000001"), kOk);
  aapi_object_t* const object = OpenForReading(empty);
  std::array<char, 11> buffer{};
  std::uint64_t count = 0;
  EXPECT_EQ(table->read_object(object, buffer.data(), 10, 0, &count), kOk);
  EXPECT_EQ(table->close_object(object), kOk);
  EXPECT_EQ(ReadObject(empty, kMiB), kOk) << "without data, too, it was not read to its end";
}

// All of it in pieces of 512 bytes, as a much used disk may be. The long run has ten thousand ranges.
TEST_F(BackupTest, ADiskOfManyRangesHasThemAllInItsStream) {
  Start({});
  ASSERT_EQ(Discover("1700000000"), kOk);
  const sim::Blob blob = NewContainer("many");
  blob_client.create_page_blob(blob, kGiB + sim::vhd_footer_size);
  sim::DiskContent content{std::in_place};
  for (std::int64_t i = 0; i < (std::getenv("AZS_LONG") != nullptr ? 9'999 : 999); ++i) {
    content->push_back({i * 4096, 512});
    blob_client.write(blob, i * 4096, sim::disk_data(blob.name, i * 4096, 512));
  }
  blob_client.write(blob, kGiB, sim::vhd_footer(blob.name, kGiB));
  const std::string path = PathOf(blob, RecordWith(db + "demodisks1"));
  ASSERT_EQ(Query(path, "1700000000"), kOk);
  ASSERT_EQ(ReadObject(path, kMiB), kOk);
  EXPECT_TRUE(image == ImageOf(blob.name, content));
}

TEST_F(BackupTest, MetadataObjectsCarryTheMachine) {
  PrepareMachine(web, "1700000000", {});
  const std::string group = "/subscriptions/" + subscription + "/resourceGroups/web-rg/providers/";
  struct Case {
    const char* object;
    std::string begins;
  };
  for (const Case& c :
       {Case{"Metadata/VmName=", R"({ "resources" : [ { "id" : ")" + group +
                                     R"(Microsoft.Compute/virtualMachines/web-01", "type" : )"
                                     R"("Microsoft.Compute/virtualMachines", "api-version" : "2016-03-30", )"
                                     R"("configuration" : {)"},
        Case{"Metadata/Vnet=", group + "Microsoft.Network/virtualNetworks/web-vnet"},
        Case{"Metadata/Nsg=", group + "Microsoft.Network/networkSecurityGroups/web-nsg"},
        Case{"Metadata/Size=", "METADATA_FILE"}}) {
    const std::string path = RecordWith(web + c.object);
    ASSERT_EQ(Query(path, "1700000000"), kOk);
    EXPECT_EQ(info.mode, 0100644U);
    EXPECT_EQ(info.block_count, 1U);
    ASSERT_EQ(ReadObject(path, 7), kOk);
    EXPECT_EQ(info.size, image.size());
    const std::string whole = image;
    ASSERT_EQ(ReadObject(path, 1 << 20), kOk);
    EXPECT_EQ(image, whole);
    EXPECT_EQ(image.substr(0, c.begins.size()), c.begins);
    aapi_object_t* object = nullptr;
    ASSERT_EQ(table->open_object(server, path.c_str(), 0, &object), kOk);
    std::array<char, 5> buffer{'?', '?', '?', '?', '?'};
    std::uint64_t count = 0;
    EXPECT_EQ(table->read_object(object, buffer.data(), 3, 1, &count), kOk);
    EXPECT_EQ(std::string(buffer.data(), 5), whole.substr(1, 3) + '\0' + '?') << "nothing beyond the promised byte";
    EXPECT_EQ(table->read_object(object, buffer.data(), 3, 1 << 30, &count), kOk);
    EXPECT_EQ(count, 0U);
    EXPECT_EQ(table->close_object(object), kOk);
  }
  ASSERT_EQ(ReadObject(RecordWith(web + "Metadata/VmName="), kMiB), kOk);
  json_error_t error;
  EXPECT_NE(ParseJson(image, error), nullptr) << error.text;
}

TEST_F(BackupTest, APathDecidesWhatIsOpenedCreatedAndTold) {
  Start({});
  ASSERT_EQ(Discover("1700000000"), kOk);
  struct Case {
    std::string path;
    Status open;
    Status create;
    Status query;
  };
  const std::string vm = "/" + subscription + "/web-rg/web-01";
  const std::string disk = RecordWith("/web-01-os");
  const std::vector<Case> cases{{disk, 6601, 6609, 0},  // of a machine that is not known yet
                                {vm, 6609, 6609, 0},
                                {"", 6609, 6609, 0},
                                {vm + "/Metadata/Foo=x", 6609, 6609, 0},
                                {vm + "/Metadata/Size=x", 0, 6609, 0},
                                {vm + "/a/b/c/d", 6601, 6601, 6601},
                                {vm + "/a/b/c//", 6601, 6601, 6601},
                                {RecordWith(db + "demodisks1"), 6601, 6609, 6601}};
  for (const Case& c : cases) {
    aapi_object_t* object = nullptr;
    EXPECT_EQ(table->open_object(server, c.path.c_str(), 0, &object), c.open) << c.path;
    if (object != nullptr) {
      EXPECT_EQ(table->write_object(object, "x", 1, 0, &info.size), 6609U);
      EXPECT_EQ(table->close_object(object), kOk);
    }
    EXPECT_EQ(table->create_object(server, c.path.c_str(), nullptr, &object), c.create) << c.path;
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(table->get_object_prop_byname(server, c.path.c_str(), &info), c.query) << c.path;
  }
  EXPECT_TRUE(log.contains(4, "get_snappath_from_realpath must be called before"));
  // With the machine known, its disk needs the backup's time too; an unknown path is read as an unmanaged disk's.
  ASSERT_EQ(table->get_object_prop_byname(server, (vm + "/Metadata/Size=x").c_str(), &info), kOk);
  EXPECT_EQ(table->get_object_prop_byname(server, disk.c_str(), &info), 6601U);
  EXPECT_EQ(Query(vm + "/ManagedDisks:Premium_LRS/web-rg/other", "1700000000"), kOk);
  EXPECT_EQ(info.size, 0U);
  EXPECT_EQ(ReadObject(disk, 512), 6613U);
}

TEST_F(BackupTest, AnExportLastsFromAQueryToTheClose) {
  PrepareMachine(web, "1700000000", kInBackup);
  const std::string path = RecordWith("/web-01-os");
  ASSERT_EQ(Query(path, "1700000000"), kOk);
  ASSERT_EQ(Query(path, "1700000000"), kOk) << "a second query replaces the first one's export";

  aapi_object_t* object = nullptr;
  ASSERT_EQ(table->open_object(server, path.c_str(), 0, &object), kOk);
  EXPECT_EQ(table->get_object_prop(object, &info), kOk);
  EXPECT_EQ(info.size, kGiB + 512U);
  std::string buffer(kMiB + 1, '\0');
  std::uint64_t count = 0;
  EXPECT_EQ(table->read_object(object, buffer.data(), kMiB, 0, &count), kOk) << "a look at it does not disturb it";
  EXPECT_EQ(count, static_cast<std::uint64_t>(kMiB));
  EXPECT_EQ(table->close_object(object), kOk);
  EXPECT_EQ(ManagedSnapshots().size(), 1U) << "not read to its end, it stays for another try";

  EXPECT_EQ(ReadObject(path, kMiB), 6781U);
  EXPECT_TRUE(log.contains(4, "is not in exported state"));
  ASSERT_EQ(Query(path, "1700000000"), kOk);
  ASSERT_EQ(ReadObject(path, kMiB), kOk);
  EXPECT_TRUE(image == ImageOfDisk("web-01-os"));
  EXPECT_EQ(ManagedSnapshots(), Texts{});
}

TEST_F(BackupTest, AFailedQueryOrOpenLeavesNoExportInTheWayOfTheNext) {
  PrepareMachine(web, "1700000000", kInBackup);
  const std::string path = RecordWith("/web-01-os");
  const auto refuse = [&](const char* method) {
    proxy.add({.method = method, .target = "snapshot=", .action = sim::AnswerWith{.response = {.status = 403}}});
  };
  refuse("HEAD");
  EXPECT_EQ(Query(path, "1700000000"), 6783U);
  EXPECT_TRUE(log.contains(4, "Failed to find blob reference for managed disk snapshot <"));
  refuse("GET");
  EXPECT_EQ(Query(path, "1700000000"), 2U);
  ASSERT_EQ(Query(path, "1700000000"), kOk);
  refuse("GET");
  EXPECT_EQ(ReadObject(path, kMiB), 2U) << "an image without the ranges would lack the disk's data";
  EXPECT_EQ(ReadObject(path, kMiB), 6781U);
  ASSERT_EQ(Query(path, "1700000000"), kOk);
  ASSERT_EQ(ReadObject(path, kMiB), kOk);
  EXPECT_TRUE(image == ImageOfDisk("web-01-os"));
}

TEST_F(BackupTest, NothingOfAMachineIsRememberedOverTheServersClose) {
  PrepareMachine(web, "1700000000", kInBackup);
  const std::string path = RecordWith("/web-01-os");
  ASSERT_EQ(Query(path, "1700000000"), kOk);
  Start(kInBackup);
  EXPECT_EQ(Query(path, "1700000000"), kOk);
  EXPECT_EQ(info.size, 0U) << "its machine is not known any more";
  EXPECT_EQ(ReadObject(path, kMiB), 6613U) << "nor its export";
}

TEST_F(BackupTest, AMachineIsReadOnceForEachDiscovery) {
  const auto reads = [&] {
    const auto requests = ManagementRequests();
    return std::count_if(requests.begin(), requests.end(), [](const auto& request) {
      return request.target.find("/virtualMachines/web-01?") != std::string::npos;
    });
  };
  for (const int expected : {2, 4}) {
    if (expected == 2) {
      Start(kInBackup);
    }
    ASSERT_EQ(Discover("1700000000"), kOk);
    for (const char* object : {"Metadata/Size=", "Metadata/VmName="}) {
      ASSERT_EQ(Query(RecordWith(web + object), "1700000000"), kOk);
    }
    EXPECT_EQ(reads(), expected) << "one by the discovery";
  }
}

TEST_F(BackupTest, NetworksThatCouldNotBeReadAreAskedForAgain) {
  Start({});
  ASSERT_EQ(Discover("1700000000"), kOk);
  simulator.add_fault({"GET", "networkInterfaces", 1, 2, sim::AnswerWith{{.status = 403}}});
  ASSERT_EQ(Query(RecordWith(web + "Metadata/Vnet="), "1700000000"), kOk) << "the machine's disks are there";
  EXPECT_EQ(info.size, 0U);
  EXPECT_TRUE(log.contains(4, "The networks of web-01 are not part of its backup"));
  ASSERT_EQ(Query(RecordWith(web + "Metadata/Nsg="), "1700000000"), kOk);
  EXPECT_GT(info.size, 0U);
}

TEST_F(BackupTest, ASnapshotNameThatWouldBeCutIsRefused) {
  Start({});
  std::array<char, 8> path{};
  for (const auto& [length, status] : {std::pair{511, Status{kOk}}, std::pair{512, Status{kInvalidArgument}}}) {
    const std::string name(static_cast<std::size_t>(length), '7');
    EXPECT_EQ(table->get_snappath_from_realpath(server, name.c_str(), "/s", path.data(), path.size()), status);
  }
}

TEST(ManagedDiskOfAPath, IsTheOneOfItsGroupOrTheOnlyOneOfItsName) {
  vm_details_t vm;
  std::size_t slot = 0;
  for (const auto& [group, name] : {std::pair{"one", "twice"}, std::pair{"two", "twice"}, std::pair{"one", "single"}}) {
    auto disk = std::make_unique<vm_managed_disk_t>();
    disk->m_disk_resource_group = group;
    disk->m_disk_name = name;
    vm.m_storage_profile.m_data_disks.at(slot++).m_disk = DiskOwner(std::move(disk));
  }
  const auto group_of = [&](const std::string& disk) -> std::string {
    const vm_managed_disk_t* const found = FindManagedDisk(vm, "/s/g/m/ManagedDisks:x/" + disk);
    return found == nullptr ? "" : found->m_disk_resource_group;
  };
  EXPECT_EQ(group_of("TWO/twice"), "two");
  EXPECT_EQ(group_of("other/twice"), "") << "either would be a guess";
  EXPECT_EQ(group_of("other/single"), "one");
}

TEST_F(BackupTest, ASnapshotThatCannotBeDeletedDoesNotFailTheClose) {
  PrepareMachine(web, "1700000000", kInBackup);
  ASSERT_EQ(Query(RecordWith("/web-01-data"), "1700000000"), kOk);
  simulator.add_fault({"DELETE", "/snapshots/", 1, 1, sim::AnswerWith{{.status = 409}}});
  EXPECT_EQ(ReadObject(RecordWith("/web-01-data"), kMiB), kOk);
  EXPECT_TRUE(log.contains(4, "Failed to delete snapshot "));
  ASSERT_EQ(Query(RecordWith(db + "demodisks1"), "1700000000"), kOk);
  proxy.add({.method = "DELETE", .action = sim::AnswerWith{.response = {.status = 409}}});
  EXPECT_EQ(ReadObject(RecordWith(db + "demodisks1"), kMiB), kOk);
  EXPECT_TRUE(log.contains(4, "it could not be deleted"));
}

TEST_F(BackupTest, AReadThatFailedStaysFailed) {
  Start({});
  ASSERT_EQ(Discover("1700000000"), kOk);
  const std::string path = RecordWith(db + "demodisks1");
  ASSERT_EQ(Query(path, "1700000000"), kOk);
  aapi_object_t* object = nullptr;
  ASSERT_EQ(table->open_object(server, path.c_str(), 0, &object), kOk);
  std::string buffer(8 * kMiB + 1, '\0');
  std::uint64_t count = 0;
  ASSERT_EQ(table->read_object(object, buffer.data(), 131072, 0, &count), kOk);
  // One request fails; those after it would not.
  proxy.add({.method = "GET", .target = "DB-01", .action = sim::AnswerWith{.response = {.status = 403}}});
  Status status = kOk;
  for (int i = 0; i < 4 && status == kOk; ++i) {
    status = table->read_object(object, buffer.data(), 2 * kMiB, 0, &count);
  }
  EXPECT_TRUE(status == kInternalError || status == kSystemCallFailed) << status;
  EXPECT_EQ(table->read_object(object, buffer.data(), 8 * kMiB, 0, &count), status);
  EXPECT_EQ(count, 0U);
  EXPECT_EQ(table->close_object(object), kOk);
  EXPECT_EQ(BlobSnapshots(), Texts{"1700000000"});
}

}  // namespace
}  // namespace backup_test
