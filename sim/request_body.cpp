#include "sim/request_body.h"

#include <regex>

#include "sim/json_response.h"

namespace sim {
namespace {

Refusal missing(const std::string& name) {
  return bad_parameter("Required parameter '" + name + "' is missing (null).", name);
}

}  // namespace

void read_body(const Call& call, const std::function<void(ObjectReader&)>& read) {
  const std::string start = "The request content was invalid and could not be deserialized";
  const Json body = Json::parse(call.request.body, nullptr, false);
  if (!body.is_object()) throw Refusal(400, "InvalidRequestContent", start + ".");
  try {
    ObjectReader reader(body, "", ObjectReader::Form::request);
    read(reader);
    reader.finish();
  } catch (const ObjectError& error) {
    throw Refusal(400, "InvalidRequestContent", start + ": '" + error.what() + "'.");
  }
}

void pass_over_identity(ObjectReader& reader) {
  for (const char* name : {"id", "name", "type"}) reader.optional_text(name);
}

void required_section(ObjectReader& reader, const std::string& name, const std::function<void(ObjectReader&)>& read) {
  if (!reader.section(name, read)) throw missing(name);
}

std::string required_text(ObjectReader& reader, const std::string& name) {
  const std::optional<std::string> text = reader.optional_text(name);
  if (!text) throw missing(name);
  return *text;
}

std::string read_location(ObjectReader& reader, const Cloud& cloud, const GroupScope& scope) {
  const std::optional<std::string> location = reader.optional_text("location");
  if (!location) throw Refusal(400, "LocationRequired", "The location property is required for this definition.");
  if (equal_ignoring_case(*location, cloud.world.region) || equal_ignoring_case(*location, scope.group.location)) {
    return *location;
  }
  throw Refusal(400, "LocationNotAvailableForResourceType",
                "The provided location '" + *location + "' is not available. List of available regions is '" +
                    cloud.world.region + "'.");
}

void check_name(const std::string& name, std::size_t longest) {
  static const std::regex rule("[A-Za-z0-9]([A-Za-z0-9_.-]*[A-Za-z0-9_])?");
  if (name.size() <= longest && std::regex_match(name, rule)) return;
  throw bad_parameter("The entity name '" + name +
                      "' is invalid according to its validation rule: ^[^_\\W][\\w-._]{0," +
                      std::to_string(longest - 1) + "}(?<![-.])$.");
}

Refusal bad_parameter(const std::string& message, const std::string& target) {
  return {400, "InvalidParameter", message, target};
}

}  // namespace sim
