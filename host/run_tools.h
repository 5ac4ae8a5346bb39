// What a run of a command has that speaks to an Azure Stack and to a repository.
#pragma once

#include "host/console.h"
#include "host/log_file.h"
#include "host/restic.h"
#include "host/secret.h"

namespace host {

/// Everything outlives the run.
struct RunTools {
  const Secret& login;
  LogFile& log;
  const Console& console;
  const Restic& restic;
};

}  // namespace host
