// "azsbackup finish": the end of a backup whose workload files were given to several processes.
#pragma once

#include <CLI/CLI.hpp>

#include "host/action.h"

namespace host {

/// Registers the command; when the command line names it, action becomes its work.
void add_finish_command(CLI::App& program, Action& action);

}  // namespace host
