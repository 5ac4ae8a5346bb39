// Requests that make, change and delete, and what the services refuse of them. Nothing here needs the data of disks.
#include <gmock/gmock.h>

#include "disk_fixture.h"

namespace sim_test {
namespace {

sim::Options with_far_resources() {
  sim::Options options;
  options.world = world_with_spare_disk();
  sim::ResourceGroup& far = options.world.subscriptions[0].resource_groups["Data_RG.1"];
  far.disks["far"] = {.location = "elsewhere", .size_gb = 1};
  far.networks["far"] = {.location = "elsewhere", .subnets = {{"default", "10.9.0.0/24"}}};
  return options;
}

class RefusalsTest : public DiskFixture {
 protected:
  RefusalsTest() : DiskFixture(with_far_resources()) {}
};

TEST_F(RefusalsTest, OfSnapshots) {
  make_snapshot("taken", "spare");
  const std::string good = snapshot_body("spare");
  const std::string snapshots = compute + "snapshots/";
  const std::string long_name(81, 'a');
  const std::vector<Case> cases = {
      {"PUT", snapshots + long_name, good, 400, "InvalidParameter"},
      {"PUT", snapshots + long_name.substr(1), good, 202, "none"},
      {"PUT", snapshots + "a%20b", good, 400, "InvalidParameter"},
      {"PUT", snapshots + "a.", good, 400, "InvalidParameter"},
      {"PUT", snapshots + "b", "{", 400, "InvalidRequestContent"},
      {"PUT", snapshots + "b", "{}", 400, "LocationRequired"},
      {"PUT", snapshots + "b", with(good, "local", "westus"), 400, "LocationNotAvailableForResourceType"},
      {"PUT", snapshots + "b", with(good, "Premium_LRS", "Ultra"), 400, "InvalidParameter"},
      {"PUT", snapshots + "b", with(good, "\"copy\"", "\"Empty\""), 400, "InvalidParameter"},
      {"PUT", snapshots + "b", with(good, "\"copy\"", "7"), 400, "InvalidRequestContent"},
      {"PUT", snapshots + "b", with(good, "disks/spare", "disks/other"), 404, "NotFound"},
      {"PUT", snapshots + "b", with(good, "disks/spare", "virtualMachines/web-01"), 400, "InvalidParameter"},
      {"PUT", snapshots + "b", with(good, "4caa8431", "b6bb2c0e"), 400, "InvalidParameter"},
      {"PUT", snapshots + "b",
       with(good, "WEB-rg/providers/Microsoft.Compute/disks/spare", "data_rg.1/providers/Microsoft.Compute/disks/far"),
       400, "InvalidParameter"},
      {"PUT", snapshots + "taken", with(good, "disks/spare", "disks/web-01-os"), 409, "PropertyChangeNotAllowed"},
      {"PUT", snapshots + "b", with(good, "\"/subscriptions", "\"subscriptions"), 202, "none"},
      {"POST", snapshots + "absent/beginGetAccess", "{}", 404, "ResourceNotFound"},
      {"POST", snapshots + "absent/endGetAccess", "", 404, "ResourceNotFound"},
      {"POST", snapshots + "taken/beginGetAccess", R"({"access":"Write","durationInSeconds":1})", 400,
       "InvalidParameter"},
      {"POST", snapshots + "taken/beginGetAccess", R"({"access":"Read","durationInSeconds":0})", 400,
       "InvalidRequestContent"},
      {"POST", snapshots + "taken/endGetAccess", "", 202, "none"},
      {"DELETE", snapshots + "absent", "", 204, "none"},
      {"DELETE", compute + "disks/absent", "", 204, "none"},
      {"DELETE", compute + "disks/web-01-os", "", 409, "OperationNotAllowed"},
      {"GET", "/subscriptions/x/providers/Microsoft.Compute/snapshots", "", 404, "SubscriptionNotFound"},
      {"GET",
       "/subscriptions/4caa8431-21b4-4e0b-bca0-1542a5f11e23/providers/Microsoft.Compute/locations/local/"
       "DiskOperations/x",
       "", 404, "NotFound"},
  };
  expect_answers(cases, version);
  for (const char* method : {"PUT", "DELETE"}) {
    EXPECT_EQ(send(method, compute + "snapshots/b?api-version=2016-03-30", good).error(), "InvalidResourceType");
    EXPECT_EQ(client.send(method, management(snapshots + "b" + version)).status, 401);
    EXPECT_EQ(send(method, with(snapshots, "WEB-rg", "nobodys") + "b" + version, good).error(),
              "ResourceGroupNotFound");
  }
}

TEST_F(RefusalsTest, OfImports) {
  const std::string vhd = "https://demodisks1.blob.local.azurestack.localhost:1/c/b.vhd";
  const std::string good = import_body(vhd, "1", "demodisks1");
  const std::string disks = compute + "disks/";
  expect_answers({{"PUT", disks + "spare/", good, 409, "Conflict"},
                  {"PUT", disks + "n/", import_body(vhd, "0", "demodisks1"), 400, "InvalidParameter"},
                  {"PUT", disks + "n/", import_body(vhd, "1024", "demodisks1"), 400, "InvalidParameter"},
                  {"PUT", disks + "n/", import_body(vhd, "1x", "demodisks1"), 400, "InvalidRequestContent"},
                  {"PUT", disks + "n/", import_body(vhd, "1", "demodiag1"), 400, "InvalidParameter"},
                  {"PUT", disks + "n/", with(good, "4caa8431", "b6bb2c0e"), 400, "InvalidParameter"},
                  {"PUT", disks + "n/", with(good, "demodisks1.blob", "unknown.blob"), 400, "InvalidParameter"},
                  {"PUT", disks + "n/", with(good, "/c/b.vhd", "/c"), 400, "InvalidParameter"},
                  {"PUT", disks + "n/", with(good, "sourceUri", "sourceUrl"), 400, "InvalidRequestContent"},
                  {"PUT", disks + "n/", with(good, "\"Import\"", "\"Copy\""), 400, "InvalidParameter"},
                  {"PUT", disks + "n/", good, 202, "none"}},
                 version);
}

TEST_F(RefusalsTest, OfInterfacesAndPublicAddresses) {
  const std::string nics = network + "networkInterfaces/";
  const std::string addresses = network + "publicIPAddresses/";
  const std::string good = nic_body();
  const auto far = [&](const std::string& body) { return with(with(body, "WEB-rg", "data_rg.1"), "web-vnet", "far"); };
  expect_answers({{"PUT", nics + "n/", with(good, "\"local", "\"nowhere"), 400, "LocationNotAvailableForResourceType"},
                  {"PUT", nics + "n/", with(good, "subnets/default", "subnets/other"), 400, "InvalidResourceReference"},
                  {"PUT", nics + "n/", with(good, "/subnets/default", ""), 400, "InvalidResourceReference"},
                  {"PUT", nics + "n/", with(good, "web-vnet", "other"), 400, "InvalidResourceReference"},
                  {"PUT", nics + "n/", far(good), 400, "InvalidResourceReference"},
                  {"PUT", nics + "n/", with(good, "4caa8431", "b6bb2c0e"), 400, "InvalidResourceReference"},
                  {"PUT", nics + "n/", with(good, "web-nsg", "other"), 400, "InvalidResourceReference"},
                  {"PUT", nics + "n/", nic_body("other"), 400, "InvalidResourceReference"},
                  {"PUT", nics + "n/", nic_body("web-01-pip"), 400, "PublicIPAddressInUse"},
                  {"PUT", nics + "n/", with(good, "\"subnet\"", "\"subnets\""), 400, "InvalidParameter"},
                  {"PUT", nics + "n/", with(good, "[{", "[7,{"), 400, "InvalidRequestContent"},
                  {"PUT", nics + "a%20b/", good, 400, "InvalidParameter"},
                  {"GET", nics + "n/", "", 404, "ResourceNotFound"},
                  {"DELETE", nics + "n/", "", 204, "none"},
                  {"DELETE", nics + "web-01-nic/", "", 400, "NicInUse"},
                  {"PUT", addresses + "p/", "{}", 400, "LocationRequired"},
                  {"PUT", addresses + "p/", R"({"location":"nowhere"})", 400, "LocationNotAvailableForResourceType"},
                  {"PUT", addresses + "p/", R"({"location":"local"})", 201, "none"},
                  {"PUT", addresses + "P/", R"({"location":"local"})", 200, "none"},
                  {"PUT", nics + "n/", nic_body("p"), 201, "none"},
                  {"PUT", nics + "N/", nic_body("p"), 200, "none"},
                  {"PUT", nics + "m/", nic_body("p"), 400, "PublicIPAddressInUse"},
                  {"DELETE", addresses + "p/", "", 400, "PublicIPAddressCannotBeDeleted"},
                  {"DELETE", nics + "n/", "", 202, "none"},
                  {"DELETE", addresses + "p/", "", 202, "none"}},
                 network_version);
}

TEST_F(RefusalsTest, OfMachines) {
  ASSERT_EQ(send("PUT", network + "networkInterfaces/free" + network_version, nic_body()).status, 201);
  ASSERT_EQ(send("PUT", compute + "disks/unfinished" + version,
                 import_body("https://demodisks1.blob.local.azurestack.localhost/c/b.vhd", "1", "demodisks1"))
                .status,
            202);
  const std::string vm = compute + "virtualMachines/n/";
  const std::string good = machine_body(managed("spare"), "", "free");
  const auto with_data = [&](const std::string& disks) { return machine_body(managed("spare"), disks, "free"); };
  const auto vhd = [](const std::string& name, const std::string& blob) {
    return R"("name": ")" + name + R"(", "vhd": {"uri": "https://demodisks1.blob.local.azurestack.localhost/)" + blob +
           "\"}";
  };
  const auto with_vhd = [&](const std::string& blob) { return machine_body(vhd("os", blob), "", "free"); };
  expect_answers(
      {{"PUT", vm, good.substr(1), 400, "InvalidRequestContent"},
       {"PUT", vm, with(good, "\"Standard_A1_v2\"", "7"), 400, "InvalidRequestContent"},
       {"PUT", vm, with(good, "\"vmSize\"", "\"vmsise\":\"\",\"vmSize\""), 400, "InvalidRequestContent"},
       {"PUT", vm, with(good, "A1_v2", "A9_v9"), 400, "InvalidParameter"},
       {"PUT", vm, with(good, "\"local", "\"nowhere"), 400, "LocationNotAvailableForResourceType"},
       {"PUT", vm, with(good, "Attach", "FromImage"), 400, "InvalidParameter"},
       {"PUT", vm, with(good, "\"Linux", "\"BeOS"), 400, "InvalidRequestContent"},
       {"PUT", vm, with(good, "Interfaces/free", "Interfaces/other"), 400, "InvalidResourceReference"},
       {"PUT", vm, with(good, "Interfaces/free", "Interfaces/web-01-nic"), 400, "NicInUse"},
       {"PUT", vm, with(good, "demodiag1", "unknown"), 400, "StorageAccountNotFound"},
       {"PUT", vm, with(good, "disks/spare", "disks/other"), 404, "NotFound"},
       {"PUT", vm, with(good, "disks/spare", "disks/unfinished"), 404, "NotFound"},
       {"PUT", vm, with(good, "4caa8431", "b6bb2c0e"), 400, "InvalidParameter"},
       {"PUT", vm, with(good, "disks/spare", "disks/web-01-data"), 409, "ConflictingUserInput"},
       {"PUT", vm, with_data(data_disk(0, managed("web-01-data"))), 409, "ConflictingUserInput"},
       {"PUT", vm, with_data(data_disk(0, managed("spare"))), 400, "InvalidParameter"},
       {"PUT", vm, with_data(data_disk(64, managed("web-01-data"))), 400, "InvalidParameter"},
       {"PUT", vm, with_data(data_disk(0, vhd("d", "c/b.vhd"))), 409, "OperationNotAllowed"},
       {"PUT", vm, with_vhd("vhds/DB-01-os.vhd"), 409, "DiskBlobAlreadyInUseByAnotherDisk"},
       {"PUT", vm, with_vhd("vhds"), 400, "InvalidParameter"},
       {"PUT", vm, with(with_vhd("c/b.vhd"), "demodisks1", "labstaging1"), 400, "StorageAccountSubscriptionMismatch"},
       {"PUT", vm, with(with_vhd("c/b.vhd"), "\"name\"", "\"lun\""), 400, "InvalidParameter"},
       {"PUT", compute + "virtualMachines/web-01", good, 409, "PropertyChangeNotAllowed"},
       {"POST", vm + "powerOff", "", 404, "ResourceNotFound"},
       {"DELETE", vm, "", 204, "none"},
       {"GET", vm, "", 404, "ResourceNotFound"},
       {"PUT", vm, good, 201, "none"},
       {"POST", vm + "poweroff", "", 409, "OperationNotAllowed"},
       {"DELETE", vm, "", 409, "OperationNotAllowed"}},
      machine_version);
  simulator.advance_time(60);
  expect_answers({{"POST", vm + "deallocate", "", 202, "none"}}, machine_version);
  simulator.advance_time(60);
  expect_answers({{"POST", vm + "powerOff", "", 409, "OperationNotAllowed"},
                  {"PUT", vm, with(good, "A1_v2", "A2_v2"), 200, "none"}},
                 machine_version);

  // Two disks at one LUN, one VHD in two disks, and more disks than the size takes.
  const auto vhds = [&](std::initializer_list<std::pair<int, const char*>> disks) {
    std::string data;
    for (const auto& [lun, blob] : disks) {
      data += (data.empty() ? "" : ",") + data_disk(lun, vhd("d" + std::to_string(data.size()), blob));
    }
    return machine_body(vhd("os", "c/os.vhd"), data, "free");
  };
  const std::string other = compute + "virtualMachines/other/";
  ASSERT_EQ(send("PUT", network + "networkInterfaces/free2" + network_version, nic_body()).status, 201);
  const auto free2 = [&](const std::string& body) { return with(body, "Interfaces/free", "Interfaces/free2"); };
  expect_answers(
      {{"PUT", other, free2(vhds({{0, "c/a.vhd"}, {0, "c/b.vhd"}})), 400, "InvalidParameter"},
       {"PUT", other, free2(vhds({{0, "c/a.vhd"}, {1, "c/a.vhd"}})), 400, "InvalidParameter"},
       {"PUT", other, free2(vhds({{0, "c/a.vhd"}, {1, "c/b.vhd"}, {2, "c/c.vhd"}})), 409, "OperationNotAllowed"},
       {"PUT", other, free2(vhds({{0, "c/a.vhd"}, {5, "c/b.vhd"}})), 201, "none"}},
      machine_version);
}

}  // namespace
}  // namespace sim_test
