// "azsbackup report": which machines are protected, and what the last backups did.
#pragma once

#include <CLI/CLI.hpp>

#include "host/action.h"

namespace host {

/// Registers the command; when the command line names it, action becomes its work.
void add_report_command(CLI::App& program, Action& action);

}  // namespace host
