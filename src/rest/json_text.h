// Typed reading of JSON members, and texts as JSON holds them.
#pragma once

#include <jansson.h>

#include <string>
#include <string_view>

#include "src/base/owners.h"
#include "src/base/status.h"

namespace azurestackpi {

/// Sets value to the member's integer, 0 when it is absent. 6622 when it is something else; value is then left alone.
Status getJsonIntValue(const json_t* object, const char* key, json_int_t& value);

/// Sets value to the member's string, empty when it is absent. 6622 when it is something else; value is left alone.
Status getJsonStringValue(const json_t* object, const char* key, std::string& value);

/// The member's string; empty when it is absent, null or of another type.
std::string JsonStringOrEmpty(const json_t* object, const char* key);

/// Parses a whole text; null with error filled when it is not JSON (nesting beyond the parser's limit included) or an
/// object has two members of one name.
JsonPtr ParseJson(std::string_view text, json_error_t& error);

/// The same for a list whose elements are read one by one elsewhere: takes what ParseJson refuses in a single element,
/// the character NUL, numbers beyond 64 bits and members of one name, of which the last holds.
JsonPtr ParseJsonLeniently(std::string_view text);

/// Whether a text can stand in JSON: it is UTF-8.
bool IsJsonText(const std::string& text);

/// What stands between the quotes of a JSON string; empty for a text that is not UTF-8.
std::string EscapedForJson(const std::string& text);

}  // namespace azurestackpi
