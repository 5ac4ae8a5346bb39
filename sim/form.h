// Fields of a query or of a form-encoded body.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace sim {

/// Decoded names and values in their order.
using Fields = std::vector<std::pair<std::string, std::string>>;

/// The value of the first field of that name, ignoring the name's case; empty without one.
std::string field(const Fields& fields, std::string_view name);

/// Reads "name=value&...", with %XX decoded and "+" read as a blank. A "%" without two hexadecimal digits stands.
Fields parse_fields(std::string_view text);

/// Decodes %XX and nothing else.
std::string percent_decoded(std::string_view text);

/// Every byte but letters, digits, "-._~" and those of `kept` as %XX.
std::string percent_encoded(std::string_view text, std::string_view kept = "");

}  // namespace sim
