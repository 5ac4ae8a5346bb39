// "azsbackup snapshots": what backups left in the cloud.
#pragma once

#include <CLI/CLI.hpp>

#include "host/action.h"

namespace host {

/// Registers the command; when the command line names it, action becomes its work.
void add_snapshots_command(CLI::App& program, Action& action);

}  // namespace host
