// Random texts of the forms that Azure gives its identifiers.
#pragma once

#include <cstddef>
#include <string>

namespace sim {

/// "8b23e76d-8f49-46a0-abcb-a50d2d0782ad"
std::string new_guid();

/// `count` random bytes in base64url.
std::string random_base64url(std::size_t count);

}  // namespace sim
