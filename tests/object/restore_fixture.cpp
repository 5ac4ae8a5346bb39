#include "tests/object/restore_fixture.h"

#include <algorithm>

#include "src/object/object_path.h"

namespace backup_test {
namespace {

std::string Renamed(const std::string& path, const std::map<std::string, std::string>& values) {
  const std::size_t key = path.rfind('/') + 1;
  const auto value = values.find(path.substr(key, path.find('=', key) - key));
  return value == values.end() ? path : path.substr(0, path.find('=', key) + 1) + value->second;
}

}  // namespace

std::string Data(std::size_t size, unsigned seed) {
  std::string bytes(size, '\0');
  std::uint32_t state = seed;
  for (char& byte : bytes) {
    state = state * 1664525 + 1013904223;
    byte = static_cast<char>(state >> 24U);
  }
  return bytes;
}

void RestoreTest::StartRestore(const Settings& settings) {
  Start(settings);
  table->close_server(server);
  log.session().session_kind = AAPI_SESSION_RESTORE;
  const aapi_credentials_v1_t user{};
  const std::string name = "azurestack:" + simulator.management_host();
  EXPECT_EQ(table->open_server(&log.session(), name.c_str(), &user, &server), azurestackpi::kOk);
}

Status RestoreTest::Ask(const std::string& path) { return table->get_object_prop_byname(server, path.c_str(), &info); }

Status RestoreTest::Restore(const std::string& path, const std::string& bytes, std::uint64_t piece) {
  static_cast<void>(Ask(path));
  aapi_object_t* object = nullptr;
  Status status = table->create_object(server, path.c_str(), nullptr, &object);
  EXPECT_EQ(status == azurestackpi::kOk, object != nullptr);
  if (object == nullptr) {
    return status;
  }
  for (std::uint64_t at = 0; at < bytes.size() && status == azurestackpi::kOk; at += piece) {
    const std::uint64_t length = std::min<std::uint64_t>(piece, bytes.size() - at);
    std::uint64_t count = 0;
    status = table->write_object(object, bytes.data() + at, length, at, &count);
    EXPECT_TRUE(status != azurestackpi::kOk || count == length);
    if (piece < 512 && status == azurestackpi::kOk && log.lines().size() > 10'000) {
      log.clear();
    }
  }
  const Status closed = table->close_object(object);
  EXPECT_TRUE(status == azurestackpi::kOk || closed != azurestackpi::kOk) << "closed as if it were whole";
  return status == azurestackpi::kOk ? closed : status;
}

std::vector<RestoreTest::Object> RestoreTest::BackUpMachine(const std::string& machine) {
  std::vector<Object> objects;
  PrepareMachine(machine, "42", {});
  for (const std::string& path : RecordsWith(machine)) {
    EXPECT_EQ(Query(path, "42"), azurestackpi::kOk) << path;
    if (info.object_type != AAPI_OBJECT_FILE) continue;
    EXPECT_EQ(ReadObject(path, 8 * kMiB), azurestackpi::kOk) << path;
    objects.push_back({path, image});
  }
  return objects;
}

Status RestoreTest::GiveBack(const std::vector<Object>& objects, const std::map<std::string, std::string>& values) {
  std::string last;
  for (const bool small : {true, false}) {
    for (const Object& object : objects) {
      if (azurestackpi::azurestackpi_is_metapath(object.path) != small) continue;
      const std::string path = Renamed(object.path, values);
      if (const Status status = Restore(path, object.bytes); status != azurestackpi::kOk) return status;
      last = azurestackpi::azurestackpi_is_last_metafile(path) ? path : last;
    }
  }
  return table->set_object_utimes(server, last.c_str());
}

sim::Machine RestoreTest::MachineNow(const std::string& group, const std::string& name) const {
  const sim::World now = simulator.world();
  const auto& machines = now.subscriptions[0].resource_groups.at(group).machines;
  const auto found = machines.find(name);
  return found == machines.end() ? sim::Machine{} : found->second;
}

void RestoreTest::DeleteResource(const std::string& group, const std::string& resource,
                                 const std::string& api_version) {
  azurestackpi::HttpRequest request = Request("/subscriptions/" + subscription + "/resourceGroups/" + group +
                                              "/providers/Microsoft." + resource + "?api-version=" + api_version);
  request.method = azurestackpi::kDelete;
  request.block_type = azurestackpi::kLongRequest;
  EXPECT_EQ(Send(request), azurestackpi::kOk);
  EXPECT_LT(http_status, 300) << resource;
}

std::string RestoreTest::PathOf(const sim::Blob& blob) const {
  return "/" + subscription + "/Data_RG.1/DB-01/" + blob.account + ".blob." + world.region + "." + world.domain + ":" +
         std::to_string(proxy.port()) + "/" + blob.container + "/" + blob.name;
}

std::string RestoreTest::ManagedPath(const std::string& disk) const {
  return "/" + subscription + "/web-rg/web-01/ManagedDisks:Premium_LRS/web-rg/" + own_name + disk;
}

Texts RestoreTest::BlobNames(const std::string& container, const std::string& prefix) {
  azurestoragewrapper::BlobClient client = ClientOf(container, "");
  Texts names;
  for (const azurestoragewrapper::BlobItem& item : azurestoragewrapper::list_blobs(client, prefix, "").items) {
    names.push_back(item.name);
  }
  return names;
}

void RestoreTest::RemoveBlob(const std::string& container, const std::string& name) {
  azurestoragewrapper::BlobClient client = ClientOf(container, name);
  EXPECT_TRUE(azurestoragewrapper::delete_blob(client)) << name;
}

std::string RestoreTest::ImageOfBlob(const sim::Blob& blob) {
  Ranges ranges;
  for (const sim::ByteRange& range : blob_client.ranges(blob)) {
    AddRange(ranges, range.offset, blob_client.read(blob, range.offset, range.size));
  }
  return MakeImage(static_cast<std::uint64_t>(blob_client.size_of(blob)), ranges);
}

}  // namespace backup_test
