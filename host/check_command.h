// "azsbackup check": does everything on the way from here to the subscriptions of an Azure Stack work?
#pragma once

#include <CLI/CLI.hpp>

#include "host/action.h"

namespace host {

/// Registers the command; when the command line names it, action becomes its work.
void add_check_command(CLI::App& program, Action& action);

}  // namespace host
