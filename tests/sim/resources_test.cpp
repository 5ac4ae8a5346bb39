// Lists, filters and refusals of the resources.
#include <gmock/gmock.h>

#include "sim/generated_world.h"
#include "simulator_fixture.h"

namespace sim_test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

const std::string production = "/subscriptions/4caa8431-21b4-4e0b-bca0-1542a5f11e23";

TEST_F(SimulatorTest, RefusesResourcesAsTheirProvidersDo) {
  const std::string token = bearer();
  const std::string group = production + "/resourcegroups/WEB-rg/providers/";
  const std::string nobody = production + "/resourcegroups/nobodys/providers/";
  struct Case {
    std::string path;
    long status;
    std::string error;
    std::string message;
  };
  const std::vector<Case> cases = {
      {group + "microsoft.compute/VIRTUALMACHINES/WEB-01/?api-version=2017-12-01", 200, "none", ""},
      {group + "Microsoft.Compute/virtualMachines/web-02?api-version=2017-12-01", 404, "ResourceNotFound",
       "The Resource 'Microsoft.Compute/virtualMachines/web-02' under resource group 'WEB-rg' was not found."},
      {group + "Microsoft.Compute/disks/DB-01-os?api-version=2017-03-30", 404, "ResourceNotFound", "disks/DB-01-os'"},
      {group + "Microsoft.Network/networkInterfaces/x?api-version=2017-10-01", 404, "ResourceNotFound", "faces/x'"},
      {group + "Microsoft.Network/virtualNetworks/x/subnets?api-version=2017-10-01", 404, "ParentResourceNotFound",
       "Parent resource 'x' not found"},
      {nobody + "Microsoft.Compute/virtualMachines?api-version=2017-12-01", 404, "ResourceGroupNotFound",
       "Resource group 'nobodys' could not be found."},
      {"/subscriptions/x/resources?api-version=2018-05-01", 404, "SubscriptionNotFound", "'x'"},
      {production + "/providers/Microsoft.Compute/locations/westus/vmSizes?api-version=2017-12-01", 400,
       "NoRegisteredProviderFound", "location 'westus'"},
      {group + "Microsoft.Compute/disks/web-01-os?api-version=2017-12-01", 400, "InvalidResourceType",
       "The resource type 'disks' could not be found in the namespace 'Microsoft.Compute' for api version "
       "'2017-12-01'. The supported api-versions are '2017-03-30,2018-04-01,"},
      {group + "Microsoft.Network/virtualNetworks/web-vnet/subnets?api-version=1", 400, "InvalidResourceType",
       "The resource type 'virtualNetworks/subnets'"},
      {production + "/resources?api-version=2017-12-01", 400, "InvalidApiVersionParameter", "2018-09-01"},
      {group + "Microsoft.Compute/virtualMachines?api-version=2017-12-01&$skiptoken=nonsense", 400, "InvalidParameter",
       "nonsense"},
  };
  for (const Case& test : cases) {
    const Answer answer = client.get(management(test.path), {token});
    EXPECT_EQ(answer.status, test.status) << test.path;
    EXPECT_EQ(answer.error(), test.error) << test.path;
    EXPECT_THAT(answer.body, HasSubstr(test.message));
  }
  EXPECT_THAT(simulator.unknown_requests(), IsEmpty());
  EXPECT_EQ(client.get(management(cases[0].path)).status, 401);
}

TEST_F(SimulatorTest, FiltersResourcesByTheirTypes) {
  const std::string token = bearer();
  struct Case {
    std::string filter;  // as on the wire
    std::vector<std::string> names;
  };
  const std::vector<Case> cases = {
      {"(ResourceType%20eq%20'Microsoft.Network/networkSecurityGroups'%20or%20ResourceType%20eq%20'Microsoft.Network/"
       "virtualNetworks')",
       {"data-vnet", "web-nsg", "web-vnet"}},
      {"resourcetype+EQ+%27microsoft.compute/VIRTUALMACHINES%27", {"DB-01", "web-01"}},
      {"ResourceType%20eq%20'Microsoft.Storage/storageAccounts'", {"demodiag1", "demodisks1", "demostaging1"}},
      {"ResourceType%20eq%20'None/none'", {}},
      {"ResourceType%20eq%20Microsoft.Compute/disks", {"refused"}},
      {"(ResourceType%20eq%20'a/b'", {"refused"}},
      {"ResourceType%20eq%20'a/b'%20or", {"refused"}},
      {"ResourceType%20eq%20'a/b'%20and%20ResourceType%20eq%20'c/d'", {"refused"}},
      {"ResourceType%20ne%20'a/b'", {"refused"}},
      {"Location%20eq%20'local'", {"refused"}},
      {"'", {"refused"}},
  };
  for (const Case& test : cases) {
    const Answer answer =
        client.get(management(production + "/resources?api-version=2018-09-01&$filter=" + test.filter), {token});
    std::vector<std::string> names;
    if (answer.error() == "InvalidFilterInQueryString") names.emplace_back("refused");
    const auto json = nlohmann::json::parse(answer.body);
    for (const auto& resource : json.value("value", nlohmann::json::array())) names.push_back(resource.at("name"));
    EXPECT_EQ(names, test.names) << test.filter;
  }
  const auto all =
      nlohmann::json::parse(client.get(management(production + "/resources?api-version=2018-09-01"), {token}).body);
  EXPECT_EQ(all.at("value").size(), 13U);
  EXPECT_EQ(all.at("value").back().at("id"), production +
                                                 "/resourcegroups/data_rg.1/providers/Microsoft.Storage/"
                                                 "storageaccounts/demostaging1");
}

sim::Options in_pages() {
  sim::Options options;
  options.world = sim::generate_world({.subscriptions = 1, .groups = 5, .machines = 7, .data_disks = 0});
  options.world.page_size = 3;
  return options;
}

class PagesTest : public SimulatorTest {
 protected:
  PagesTest() : SimulatorTest(in_pages()) {}

  const std::string token = bearer();
  const std::string subscription = "/subscriptions/" + world.subscriptions[0].id;
};

TEST_F(PagesTest, AreWalkedByTheirLinks) {
  struct Case {
    std::string path;
    std::size_t pages;
    std::size_t elements;
    std::string link;  // how it goes on after the request's own query
  };
  const std::vector<Case> cases = {
      {subscription + "/resourcegroups/group-002/providers/Microsoft.Compute/virtualMachines?api-version=2017-12-01", 3,
       7, "&$skiptoken="},
      {subscription + "/resourcegroups?api-version=2018-09-01", 2, 5, "&%24skiptoken="},
      {subscription +
           "/resources?$filter=ResourceType%20eq%20'Microsoft.Compute/virtualMachines'&api-version=2018-09-01",
       12, 35, "&%24skiptoken="},
      {subscription + "/providers/Microsoft.Storage/storageAccounts/?api-version=2017-10-01", 2, 5, "&$skiptoken="},
      {"/subscriptions?api-version=2018-05-01", 1, 1, ""},
  };
  for (const Case& test : cases) {
    std::set<std::string> ids;
    std::size_t pages = 0;
    for (std::string link = management(test.path); !link.empty(); ++pages) {
      ASSERT_LT(pages, test.pages) << test.path;
      const auto page = nlohmann::json::parse(client.get(link, {token}).body);
      for (const auto& element : page.at("value")) ids.insert(element.at("id"));
      EXPECT_THAT(link, testing::StartsWith(management(test.path)));
      link = page.value("nextLink", "");
      EXPECT_THAT(link, testing::AnyOf(IsEmpty(), testing::StartsWith(management(test.path) + test.link)));
    }
    EXPECT_EQ(pages, test.pages) << test.path;
    EXPECT_EQ(ids.size(), test.elements) << test.path;
  }
}

TEST(GeneratedWorld, HasTheScaleAndTheSharesAskedFor) {
  const sim::World world = sim::generate_world({.subscriptions = 2,
                                                .groups = 3,
                                                .machines = 10,
                                                .data_disks = 2,
                                                .managed_percent = 30,
                                                .hidden_type_percent = 50});
  std::size_t groups = 0;
  std::size_t managed = 0;
  std::size_t disks = 0;
  std::size_t hidden = 0;
  std::set<std::string> names;
  std::set<std::string> vm_ids;
  for (const sim::Subscription& subscription : world.subscriptions) {
    groups += subscription.resource_groups.size();
    for (const auto& [group_name, group] : subscription.resource_groups) {
      disks += group.disks.size();
      EXPECT_EQ(group.nics.size(), 10U);
      for (const auto& [name, machine] : group.machines) {
        names.insert(name);
        vm_ids.insert(machine.vm_id);
        managed += machine.os_disk.managed_disk ? 1U : 0U;
        std::vector<sim::MachineDisk> all = machine.data_disks;
        EXPECT_EQ(all.size(), 2U);
        all.push_back(machine.os_disk);
        for (const sim::MachineDisk& disk : all) hidden += disk.managed_disk && disk.storage_type.empty() ? 1U : 0U;
      }
    }
  }
  EXPECT_EQ(world.subscriptions.size(), 2U);
  EXPECT_EQ(groups, 6U);
  EXPECT_EQ(world.storage_accounts.size(), 6U);
  EXPECT_EQ(names.size(), 60U);
  EXPECT_EQ(vm_ids.size(), 60U);
  EXPECT_EQ(managed, 18U);
  EXPECT_EQ(disks, 18U * 3);
  EXPECT_EQ(hidden, disks / 2);
  EXPECT_THROW(sim::generate_world({.groups = -1}), std::invalid_argument);
  EXPECT_THROW(sim::generate_world({.managed_percent = 101}), std::invalid_argument);
}

}  // namespace
}  // namespace sim_test
