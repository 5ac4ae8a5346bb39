// base64 in the two forms that Azure writes.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace sim {

/// With padding: keys of storage accounts.
std::string base64(std::string_view bytes);

/// With the alphabet for addresses and without padding: parts of tokens.
std::string base64url(std::string_view bytes);

/// The bytes of a text in the form of base64(); none when it is not of that form.
std::optional<std::string> base64_decoded(std::string_view text);

}  // namespace sim
