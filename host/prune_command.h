// "azsbackup prune": old backups out of the repository.
#pragma once

#include <CLI/CLI.hpp>

#include "host/action.h"

namespace host {

/// Registers the command; when the command line names it, action becomes its work.
void add_prune_command(CLI::App& program, Action& action);

}  // namespace host
