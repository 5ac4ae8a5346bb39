// The bodies of requests that make or change resources, and what all of them have in common.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

#include "sim/object_reader.h"
#include "sim/scope.h"

namespace sim {

/// Calls `read` for the body, a JSON object of which no member may be left over. Throws Refusal
/// (400 InvalidRequestContent) for anything else, and what `read` throws.
void read_body(const Call& call, const std::function<void(ObjectReader&)>& read);

/// Members that Resource Manager takes from the path, whatever the body says.
void pass_over_identity(ObjectReader& reader);

/// Like ObjectReader::section and ObjectReader::text, but throw Refusal (400 InvalidParameter) when there is none.
void required_section(ObjectReader& reader, const std::string& name, const std::function<void(ObjectReader&)>& read);
std::string required_text(ObjectReader& reader, const std::string& name);

/// The member "location". Throws Refusal (400) unless it is the region or where the group is.
std::string read_location(ObjectReader& reader, const Cloud& cloud, const GroupScope& scope);

/// Throws Refusal (400 InvalidParameter) for a name that no resource can have.
void check_name(const std::string& name, std::size_t longest);

Refusal bad_parameter(const std::string& message, const std::string& target = "");

}  // namespace sim
