#include "sim/disk_request.h"

#include <algorithm>
#include <charconv>
#include <regex>

namespace sim {
namespace {

constexpr std::int64_t largest_disk_gb = 1023;

Refusal bad_parameter(const std::string& message) { return {400, "InvalidParameter", message}; }

std::string text_member(const Json& object, const std::string& name) {
  const Json* member = find_member(object, name);
  if (member == nullptr || member->is_null()) return "";
  if (!member->is_string()) throw bad_parameter("The value of parameter '" + name + "' is no text.");
  return member->get<std::string>();
}

Json object_member(const Json& object, const std::string& name) {
  const Json* member = find_member(object, name);
  if (member == nullptr || member->is_null()) return Json::object();
  if (!member->is_object()) throw bad_parameter("The value of parameter '" + name + "' is no object.");
  return *member;
}

/// The service takes numbers as texts too.
std::int64_t size_member(const Json& properties) {
  const Json* member = find_member(properties, "diskSizeGB");
  if (member == nullptr || member->is_null()) return 0;
  const std::string text = member->is_string() ? member->get<std::string>() : member->dump();
  std::int64_t size = 0;
  const auto read = std::from_chars(text.data(), text.data() + text.size(), size);
  if (read.ec != std::errc() || read.ptr != text.data() + text.size() || size < 1 || size > largest_disk_gb) {
    throw bad_parameter("The value '" + text + "' of parameter 'diskSizeGB' is out of range. It must be from 1 to " +
                        std::to_string(largest_disk_gb) + ".");
  }
  return size;
}

Tags tags_member(const Json& body) {
  Tags tags;
  const Json object = object_member(body, "tags");
  for (const auto& tag : object.items()) {
    if (!tag.value().is_string()) throw bad_parameter("The value of tag '" + tag.key() + "' is no text.");
    tags.emplace_back(tag.key(), tag.value().get<std::string>());
  }
  return tags;
}

void check_name(const std::string& name) {
  static const std::regex rule("[A-Za-z0-9]([A-Za-z0-9_.-]{0,78}[A-Za-z0-9_])?");
  if (std::regex_match(name, rule)) return;
  throw bad_parameter("The entity name '" + name +
                      "' is invalid according to its validation rule: ^[^_\\W][\\w-._]{0,79}(?<![-.])$.");
}

void check_location(const Cloud& cloud, const GroupScope& scope, const std::string& location) {
  if (location.empty()) {
    throw Refusal(400, "LocationRequired", "The location property is required for this definition.");
  }
  if (equal_ignoring_case(location, cloud.world.region) || equal_ignoring_case(location, scope.group.location)) return;
  throw Refusal(400, "LocationNotAvailableForResourceType",
                "The provided location '" + location + "' is not available. List of available regions is '" +
                    cloud.world.region + "'.");
}

void check_storage_type(const std::string& type) {
  for (const char* offered : {"Standard_LRS", "Premium_LRS"}) {
    if (equal_ignoring_case(type, offered)) return;
  }
  throw bad_parameter("The value '" + type + "' of parameter 'sku.name' is not allowed.");
}

}  // namespace

const Json* find_member(const Json& object, const std::string& name) {
  const auto items = object.items();
  const auto found = std::find_if(items.begin(), items.end(),
                                  [&name](const auto& item) { return equal_ignoring_case(item.key(), name); });
  return found == items.end() ? nullptr : &found.value();
}

Json request_json(const Call& call) {
  Json body = Json::parse(call.request.body, nullptr, false);
  if (body.is_object()) return body;
  throw Refusal(400, "InvalidRequestContent", "The request content was invalid and could not be deserialized.");
}

DiskRequest disk_request(const Cloud& cloud, const GroupScope& scope, const Call& call) {
  check_name(call.path.at("name"));
  const Json body = request_json(call);
  const Json properties = object_member(body, "properties");
  const Json creation = object_member(properties, "creationData");
  DiskRequest request{.location = text_member(body, "location"),
                      .storage_type = text_member(object_member(body, "sku"), "name"),
                      .create_option = text_member(creation, "createOption"),
                      .source_id = text_member(creation, "sourceResourceId"),
                      .source_uri = text_member(creation, "sourceUri"),
                      .storage_account_id = text_member(creation, "storageAccountId"),
                      .size_gb = size_member(properties),
                      .tags = tags_member(body)};
  if (request.storage_type.empty()) request.storage_type = "Standard_LRS";
  check_location(cloud, scope, request.location);
  check_storage_type(request.storage_type);
  return request;
}

void remove_unused_data(Cloud& cloud, const std::string& container) {
  const auto uses = [&container](const auto& named) { return named.second.container == container; };
  for (const Subscription& subscription : cloud.world.subscriptions) {
    for (const auto& [name, group] : subscription.resource_groups) {
      if (std::any_of(group.disks.begin(), group.disks.end(), uses)) return;
      if (std::any_of(group.snapshots.begin(), group.snapshots.end(), uses)) return;
    }
  }
  cloud.disks->remove(container);
}

}  // namespace sim
