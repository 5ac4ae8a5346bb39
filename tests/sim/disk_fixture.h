// Disks, machines and networks of the demonstration world, and one disk more, as a client handles them.
#pragma once

#include <set>
#include <string>
#include <utility>
#include <vector>

#include "simulator_fixture.h"

namespace sim_test {

inline sim::World world_with_spare_disk() {
  sim::World world = sim::demo_world();
  world.subscriptions[0].resource_groups["web-rg"].disks["spare"] = {.location = "local", .size_gb = 1};
  return world;
}

class DiskFixture : public SimulatorTest {
 protected:
  explicit DiskFixture(sim::Options options) : SimulatorTest(std::move(options)) {}

  static constexpr const char* version = "?api-version=2017-03-30";
  static constexpr const char* machine_version = "?api-version=2017-12-01";
  static constexpr const char* network_version = "?api-version=2017-10-01";
  const std::string token = bearer();
  const std::string group = "/subscriptions/4caa8431-21b4-4e0b-bca0-1542a5f11e23/resourcegroups/WEB-rg";
  const std::string compute = group + "/providers/Microsoft.Compute/";
  const std::string network = group + "/providers/Microsoft.Network/";

  Answer send(const std::string& method, const std::string& path, const std::string& body = "") {
    return client.send(method, management(path), {token, "Content-Type: application/json"}, body);
  }

  /// A request for a snapshot of a disk of the group.
  std::string snapshot_body(const std::string& disk) const {
    return R"({"location":"local","tags":{},"sku":{"name":"Premium_LRS"},"properties":{"creationData":)"
           R"({"createOption":"copy","sourceresourceid":")" +
           compute + "disks/" + disk + "\"}}}";
  }

  /// A request for a disk with the data of a blob; the account's id has no slash at its start.
  static std::string import_body(const std::string& uri, const std::string& size, const std::string& account) {
    return R"({  "location": "local","properties": {"creationData": {"createOption": "Import", "storageAccountId" : )"
           R"("subscriptions/4caa8431-21b4-4e0b-bca0-1542a5f11e23/resourceGroups/data_rg.1/providers/)"
           "Microsoft.Storage/storageAccounts/" +
           account + R"(", "sourceUri" : ")" + uri + R"("}, "diskSizeGB" : ")" + size +
           R"("}, "sku" : {"name" : "Premium_LRS", "tier" : "Premium"}})";
  }

  /// A request for an interface in the group's network, with its security group and maybe with a public address.
  std::string nic_body(const std::string& public_address = "") const {
    const std::string address = public_address.empty() ? ""
                                                       : R"("publicIPAddress": {"id":  ")" + network +
                                                             "publicIPAddresses/" + public_address + R"("},)";
    return R"({  "location": "local","properties": {"ipConfigurations": [{"name": "n","properties":{)" + address +
           R"("subnet": {"id": ")" + network + R"(virtualNetworks/web-vnet/subnets/default"}}}])" +
           R"(,"networkSecurityGroup": {"id" : ")" + network + R"(networkSecurityGroups/web-nsg"}}})";
  }

  /// A request for a machine that is made of these; `os_disk` and `data_disks` as members of the storage profile.
  std::string machine_body(const std::string& os_disk, const std::string& data_disks, const std::string& nic) const {
    return R"({"type": "Microsoft.Compute/virtualMachines","location": "local","tags": {"role":"","ö":"\"q\""},)"
           R"("properties": {"hardwareProfile": { "vmSize": "Standard_A1_v2"},"storageProfile": { "osDisk": )"
           R"({ "osType": "Linux","createOption" : "Attach", )" +
           os_disk + R"(,"caching": "ReadWrite" }, "dataDisks": [)" + data_disks +
           R"(]},"networkProfile": {"networkInterfaces":[{ "id": ")" + network + "networkInterfaces/" + nic +
           R"("}]},"diagnosticsProfile": {"bootDiagnostics": { "enabled": true, "storageUri": )"
           R"("https://demodiag1.blob.local.azurestack.localhost/" }}}})";
  }

  std::string managed(const std::string& disk) const {
    return R"("managedDisk": { "id": ")" + compute + "disks/" + disk + R"("})";
  }

  static std::string data_disk(int lun, const std::string& disk) {
    return R"({"lun":)" + std::to_string(lun) + R"(,  "createOption": "Attach", )" + disk + "}";
  }

  struct Case {
    std::string method, path, body;  // the path without its version
    long status;
    std::string error;  // "none" for what is taken
  };

  /// Sends each and expects what it says.
  void expect_answers(const std::vector<Case>& cases, const std::string& api_version) {
    for (const Case& test : cases) {
      const Answer answer = send(test.method, test.path + api_version, test.body);
      const std::string what = test.method + " " + test.path + " " + test.body + "\n" + answer.body;
      EXPECT_EQ(answer.status, test.status) << what;
      EXPECT_EQ(answer.error(), test.error) << what;
    }
  }

  /// The text with its first `what` replaced.
  static std::string with(std::string text, const std::string& what, const std::string& by) {
    const std::size_t at = text.find(what);
    EXPECT_NE(at, std::string::npos) << what;
    return at == std::string::npos ? text : text.replace(at, what.size(), by);
  }

  /// The value of a header of the answer.
  static std::string header(const Answer& answer, const std::string& name) {
    const std::size_t at = answer.head.find("\n" + name + ": ");
    if (at == std::string::npos) return "";
    const std::size_t value = at + name.size() + 3;
    return answer.head.substr(value, answer.head.find('\r', value) - value);
  }

  /// Follows an accepted request to its end and returns the last answer's body.
  nlohmann::json followed(const Answer& accepted) {
    const std::string operation = header(accepted, "Azure-AsyncOperation");
    EXPECT_NE(operation, "") << accepted.status << accepted.body;
    for (int poll = 0; poll < 10 && !operation.empty(); ++poll) {
      auto body = nlohmann::json::parse(client.get(operation, {token}).body);
      if (body.at("status") != "InProgress") return body;
    }
    return {{"status", "none"}};
  }

  std::string status_of(const Answer& accepted) { return followed(accepted).at("status"); }

  void make_snapshot(const std::string& name, const std::string& disk) {
    EXPECT_EQ(status_of(send("PUT", compute + "snapshots/" + name + version, snapshot_body(disk))), "Succeeded");
  }

  Answer act(const std::string& snapshot, const std::string& action) {
    return send("POST", compute + "snapshots/" + snapshot + "/" + action + version,
                action == "beginGetAccess" ? R"({"access": "Read", "durationInSeconds": 31536000})" : "");
  }

  /// The address that the export of a snapshot gives.
  std::string exported(const std::string& snapshot) {
    const auto body = followed(act(snapshot, "beginGetAccess"));
    return body.at("properties").at("output").at("accessSAS").get<std::string>();
  }
};

}  // namespace sim_test
