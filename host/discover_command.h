// "azsbackup discover": what would a backup of these selections protect, and what would it leave out?
#pragma once

#include <CLI/CLI.hpp>

#include "host/action.h"

namespace host {

/// Registers the command; when the command line names it, action becomes its work.
void add_discover_command(CLI::App& program, Action& action);

}  // namespace host
