#include "sim/world.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <functional>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace sim {
namespace {

using nlohmann::json;

/// A JSON object with its place in the file. The members asked for are remembered, so that finish() can refuse the
/// rest: a misspelt member must not silently leave its default.
class ObjectReader {
 public:
  ObjectReader(const json& value, std::string place) : value_(value), place_(std::move(place)) {
    if (!value_.is_object()) fail("", "an object is needed");
  }

  std::string text(const std::string& name) {
    const json* member = find(name);
    if (member == nullptr) fail(name, "is missing");
    if (!member->is_string() || member->get_ref<const std::string&>().empty()) fail(name, "must be a non-empty text");
    return member->get<std::string>();
  }

  std::string text(const std::string& name, const std::string& fallback) {
    return find(name) == nullptr ? fallback : text(name);
  }

  /// A DNS name: it becomes a part of host names and of the certificate.
  std::string host_name(const std::string& name) {
    std::string value = text(name);
    const bool good = std::all_of(value.begin(), value.end(), [](unsigned char c) {
      return std::islower(c) != 0 || std::isdigit(c) != 0 || c == '-' || c == '.';
    });
    if (!good) fail(name, "must be made of small letters, digits, '-' and '.'");
    return value;
  }

  std::int64_t positive_number(const std::string& name, std::int64_t fallback) {
    const json* member = find(name);
    if (member == nullptr) return fallback;
    if (!member->is_number_integer() || member->get<std::int64_t>() <= 0) fail(name, "must be a whole number above 0");
    return member->get<std::int64_t>();
  }

  /// One element for each object of the array; none when the member is absent.
  template <typename Element>
  std::vector<Element> list(const std::string& name, const std::function<Element(ObjectReader&)>& read) {
    std::vector<Element> elements;
    const json* member = find(name);
    if (member == nullptr) return elements;
    if (!member->is_array()) fail(name, "must be an array");
    for (const json& element : *member) {
      ObjectReader reader(element, path(name) + "[" + std::to_string(elements.size()) + "]");
      elements.push_back(read(reader));
      reader.finish();
    }
    return elements;
  }

  void finish() const {
    for (const auto& member : value_.items()) {
      if (known_.count(member.key()) == 0) fail(member.key(), "is not known");
    }
  }

 private:
  const json* find(const std::string& name) {
    known_.insert(name);
    const auto member = value_.find(name);
    return member == value_.end() ? nullptr : &*member;
  }

  std::string path(const std::string& name) const {
    return place_.empty() || name.empty() ? place_ + name : place_ + "." + name;
  }

  [[noreturn]] void fail(const std::string& name, const std::string& what) const {
    const std::string where = path(name);
    throw std::runtime_error((where.empty() ? "the file" : where) + ": " + what);
  }

  const json& value_;
  std::string place_;
  std::set<std::string> known_;
};

Subscription read_subscription(ObjectReader& reader, const World& world) {
  Subscription subscription;
  subscription.id = reader.text("id");
  subscription.display_name = reader.text("displayName");
  subscription.tenant_id = reader.text("tenantId", world.tenant_id);
  subscription.resource_groups = reader.list<ResourceGroup>("resourceGroups", [&world](ObjectReader& group) {
    return ResourceGroup{group.text("name"), group.text("location", world.region)};
  });
  return subscription;
}

World read_world(const json& document) {
  ObjectReader reader(document, "");
  World world;
  world.region = reader.host_name("region");
  world.domain = reader.host_name("domain");
  world.tenant_id = reader.text("tenantId");
  world.audience = reader.text("audience");
  world.token_lifetime_seconds = reader.positive_number("tokenLifetimeSeconds", world.token_lifetime_seconds);
  world.aad_clients = reader.list<AadClient>("aadClients", [](ObjectReader& client) {
    return AadClient{client.text("clientId"), client.text("clientSecret")};
  });
  world.adfs_users = reader.list<AdfsUser>("adfsUsers", [](ObjectReader& user) {
    return AdfsUser{user.text("userName"), user.text("password"), user.text("clientId")};
  });
  world.subscriptions = reader.list<Subscription>(
      "subscriptions", [&world](ObjectReader& subscription) { return read_subscription(subscription, world); });
  reader.finish();
  return world;
}

}  // namespace

World parse_world(std::string_view text, const std::string& origin) {
  try {
    return read_world(json::parse(text));
  } catch (const std::exception& error) {
    throw std::runtime_error(origin + ": " + error.what());
  }
}

World load_world(const std::filesystem::path& file) {
  std::ifstream input(file, std::ios::binary);
  std::ostringstream text;
  if (!input || !(text << input.rdbuf())) throw std::runtime_error(file.string() + ": cannot be read");
  return parse_world(text.str(), file.string());
}

}  // namespace sim
