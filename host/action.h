// What a command registers with the program.
#pragma once

#include <functional>

#include "host/exit_codes.h"

namespace host {

/// What the chosen command does once the command line is read. Throws UsageError.
using Action = std::function<ExitCode()>;

}  // namespace host
