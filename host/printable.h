// Text from outside made fit for a terminal and for a log of one line per entry.
#pragma once

#include <string>
#include <string_view>

namespace host {

/// The text with trailing line ends removed and every other control character written as \n, \r, \t or \xNN; longer
/// than limit bytes it is cut and ends in "...".
std::string printable(std::string_view text, std::size_t limit = std::string_view::npos);

}  // namespace host
