// Commands that look at a repository and need no Azure Stack: "azsbackup list", "azsbackup show MACHINE" and
// "azsbackup verify".
#pragma once

#include <CLI/CLI.hpp>

#include "host/action.h"

namespace host {

/// Registers the commands; when the command line names one, action becomes its work.
void add_repository_commands(CLI::App& program, Action& action);

}  // namespace host
