// Which machines a repository protects, how well, and what its last backups did.
#pragma once

#include <cstddef>
#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "host/manifest.h"
#include "host/progress.h"
#include "host/saved_stream.h"

namespace host {

enum class Protection {
  current,  // a recent backup is there, and no later run failed
  failed,   // the last run that came to the machine failed; an older backup may be there
  stale,    // the last backup is too old
};

/// A disk of a machine's newest backup.
struct DiskState {
  SavedDisk disk;
  std::vector<DataRange> ranges;  // where it holds data
  std::string problem;            // why they are not known; empty: they are
};

/// What one run did for one machine; numbers are 0 when it failed.
struct MachineRun {
  std::string backup_id;
  std::int64_t end = 0;  // of the run, seconds since the epoch
  bool is_protected = false;
  std::uint64_t read = 0;     // bytes of its disks' streams
  std::uint64_t added = 0;    // bytes that the repository did not hold yet
  std::uint64_t seconds = 0;  // that the machine took
  std::string problem;        // why it failed
  std::string next;           // what to do about it
};

struct MachineState {
  std::string path;  // /SUBSCRIPTION/GROUP/NAME
  Protection protection = Protection::current;
  std::string problem;      // why it is not current
  std::string next;         // what to do about it
  std::int64_t time = 0;    // of its newest backup, seconds since the epoch; 0: there is none
  std::string backup_id;    // of its newest backup
  std::size_t backups = 0;  // that the repository has of it
  bool crash_consistent = false;
  std::vector<DiskState> disks;
  std::vector<MachineRun> runs;  // oldest first
};

/// A backup, put together of the records that its processes left.
struct RunState {
  std::string backup_id;
  std::int64_t begin = 0;  // seconds since the epoch
  std::int64_t end = 0;
  std::size_t protected_machines = 0;
  std::size_t failed_machines = 0;
  std::uint64_t read = 0;   // bytes of streams
  std::uint64_t added = 0;  // bytes that the repository did not hold yet
  std::string error;        // what kept it from its work as a whole
};

struct ProtectionState {
  std::int64_t now = 0;                // seconds since the epoch
  std::uint64_t stale_seconds = 0;     // an older backup is too old
  std::vector<MachineState> machines;  // those to see to first, else by path
  std::vector<RunState> runs;          // oldest first

  std::size_t count(Protection protection) const;
};

struct ProtectionQuery {
  std::int64_t now = 0;
  std::uint64_t stale_seconds = 0;
  std::size_t runs = 0;  // backups to tell of at most
};

/// Reads one manifest and the head of one stream a disk for each machine. What cannot be read of one machine is told as
/// its problem. Throws ResticError when the repository cannot be listed, Interrupted.
ProtectionState read_protection(const Restic& restic, const ProtectionQuery& query, Progress& progress);

/// Members of a report.
nlohmann::ordered_json protection_json(const ProtectionState& state);

/// "current", "failed" or "stale".
const char* word(Protection protection);

}  // namespace host
