#include "tests/object/backup_fixture.h"

#include <algorithm>
#include <cstring>
#include <regex>

#include "sim/disk_content.h"
#include "sim/vhd_footer.h"
#include "tests/support/read_file.h"

namespace backup_test {

namespace {

constexpr const char* kWebGroup = "web-rg";
constexpr const char* kDbGroup = "Data_RG.1";

sim::Options OverProxy(const sim::World& world, std::uint16_t port) {
  sim::Options options;
  options.world = world;
  options.blob_port = port;
  return options;
}

}  // namespace

sim::World SmallWorld() {
  sim::World world = sim_test::with_own_containers(sim::demo_world());
  auto& groups = world.subscriptions[0].resource_groups;
  groups[kWebGroup].disks["web-01-os"].content = {
      {{0, 4096}, {kMiB, 10 * kMiB}, {11 * kMiB, 4096}, {500 * kMiB, kMiB + 8192}}};
  groups[kWebGroup].disks["web-01-data"].content.emplace();
  groups[kDbGroup].machines["DB-01"].os_disk.content = {{{8192, 4096}, {64 * kMiB, 5 * kMiB}, {kGiB - 4096, 4096}}};
  return world;
}

void AddRange(Ranges& ranges, std::int64_t offset, const std::string& bytes) {
  const auto at = static_cast<std::uint64_t>(offset);
  const bool touches = !ranges.empty() && ranges.rbegin()->first + ranges.rbegin()->second.size() == at;
  (touches ? ranges.rbegin()->second : ranges[at]) += bytes;
}

std::string MakeImage(std::uint64_t disk_size, const Ranges& ranges) {
  std::string table;
  std::string data;
  const auto append = [&table](std::uint64_t word) {
    table.append(reinterpret_cast<const char*>(&word), sizeof(word));
  };
  std::uint64_t allocated = 0;
  for (const auto& [offset, bytes] : ranges) {
    allocated += bytes.size();
  }
  const std::uint64_t metadata = 40 + 16 * ranges.size();
  const std::uint64_t padding = 131072 - metadata % 131072;
  for (const std::uint64_t word : {metadata, disk_size, allocated, std::uint64_t{ranges.size()}, padding}) {
    append(word);
  }
  for (const auto& [offset, bytes] : ranges) {
    append(offset);
    append(bytes.size());
    data += bytes;
  }
  return table.append(padding, '\0').append(data);
}

BackupTest::BackupTest() : BackupTest(SmallWorld()) {}

BackupTest::BackupTest(const sim::World& of)
    : OpenServer(OverProxy(of, proxy.port())), small_world(of), subscription(of.subscriptions[0].id) {}

BackupTest::~BackupTest() {
  EXPECT_EQ(proxy.unused_faults(), Texts{});
  ClearLog();
}

void BackupTest::ClearLog() {
  const std::string text = log.text();
  for (const auto& [name, account] : small_world.storage_accounts) {
    for (const std::string& key : account.keys) {
      EXPECT_EQ(text.find(key), std::string::npos) << "a key of account " << name << " is in the log";
    }
  }
  for (std::size_t at = text.find("sig="); at != std::string::npos; at = text.find("sig=", at + 1)) {
    EXPECT_EQ(text.compare(at + 4, 1, "*"), 0) << "a signature is in the log: " << text.substr(at, 9);
  }
  log.clear();
}

void BackupTest::Start(const Settings& settings) {
  transport_test::ServerSetup setup = AadSetup();
  setup.config.insert(settings.begin(), settings.end());
  EXPECT_EQ(Open(setup), azurestackpi::kOk);
}

Status BackupTest::Discover(const std::string& snapid) {
  records.clear();
  const std::string suffix = "wl" + std::to_string(++discoveries_);
  const std::string directory = folder.path("out");
  const Status status = table->discovery(server, ("/" + subscription).c_str(), "w", directory.c_str(), suffix.c_str(),
                                         "full", snapid.c_str());
  std::string bytes;
  try {
    bytes = test_support::read_file(directory + "/w." + suffix + ".1");
  } catch (const std::runtime_error&) {
    return status;  // nothing was found
  }
  for (std::size_t at = 0; at + sizeof(std::uint64_t) <= bytes.size();) {
    std::uint64_t length = 0;
    std::memcpy(&length, bytes.data() + at, sizeof(length));
    const std::string record = bytes.substr(at + sizeof(length), length - 1);
    at += sizeof(length) + length;
    if (record.starts_with("/")) {
      records.push_back(record);
    }
  }
  return status;
}

Texts BackupTest::RecordsWith(const std::string& text) const {
  Texts found;
  std::copy_if(records.begin(), records.end(), std::back_inserter(found),
               [&](const std::string& record) { return record.find(text) != std::string::npos; });
  return found;
}

std::string BackupTest::RecordWith(const std::string& text) const {
  const Texts found = RecordsWith(text);
  EXPECT_FALSE(found.empty()) << text;
  return found.empty() ? "" : found.back();
}

Status BackupTest::Query(const std::string& path, const std::string& snapid) {
  std::array<char, 4096> snappath{};
  EXPECT_EQ(table->get_snappath_from_realpath(server, snapid.c_str(), path.c_str(), snappath.data(), snappath.size()),
            azurestackpi::kOk);
  return table->get_object_prop_byname(server, snappath.data(), &info);
}

Status BackupTest::ReadObject(const std::string& path, std::uint64_t piece) {
  aapi_object_t* object = nullptr;
  Status status = table->open_object(server, path.c_str(), 0, &object);
  EXPECT_EQ(status == azurestackpi::kOk, object != nullptr);
  if (object == nullptr) {
    image.clear();
    return status;
  }
  status = ReadToEnd(object, piece);
  const Status closed = table->close_object(object);
  return status == azurestackpi::kOk ? closed : status;
}

aapi_object_t* BackupTest::OpenForReading(const std::string& path) {
  aapi_object_t* object = nullptr;
  EXPECT_EQ(table->open_object(server, path.c_str(), 0, &object), azurestackpi::kOk) << path;
  return object;
}

Status BackupTest::ReadToEnd(aapi_object_t* object, std::uint64_t piece) {
  image.clear();
  std::string buffer(piece + 1, '\0');
  std::uint64_t count = 0;
  Status status = azurestackpi::kOk;
  do {
    const std::size_t lines = log.lines().size();
    status = table->read_object(object, buffer.data(), piece, image.size(), &count);
    image.append(buffer, 0, count);
    if (piece < 512 && status == azurestackpi::kOk && lines > 10'000) {
      ClearLog();
    }
  } while (status == azurestackpi::kOk && count != 0);
  return status;
}

void BackupTest::PrepareMachine(const std::string& machine, const std::string& snapid, const Settings& settings) {
  Start(settings);
  ASSERT_EQ(Discover(snapid), azurestackpi::kOk);
  for (const std::string& path : RecordsWith(machine + "Metadata/UseManagedDisk=")) {
    ASSERT_EQ(Query(path, snapid), azurestackpi::kOk) << path;
  }
}

sim::Blob BackupTest::NewContainer(const std::string& blob_name) {
  sim::Blob blob{Vhd().account, azurite::new_container_name(), blob_name};
  blob_client.create_container(blob.account, blob.container);
  return blob;
}

std::string BackupTest::ImageOf(const std::string& disk_name, const sim::DiskContent& content) {
  Ranges ranges;
  for (const sim::ByteRange& range : sim::data_ranges(content, kGiB)) {
    AddRange(ranges, range.offset, sim::disk_data(disk_name, range.offset, range.size));
  }
  AddRange(ranges, kGiB, sim::vhd_footer(disk_name, kGiB));
  return MakeImage(kGiB + sim::vhd_footer_size, ranges);
}

std::string BackupTest::ImageOfDisk(const std::string& disk_name) const {
  const auto& groups = small_world.subscriptions[0].resource_groups;
  const auto& managed = groups.at(kWebGroup).disks;
  const auto disk = managed.find(disk_name);
  return ImageOf(disk_name, disk == managed.end() ? groups.at(kDbGroup).machines.at("DB-01").os_disk.content
                                                  : disk->second.content);
}

Texts BackupTest::ManagedSnapshots() {
  EXPECT_EQ(
      Send(Request("/subscriptions/" + subscription + "/providers/Microsoft.Compute/snapshots?api-version=2017-03-30")),
      azurestackpi::kOk);
  const std::regex id(R"re(/Snapshots/([^"/]+)")re");
  Texts names;
  for (auto at = std::sregex_iterator(response.body.begin(), response.body.end(), id); at != std::sregex_iterator();
       ++at) {
    names.push_back((*at)[1]);
  }
  std::sort(names.begin(), names.end());
  return names;
}

long BackupTest::Exported() {
  static_cast<void>(ManagedSnapshots());
  const std::regex state(R"re("diskState": *"ActiveSAS")re");
  return std::distance(std::sregex_iterator(response.body.begin(), response.body.end(), state), {});
}

void BackupTest::MakeManagedSnapshot(const std::string& name) {
  const std::string group = "/subscriptions/" + subscription + "/resourceGroups/web-rg/providers/Microsoft.Compute/";
  azurestackpi::HttpRequest request = Request(group + "snapshots/" + name + "?api-version=2017-03-30");
  const azurestackpi::_buffer_s body =
      R"({"location":"local","tags":{},"sku":{"name":"Premium_LRS"},"properties":{"creationData":)"
      R"({"createOption":"copy","sourceresourceid":")" +
      group + R"(disks/web-01-os"}}})";
  request.method = azurestackpi::kPut;
  request.body = &body;
  request.block_type = azurestackpi::kLongRequest;
  EXPECT_EQ(Send(request), azurestackpi::kOk);
  EXPECT_LT(http_status, 300) << response.body;
}

sim::Blob BackupTest::Vhd() const {
  return *small_world.subscriptions[0].resource_groups.at(kDbGroup).machines.at("DB-01").os_disk.vhd;
}

azurestoragewrapper::BlobClient BackupTest::ClientOf(const std::string& container, const std::string& name) const {
  const std::string account = Vhd().account;
  const std::string connection = "DefaultEndpointsProtocol=http;AccountName=" + account +
                                 ";AccountKey=" + azurite::key(account) + ";EndpointSuffix=" + world.region + "." +
                                 world.domain + ":" + std::to_string(azurite::port());
  return {azurestoragewrapper::BlobAccess(connection, container, name), {}};
}

Texts BackupTest::BlobSnapshots() {
  azurestoragewrapper::BlobClient client = ClientOf(Vhd().container, "");
  auto items = azurestoragewrapper::list_blobs(client, Vhd().name, "").items;
  std::sort(items.begin(), items.end(),
            [](const auto& left, const auto& right) { return left.snapshot < right.snapshot; });
  Texts ids;
  for (const azurestoragewrapper::BlobItem& item : items) {
    if (item.snapshot.empty()) {
      continue;
    }
    ids.emplace_back();
    for (const auto& [name, value] : item.metadata) {
      ids.back() = name == "snapid" ? value : ids.back();
    }
  }
  return ids;
}

void BackupTest::MakeBlobSnapshot(const std::string& snapid, const std::string& snapkey) {
  azurestoragewrapper::BlobClient client = ClientOf(Vhd().container, Vhd().name);
  static_cast<void>(azurestoragewrapper::snapshot_blob(client, {{"snapid", snapid}, {"snapkey", snapkey}}));
  static_cast<void>(BlobSnapshots());  // two of one millisecond would have one name
}

void BackupTest::OverwriteVhd(const std::string& bytes) { blob_client.write(Vhd(), 8192, bytes); }

}  // namespace backup_test
