// "azsbackup backup": machines into the repository; "azsbackup finish": the end of a backup whose workload files were
// given to several processes.
#pragma once

#include <CLI/CLI.hpp>

#include "host/action.h"

namespace host {

/// Register the commands; when the command line names one, action becomes its work.
void add_backup_command(CLI::App& program, Action& action);
void add_finish_command(CLI::App& program, Action& action);

}  // namespace host
