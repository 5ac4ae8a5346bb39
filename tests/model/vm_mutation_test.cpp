// Descriptions of machines with one thing wrong at a time, in another order, and what copies of records hold.
#include <algorithm>
#include <nlohmann/json.hpp>
#include <set>

#include "src/model/azurestack_rg.h"
#include "src/model/vm_reader.h"
#include "src/rest/json_text.h"
#include "tests/model/model_fixture.h"

namespace model_test {
namespace {

using namespace azurestackpi;
using Json = nlohmann::ordered_json;

const char* const kManaged = "vm-managed-linux-2-data-disks-lun-gap-running.json";
const char* const kUnmanaged = "vm-unmanaged-linux-deallocated.json";
const char* const kSecrets = "vm-managed-windows-secrets-running.json";
const char* const kPlan = "vm-managed-linux-plan-data-disk-running.json";

// Every value of a body, by where it stands.
void CollectPaths(const Json& value, const Json::json_pointer& here, std::vector<Json::json_pointer>& paths) {
  if (!value.is_structured()) {
    return;
  }
  for (const auto& item : value.items()) {
    const Json::json_pointer path = value.is_array() ? here / std::stoul(item.key()) : here / item.key();
    paths.push_back(path);
    CollectPaths(item.value(), path, paths);
  }
}

std::vector<Json::json_pointer> Paths(const Json& body) {
  std::vector<Json::json_pointer> paths;
  CollectPaths(body, Json::json_pointer(), paths);
  return paths;
}

// The body with the value at a path removed.
std::string Without(Json body, const Json::json_pointer& path) {
  Json& parent = body[path.parent_pointer()];
  if (parent.is_array()) {
    parent.erase(std::stoul(path.back()));
  } else {
    parent.erase(path.back());
  }
  return body.dump();
}

// The body with a second, null member of the same name behind the one at a path.
std::string Repeated(Json body, const Json::json_pointer& path) {
  Json& parent = body[path.parent_pointer()];
  if (!parent.is_object()) {
    return body.dump();
  }
  parent["repeated member"] = nullptr;
  std::string text = body.dump();
  const std::string stand_in = "\"repeated member\"";
  return text.replace(text.find(stand_in), stand_in.size(), Json(path.back()).dump());
}

std::vector<std::string> Mutations(const Json& body, const Json::json_pointer& path, std::size_t huge = 1 << 10) {
  std::vector<std::string> texts{Without(body, path)};
  const std::vector<Json> values{nullptr,
                                 -1,
                                 9223372036854775807,
                                 1.5,
                                 true,
                                 "",
                                 "/",
                                 "x",
                                 "%s%n",
                                 "m\xc3\xa4schine \xe6\x9c\xba",
                                 "/a/resourceGroups",
                                 "/subscriptions/s/resourceGroups/r/" + std::string(200, '/'),
                                 std::string(huge, 'L'),
                                 Json::array(),
                                 Json::array({nullptr, 1, "x", Json::object(), Json::array()}),
                                 Json::object(),
                                 {{"id", 1}, {"uri", nullptr}}};
  for (const Json& value : values) {
    Json changed = body;
    changed[path] = value;
    texts.push_back(changed.dump());
  }
  return texts;
}

VmVerdict ReadText(const std::string& text, vm_details_t& vm) {
  json_error_t error{};
  const JsonPtr root = ParseJson(text, error);
  EXPECT_NE(root, nullptr) << error.text;
  return ReadVmDescription(root.get(), vm);
}

void ExpectFindable(const DiskOwner& disk, const vm_details_t& vm, const std::string& text) {
  ASSERT_TRUE(disk) << text;
  if (const vm_managed_disk_t* managed = disk.managed()) {
    const bool named = !managed->m_disk_id.empty() && !managed->m_disk_subscription_id.empty() &&
                       !managed->m_disk_resource_group.empty() && !managed->m_lun.empty();
    EXPECT_TRUE(named) << text;
    EXPECT_EQ(managed->m_vm_id, vm.m_vm_id);
  } else if (const vm_unmanaged_disk_t* unmanaged = disk.unmanaged()) {
    // Cut behind the scheme it makes an unmanaged disk's path: two slashes of its own.
    const std::string path = unmanaged->m_uri.substr(std::min<std::size_t>(8, unmanaged->m_uri.size()));
    EXPECT_EQ(std::count(path.begin(), path.end(), '/'), 2) << text;
  }
}

// What holds for each machine that is accepted, however odd its description: each disk that was counted can be found.
void ExpectWhole(const vm_details_t& vm, const std::string& text) {
  const vm_storage_profile_t& storage = vm.m_storage_profile;
  ASSERT_LE(storage.m_data_disk_count, 4) << text;
  ExpectFindable(storage.m_os_disk.m_disk, vm, text);
  for (int i = 0; i < storage.m_data_disk_count; ++i) {
    ExpectFindable(storage.m_data_disks.at(static_cast<std::size_t>(i)).m_disk, vm, text);
  }
}

TEST(VmMutationTest, AnyMemberMayBeWrong) {
  const test_support::FreshState fresh;
  test_support::LogTranscript log;
  const CapturedOutput output;
  std::size_t accepted = 0;
  std::size_t refused = 0;
  for (const char* file : {kManaged, kUnmanaged, kSecrets, kPlan}) {
    const Json body = Json::parse(ReadData(file));
    for (const Json::json_pointer& path : Paths(body)) {
      for (const std::string& text : Mutations(body, path, file == kManaged ? 1 << 20 : 1 << 10)) {
        vm_details_t vm;
        const VmVerdict verdict = ReadText(text, vm);
        log.clear();
        if (verdict.status == kOk) {
          ++accepted;
          ExpectWhole(vm, path.to_string() + ": " + text.substr(0, 4000));
        } else {
          ++refused;
          EXPECT_TRUE(verdict.status == kInvalidArgument || verdict.status == kConfigurationInvalid);
          EXPECT_FALSE(verdict.reason.empty()) << path.to_string();
        }
      }
    }
  }
  EXPECT_GT(accepted, 1000U);
  EXPECT_GT(refused, 100U);
}

TEST(VmMutationTest, TheRootMayBeAnything) {
  const test_support::FreshState fresh;
  for (const char* text : {"[]", "{}", "[[[]]]", "{\"properties\":[]}"}) {
    vm_details_t vm;
    EXPECT_EQ(ReadText(text, vm).status, kConfigurationInvalid) << text;
  }
}

std::string ManagedDisks(const vm_details_t& vm) {
  std::string text;
  for (const vm_data_disks_t& slot : vm.m_storage_profile.m_data_disks) {
    if (const vm_managed_disk_t* disk = slot.m_disk.managed()) {
      text += disk->m_vm_id + " " + disk->m_lun + " " + disk->m_disk_name + ";";
    }
  }
  return text;
}

TEST(VmMutationTest, TheOrderOfMembersDoesNotMatter) {
  const test_support::FreshState fresh;
  for (const char* file : {kManaged, kUnmanaged, kSecrets, kPlan}) {
    const Json body = Json::parse(ReadData(file));
    vm_details_t given;
    ASSERT_EQ(ReadText(body.dump(), given).status, kOk);
    const nlohmann::json sorted = body;
    vm_details_t other;
    ASSERT_EQ(ReadText(sorted.dump(), other).status, kOk);
    EXPECT_EQ(Describe(other), Describe(given));
    EXPECT_EQ(ManagedDisks(other), ManagedDisks(given));
  }
}

TEST(VmMutationTest, ACopyOutlivesTheRecordItWasMadeFrom) {
  const test_support::FreshState fresh;
  auto original = std::make_unique<vm_details_t>();
  ASSERT_EQ(ReadText(ReadData(kManaged), *original).status, kOk);
  original->m_flag = true;
  const std::string before = Describe(*original) + ManagedDisks(*original);
  const vm_details_t copy = *original;
  vm_details_t assigned;
  assigned = copy;
  EXPECT_NE(copy.m_storage_profile.m_os_disk.m_disk.get(), original->m_storage_profile.m_os_disk.m_disk.get());
  original.reset();
  EXPECT_EQ(Describe(copy) + ManagedDisks(copy), before);
  EXPECT_EQ(Describe(assigned) + ManagedDisks(assigned), before);
  EXPECT_TRUE(copy.m_flag);
}

TEST(VmMutationTest, MoreDisksAndSecretsThanFit) {
  const test_support::FreshState fresh;
  test_support::LogTranscript log;
  const CapturedOutput output;
  Json body = Json::parse(ReadData(kSecrets));
  Json& secrets = body["properties"]["osProfile"]["secrets"];
  for (int i = 1; i < 6; ++i) {
    secrets.push_back({{"n", i}});
  }
  vm_details_t vm;
  EXPECT_EQ(ReadText(body.dump(), vm).status, kOk);
  EXPECT_EQ(vm.m_os_profile.m_secrets[3], "{\"n\":3}");
  EXPECT_TRUE(log.contains(3, "2 of 6 secrets are not kept"));
  body["properties"]["osProfile"]["secrets"] = Json::array();
  EXPECT_EQ(ReadText(body.dump(), vm).status, kOk);
  EXPECT_EQ(vm.m_os_profile.m_secrets, decltype(vm.m_os_profile.m_secrets){});
  Json& disks = body["properties"]["storageProfile"]["dataDisks"];
  for (int i = 0; i < 64; ++i) {
    disks.push_back({{"lun", i}, {"vhd", {{"uri", "https://a/c/" + std::to_string(i)}}}});
    vm_details_t other;
    EXPECT_EQ(ReadText(body.dump(), other).status, i < 4 ? kOk : kConfigurationInvalid) << i;
    EXPECT_EQ(other.m_storage_profile.m_data_disk_count, i + 1);
  }
}

// What would be published under the path of something else, or of nothing, is not published.
TEST(VmMutationTest, DisksThatNoPathCanNameAreRefused) {
  const test_support::FreshState fresh;
  const CapturedOutput output;
  const std::string managed_id = "/subscriptions/s/resourceGroups/rg/providers/Microsoft.Compute/disks/data1";
  const auto vhd = [](const char* uri) { return Json::array({{{"vhd", {{"uri", uri}}}}}); };
  const auto managed = [](const std::string& id) { return Json::array({{{"managedDisk", {{"id", id}}}}}); };
  Json slash = managed(managed_id);
  slash[0]["name"] = "a/b";
  Json two = Json::array({managed(managed_id)[0], managed(managed_id + "2")[0]});
  two[1]["lun"] = 1;
  Json one_lun = two;
  one_lun[0]["lun"] = 1;
  Json same_disk = two;
  same_disk[1]["managedDisk"]["id"] = "/subscriptions/s/resourceGroups/RG/providers/Microsoft.Compute/disks/DATA1";
  Json same_blob = Json::array({vhd("https://a.blob.x/vhds/d.vhd")[0], vhd("https://a.blob.x/vhds/d.vhd")[0]});
  const char* const no_blob = "its data disk 0 is not a blob directly in a container";
  const std::vector<std::pair<Json, std::string>> cases{
      // the disks, and why their machine is refused
      {vhd("https://a.blob.x/vhds/d.vhd"), ""},
      {vhd("https://a.blob.x/root.vhd"), no_blob},
      {vhd("https://a.blob.x/vhds/folder/d.vhd"), no_blob},
      {vhd("https://a.blob.x//d.vhd"), no_blob},
      {vhd("https://a.blob.x/vhds/"), no_blob},
      {vhd("x"), no_blob},
      {managed(managed_id), ""},
      {slash, "has a name or resource group that cannot be part of a path: a/b"},
      {managed("/subscriptions/s/resourceGroups/r?g/x/y/disks/d"), "has a name or resource group that cannot be part"},
      {managed("/subscriptions/s"), "its data disk 0 has a malformed managed-disk id: /subscriptions/s"},
      {managed(""), "has neither a VHD address nor a managed-disk id"},
      {two, ""},
      {one_lun, "two of its managed data disks have the LUN 1"},
      {same_disk, "two of its disks are one and the same"},
      {same_blob, "two of its disks are one and the same"},
      {"x", "its data disks cannot be read"},
      {5, "its data disks cannot be read"},
      {Json::object(), "its data disks cannot be read"}};
  for (const auto& [disks, reason] : cases) {
    Json body = Json::parse(ReadData(kSecrets));
    body["properties"]["storageProfile"]["dataDisks"] = disks;
    vm_details_t vm;
    const VmVerdict verdict = ReadText(body.dump(), vm);
    EXPECT_EQ(verdict.status, reason.empty() ? kOk : kConfigurationInvalid) << disks.dump();
    EXPECT_NE(verdict.reason.find(reason), std::string::npos) << verdict.reason;
    for (const vm_data_disks_t& slot : vm.m_storage_profile.m_data_disks) {
      const vm_managed_disk_t* const disk = verdict.status == kOk ? slot.m_disk.managed() : nullptr;
      EXPECT_TRUE(disk == nullptr || disk->m_disk_id.ends_with("/" + disk->m_disk_name)) << "named by its id";
    }
  }
  Json body = Json::parse(ReadData(kSecrets));
  body["properties"].erase("vmId");
  vm_details_t vm;
  EXPECT_EQ(ReadText(body.dump(), vm).reason, "it has managed disks, but no vmId to tell their snapshots by");
}

// Through the whole reader: whatever is wrong with one machine of a list, the others are read.
class VmListMutationTest : public ModelTest {};

TEST_F(VmListMutationTest, OtherMachinesOfTheListAreRead) {
  Json body = Json::parse(ReadData(kManaged));
  Json list = {{"value", Json::array()}};
  std::size_t number = 0;
  for (const Json::json_pointer& path : Paths(body)) {
    const std::string name = "odd" + std::to_string(number);
    body = Json::parse(WithId(body.dump(), name));
    body["name"] = name;
    std::vector<std::string> texts = Mutations(body, path);
    texts.push_back(Repeated(body, path));
    ServeOnce("/virtualMachines/" + name + "\\?", texts[number % texts.size()]);
    list["value"].push_back({{"name", name}});
    ++number;
  }
  list["value"].push_back({{"name", "vm-state-mod"}});
  ServeOnce("/virtualMachines\\?", list.dump());
  Serve("/virtualMachines/vm-state-mod\\?", WithId(ReadData(kUnmanaged), "vm-state-mod"));
  Serve("/networkInterfaces/", ReadData("nic-definition.json"));
  Serve("/disks/", ReadData("disk-unattached.json"));
  const CapturedOutput output;
  azurestackRG groups(rest, Env());
  EXPECT_EQ(groups.buildRGFromEnv(), kOk);
  const auto& machines = groups.resource_groups().at(0)->m_vm->vm_details();
  EXPECT_EQ(machines.back()->m_name, "vm-state-mod");
  std::size_t left_out = 0;
  for (const test_support::LogLine& line : log.lines()) {
    if (line.level == 4 && line.text.find("VM /sub/rg/odd") != std::string::npos) {
      ++left_out;
    }
  }
  EXPECT_GT(left_out, 0U);
  EXPECT_EQ(left_out + machines.size(), number + 1) << "each machine is either there or named in a line";
}

}  // namespace
}  // namespace model_test
