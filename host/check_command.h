// "azsbackup check": does everything on the way from here to the subscriptions of an Azure Stack work?
#pragma once

#include <CLI/CLI.hpp>
#include <functional>

#include "host/exit_codes.h"

namespace host {

/// What the chosen command does once the command line is read.
using Action = std::function<ExitCode()>;

/// Registers the command; when the command line names it, action becomes its work. The action throws UsageError.
void add_check_command(CLI::App& program, Action& action);

}  // namespace host
