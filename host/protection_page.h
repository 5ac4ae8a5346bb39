// The state of protection as one HTML page that needs nothing but itself: no script, no font, no picture from
// elsewhere.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "host/protection.h"

namespace host {

/// Text from outside as HTML text or attribute value; control characters are shown as printable shows them.
std::string html_text(std::string_view text);

/// How full each of so many equal parts of a disk is with data, 0 to 1.
std::vector<double> strip_of(const std::vector<DataRange>& ranges, std::uint64_t disk_size, std::size_t parts);

/// repository is its address without a password.
std::string protection_page(const ProtectionState& state, const std::string& repository);

}  // namespace host
