// A backup's workload files worked on at the same time, each by a process of this same program: what the plug-in keeps
// is kept per process.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/backup_events.h"
#include "host/options.h"
#include "host/progress.h"

namespace host {

/// What all jobs are started with. Where passwords are found goes through the environment, passwords themselves do not.
struct JobCommand {
  std::vector<std::string> words;        // the workload file is added to them
  std::vector<std::string> environment;  // "NAME=VALUE"
};

/// This program, with the options that this process was given. Throws std::system_error.
JobCommand job_command(const CommonOptions& common, const RepositoryAccess& repository);

/// How a job ended.
struct JobEnd {
  std::optional<Finding> error;  // why what it has not told of is not backed up
  std::vector<Warning> warnings;
};

/// Runs one job for each file, all at once, and returns when all have ended, one end for each file. take gets each
/// machine as soon as its job is done with it. A signal that asks this process to stop is passed on; what the jobs do
/// to close what they opened is waited for, and check_interrupt throws afterwards. Throws std::system_error.
std::vector<JobEnd> run_jobs(const JobCommand& command, const std::vector<std::string>& files, JointProgress& progress,
                             const std::function<void(MachineResult)>& take);

}  // namespace host
