// The plug-in's statuses in an operator's words.
#pragma once

#include <cstdint>
#include <string>

namespace host {

/// The meaning of a status in a few words, with its number: "the server name is invalid (status 6626)".
std::string status_text(std::uint32_t status);

/// What an operator can do about it; for an unknown status, where to look.
std::string status_advice(std::uint32_t status);

}  // namespace host
