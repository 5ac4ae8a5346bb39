// What an operator selects: "/SUBSCRIPTION[/GROUP[/MACHINE]]".
#pragma once

#include <string>
#include <vector>

namespace host {

/// The selections as the plug-in takes them, each with its leading slash, which may be left out in given. Throws
/// UsageError, its text naming the selection and what to write instead, when there is none or one is malformed.
std::vector<std::string> read_selections(const std::vector<std::string>& given);

/// All of them in the one text that the plug-in takes.
std::string joined(const std::vector<std::string>& selections);

}  // namespace host
