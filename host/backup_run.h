// One backup from the discovery to the deletion of its snapshots; or of one workload file, without either.
#pragma once

#include <string>
#include <vector>

#include "host/backup_text.h"
#include "host/options.h"
#include "host/run_tools.h"

namespace host {

struct BackupOptions {
  CommonOptions common;
  RepositoryOptions repository;
  std::vector<std::string> selections;
  std::string workload;        // one file; empty: a discovery of the selections
  unsigned jobs = 0;           // processes that the machines are dealt out to; 0: none but this one
  unsigned lock_minutes = 60;  // how long it waits for somebody who has the repository to himself
  bool init = false;
  bool events = false;  // each machine is told as a JSON object, a line, as soon as it is done

  /// Lines for people are printed on the way.
  bool has_lines() const { return !common.json && !events; }
};

/// A failure of any kind is in the outcome, except that output which cannot be written throws std::system_error and
/// files that cannot be used UsageError. An InterruptGuard lives around it.
BackupOutcome run_backup(const BackupOptions& options, const RunTools& tools);

}  // namespace host
