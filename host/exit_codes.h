// How azsbackup ends. One table for all commands: scripts and schedulers tell the cases apart by it.
#pragma once

#include <string>

namespace host {

enum class ExitCode : int {
  ok = 0,
  failed = 1,
  usage = 2,
  partial = 3,
  nothing_found = 4,
  plugin = 10,
  server_name = 11,
  unreachable = 12,
  certificate = 13,
  login = 14,
  no_subscription = 15,
  repository = 16,
};

/// The table as text for --help, one code a line.
std::string exit_code_help();

}  // namespace host
