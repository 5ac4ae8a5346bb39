// A file of text that others read while it is written anew.
#pragma once

#include <string>

namespace host {

/// Writes the text and gives it the name path in one step, in place of a regular file that has it. Its mode is as the
/// umask says. Throws UsageError when something else has the name, std::system_error.
void replace_file(const std::string& path, const std::string& text);

}  // namespace host
