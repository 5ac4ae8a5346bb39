// Where machines go, with which networks and boot diagnostics.
#include "src/recovery/recovery_target.h"

#include <functional>

#include "tests/recovery/recovery_fixture.h"

namespace recovery_test {
namespace {

using azurestackpi::vm_details_t;
using azurestackpi::vm_env_t;
using Change = std::function<void(vm_details_t&)>;

class RecoveryTarget : public RecoveryTest {
 protected:
  /// "GROUP/NAME SIZE STATE GROUP/VNET/SUBNET GROUP/NSG" of the machine to make, or the status. original: the
  /// subscription of the saved machine, "P" for its path's.
  std::string Target(const std::string& path, const std::string& original, const Change& change) {
    const vm_details_t saved = ParsedMachine(SavedMachine(true, original));
    vm_details_t entry = Entry(true, original);
    change(entry);
    env = {};
    Status status = ChooseTarget(*server, path, saved, entry, env);
    status = status == azurestackpi::kOk ? DescribeMachine(*server, saved, entry, env) : status;
    if (status != azurestackpi::kOk) {
      return std::to_string(status);
    }
    return (env.m_subscription_id == kHere ? "here " : "there ") + env.m_resource_group + "/" + env.m_vm_name + " " +
           env.m_vm_size + " " + env.m_power_state + " " + env.m_vnet_resource_group + "/" + env.m_vnet_name + "/" +
           env.m_subnet + " " + env.m_nsg_resource_group + "/" + env.m_nsg_name;
  }

  std::string Diagnostics(const vm_details_t& saved, const vm_details_t& entry) {
    env = {};
    env.m_subscription_id = kHere;
    EXPECT_EQ(DescribeMachine(*server, saved, entry, env), azurestackpi::kOk);
    return env.m_boot_diagnostics_enabled ? env.m_boot_diagnostics_storage_uri : "off";
  }

  vm_env_t env;
};

TEST_F(RecoveryTarget, FollowsThePathOrTheOperator) {
  const std::string here = "/" + kHere + "/web-rg/web-01";
  const std::string there = "/" + kEmpty + "/lab-rg/web-01";
  const Change nothing = [](vm_details_t&) {};
  const Change keep = [](vm_details_t& entry) { entry.m_flag = true; };
  struct Case {
    std::string path;
    std::string original;
    Change change;
    std::string target;
  };
  const Case cases[] = {
      {here, kHere, nothing, "here web-rg/new Standard_A1 Deallocated net-rg/web-vnet/front web-rg/web-nsg"},
      {there, kEmpty,
       [](vm_details_t& entry) {
         entry.m_subscription_id.clear();
         entry.m_resource_group.clear();
         entry.m_vm_size = "Big";
       },
       "there lab-rg/new Big Deallocated net-rg/web-vnet/front web-rg/web-nsg"},
      {here, kHere,
       [](vm_details_t& entry) {
         entry.m_subscription_id = kEmpty;
         entry.m_resource_group = "lab-rg";
         entry.m_network_profile.m_vnet_name = "other";
         entry.m_network_profile.m_nsg_name.clear();
       },
       "there lab-rg/new Standard_A1 Deallocated lab-rg/other/front lab-rg/"},
      {here, kHere,
       [](vm_details_t& entry) {
         entry.m_network_profile.m_vnet_name = "WEB-VNET/subnets/x";
         entry.m_network_profile.m_nsg_id.clear();
       },
       "here web-rg/new Standard_A1 Deallocated net-rg/WEB-VNET/subnets/x/front web-rg/web-nsg"},
      {here, kHere, [](vm_details_t& entry) { entry.m_name.clear(); }, "6614"},
      {here, kHere, [](vm_details_t& entry) { entry.m_name = "a/../b"; }, "6614"},
      {here, kHere,
       [](vm_details_t& entry) {
         entry.m_flag = true;
         entry.m_vm_size = "Big";
         entry.m_resource_group = "other";
       },
       "here web-rg/web-01 Standard_A1 Deallocated net-rg/web-vnet/front web-rg/web-nsg"},
      {here, kEmpty, keep, "here web-rg/web-01 Standard_A1 Deallocated web-rg/web-vnet/default web-rg/web-nsg"},
      {"/" + kHere + "/data_rg.1/web-01", kEmpty,
       [](vm_details_t& entry) {
         entry.m_flag = true;
         entry.m_network_profile.m_vnet_name = "unknown";
       },
       "here data_rg.1/web-01 Standard_A1 Deallocated Data_RG.1/data-vnet/default web-rg/web-nsg"},
      {"/" + kHere + "/x/web-01", kEmpty,
       [](vm_details_t& entry) {
         entry.m_flag = true;
         entry.m_network_profile.m_vnet_name = "unknown";
         entry.m_network_profile.m_nsg_name.clear();
         entry.m_network_profile.m_nsg_id.clear();
       },
       "here x/web-01 Standard_A1 Deallocated Data_RG.1/data-vnet/default x/"},
      {here, kEmpty,
       [](vm_details_t& entry) {
         entry.m_flag = true;
         entry.m_network_profile.m_vnet_name.clear();
       },
       "6614"},
      {there, kHere, keep, "there lab-rg/web-01 Standard_A1 Deallocated lab-rg/lab-vnet/default lab-rg/lab-nsg"}};
  for (const Case& one : cases) {
    EXPECT_EQ(Target(one.path, one.original, one.change), one.target) << &one - cases;
  }
  for (const char* line :
       {"VMName is required for recovery.", "\"a/../b\" cannot be a subscription",
        "Changing Target Subscription needs additional configuration to be specified during restore.",
        "Virtual Network \"unknown\" is not known in the target subscription",
        "Subnet \"front\" is not known in /subscriptions/"}) {
    EXPECT_TRUE(log.contains(4, line)) << line;
  }
  EXPECT_TRUE(log.contains(3, "virtualNetworks/web-vnet] in target Subscription & RG."));
  EXPECT_TRUE(log.contains(3, "virtualNetworks/data-vnet] in target Subscription."));
}

TEST_F(RecoveryTarget, LacksANetworkASubnetOrASecurityGroup) {
  const Change keep = [](vm_details_t& entry) { entry.m_flag = true; };
  Answer("/subnets", 200, {}, R"({"value":[]})");
  EXPECT_EQ(Target(vm_path, kEmpty, keep), "6797");
  EXPECT_TRUE(log.contains(4, "Failed to find subnet in VNET [/subscriptions/" + kHere));
  Open(AadSetup());
  Answer("/resources", 200, {}, R"({"value":[]})");
  EXPECT_EQ(Target(vm_path, kEmpty, keep), "6797");
  EXPECT_TRUE(log.contains(4, "Failed to find Virtual Network found in target subscription. error=6797"));
  Open(AadSetup());
  Answer("/resources", 200, {},
         R"({"value":[{"id":"/subscriptions/)" + kHere +
             R"(/resourceGroups/g/providers/Microsoft.Network/virtualNetworks/web-vnet"}]})");
  Answer("/subnets", 200, {}, R"({"value":[{"name":"s"}]})");
  EXPECT_EQ(Target(vm_path, kEmpty, keep), "6797");
  EXPECT_TRUE(log.contains(4, "Failed to find Network Security Group found in target subscription.error=6797"));
}

TEST_F(RecoveryTarget, IsFoundByNameAlsoBesideOthersOfItsGroup) {
  const std::string begin =
      R"({"id":"/subscriptions/)" + kHere + R"(/resourceGroups/net-rg/providers/Microsoft.Network/)";
  const std::string networks = begin + R"(virtualNetworks/a"},)" + begin + R"(virtualNetworks/WEB-vnet"})";
  const std::string groups = begin + R"(networkSecurityGroups/a"},)" + begin + R"(networkSecurityGroups/web-nsg"})";
  Answer("/resources", 200, {}, R"({"value":[)" + networks + "," + groups + "]}");
  Answer("/WEB-vnet/subnets", 200, {}, R"({"value":[{"name":"default"},{"name":"Front"}]})");
  const std::string target = "here web-rg/web-01 Standard_A1 Deallocated net-rg/WEB-vnet/front net-rg/web-nsg";
  EXPECT_EQ(Target(vm_path, kEmpty, [](vm_details_t& entry) { entry.m_flag = true; }), target);
  const Change by_subnet = [](vm_details_t& entry) {
    entry.m_flag = true;
    entry.m_network_profile.m_vnet_name = "/subscriptions/x/virtualNetworks/web-vnet/subnets/front";
    entry.m_network_profile.m_subnet.clear();
  };
  EXPECT_EQ(Target(vm_path, kEmpty, by_subnet), target);
}

TEST_F(RecoveryTarget, HasBootDiagnosticsWhereTheirAccountIs) {
  const std::string suffix = ".blob.local.azurestack.localhost/";
  struct Case {
    std::string saved;  // the address that the machine had; empty: switched off
    std::string named;  // what its object says; empty: off
    std::string changed;
    std::string kept;
  };
  const Case cases[] = {{"", "", "off", "off"},
                        {"http://demodiag1.blob.x/", "", "off", "http://demodiag1.blob.x/"},
                        {"", "demodiag1", "https://demodiag1" + suffix, "off"},
                        {"https://gone.blob.x/", "https://demodisks1.blob.y", "https://demodisks1" + suffix, "off"},
                        {"https://demodisks1.blob.x", "gone", "off", "https://demodisks1.blob.x"}};
  for (const Case& one : cases) {
    vm_details_t entry = Entry(true);
    entry.m_boot_diagnostics_enabled = !one.named.empty();
    entry.m_boot_diagnostics_storage_uri = one.named;
    const vm_details_t saved = ParsedMachine(SavedMachine(true, kHere, one.saved));
    EXPECT_EQ(Diagnostics(saved, entry), one.changed) << one.named;
    entry.m_flag = true;
    EXPECT_EQ(Diagnostics(saved, entry), one.kept) << one.saved;
  }
  EXPECT_TRUE(log.contains(4, ": Boot diagnostics uri is not present. Disabling Boot diagnostics"));
  EXPECT_TRUE(log.contains(4, "Original Boot diagnostics uri is not present. Disabling Boot diagnostics"));
}

}  // namespace
}  // namespace recovery_test
