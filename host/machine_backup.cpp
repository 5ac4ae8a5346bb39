#include "host/machine_backup.h"

#include <strings.h>

#include <algorithm>
#include <ctime>
#include <set>
#include <utility>

#include "host/byte_text.h"
#include "host/check_findings.h"
#include "host/disk_stream.h"
#include "host/interrupt.h"
#include "host/plugin_object.h"
#include "host/printable.h"
#include "host/saved_machine.h"
#include "host/sha256.h"
#include "host/status_text.h"

namespace host {

namespace {

constexpr std::string_view metadata_mark = "/Metadata";
constexpr std::string_view kind_mark = "/Metadata/UseManagedDisk=";
constexpr std::string_view unmanaged_mark = "/Metadata/UseManagedDisk=No";
constexpr std::uint32_t status_no_setting = 6661;
constexpr std::size_t read_size = 4U << 20U;
constexpr std::size_t longest_metadata = 32U << 20U;
constexpr const char* log_advice = "Look at the log file; run again with -v or -vv for more of it.";

/// What is wrong with a machine's data itself.
class MachineError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class MachineBackup {
 public:
  MachineBackup(const BackupTools& tools, const MachineWork& work, MachineResult& result)
      : tools_(tools), work_(work), result_(result) {}

  void run() {
    if (!work_.machine.problem.empty()) throw MachineError(work_.machine.problem);
    try {
      back_up_objects();
    } catch (const std::exception&) {
      release_the_rest();
      throw;
    }
    complete_ids();
    store_manifest();
  }

 private:
  void back_up_objects() {
    for (const std::string& path : work_.paths) {
      check_interrupt();
      tools_.session.take_lines();
      back_up(path);
    }
    if (result_.disks.size() != work_.machine.disks.size()) {
      throw MachineError("only " + std::to_string(result_.disks.size()) + " of its " +
                         std::to_string(work_.machine.disks.size()) + " disks can be read");
    }
  }

  // The plug-in may have taken all snapshots of the machine when it was asked for the kind of its disks, and deletes
  // each when its disk is closed: those that nobody opens any more would stay.
  void release_the_rest() const {
    if (!has_snapshots_) return;
    for (const Disk& disk : work_.machine.disks) {
      if (begun_.count(disk.path) == 0) release_disk(tools_.server, work_.snapshot_name, disk.path);
    }
  }

  bool is_metadata(const std::string& path) const {
    return std::string_view(path).substr(work_.machine.path.size(), metadata_mark.size()) == metadata_mark;
  }

  void back_up(const std::string& path) {
    const bool metadata = is_metadata(path);
    has_snapshots_ |= path.find(kind_mark) != std::string::npos;
    const auto facts = query(path);
    if (metadata) {
      objects_.push_back({path, facts.is_file ? std::optional(read_metadata(path)) : std::nullopt});
    } else if (facts.is_file) {
      back_up_disk(path, facts.size);
    }
  }

  // Without the setting the plug-in takes the snapshots of unmanaged disks and then reports that the setting is
  // missing.
  ObjectFacts query(const std::string& path) {
    try {
      return query_object(tools_.server, work_.snapshot_name, path);
    } catch (const StatusError& error) {
      if (error.status() != status_no_setting || !path.ends_with(unmanaged_mark)) throw;
      result_.warnings.push_back({"the configuration does not say when snapshots of unmanaged disks are taken",
                                  "Set VM_SNAPSHOT_IN_DISCOVERY and ASYNC_SNAPSHOT_SUPPORT in the configuration."});
      return {true, 0};
    }
  }

  std::string read_metadata(const std::string& path) {
    OpenObject object(tools_.server, path);
    std::string data;
    for (auto piece = object.read(read_size); !piece.empty(); piece = object.read(read_size)) {
      if (data.size() + piece.size() > longest_metadata) throw MachineError(path + " does not end");
      data += piece;
    }
    object.close();
    return data;
  }

  void back_up_disk(const std::string& path, std::uint64_t size) {
    begun_.insert(path);
    if (size == 0) {
      release_disk(tools_.server, work_.snapshot_name, path);
      throw MachineError(path + " is reported with a size of 0 bytes");
    }
    tools_.progress.begin(printable(work_.machine.name + ": " + path.substr(path.rfind('/') + 1)));
    struct EndProgress {
      Progress& progress;
      ~EndProgress() { progress.end(); }
    } end{tools_.progress};
    OpenObject object = open_disk(path);
    SavedDisk disk = store_stream(object, path, size);
    try {
      object.close();
    } catch (const StatusError& error) {
      result_.warnings.push_back({error.what(), "Its data is whole; look at the log file for what was left behind."});
    }
    result_.disks.push_back(std::move(disk));
  }

  OpenObject open_disk(const std::string& path) const {
    try {
      return OpenObject(tools_.server, path);
    } catch (const StatusError&) {
      release_disk(tools_.server, work_.snapshot_name, path);
      throw;
    }
  }

  // A stream that breaks off leaves this function by an exception, and so restic is ended before it sees the end.
  SavedDisk store_stream(OpenObject& object, const std::string& path, std::uint64_t size) {
    ResticUpload upload(tools_.restic, path, {disk_tag, backup_tag(work_.snapshot_name)});
    Sha256 digest;
    DiskStream stream(size);
    try {
      for (auto piece = object.read(read_size); !piece.empty(); piece = object.read(read_size)) {
        check_interrupt();
        stream.take(piece.data(), piece.size());
        digest.update(piece.data(), piece.size());
        upload.write(piece.data(), piece.size());
        tools_.progress.advance(stream.bytes(), stream.expected().value_or(0));
      }
      stream.finish();
    } catch (const DamagedStream& damage) {
      throw MachineError(path + ": " + damage.what());
    }
    SavedDisk disk{path, size, stream.bytes(), stream.skipped(), digest.finish(), upload.finish()};
    result_.added += upload.added();
    return disk;
  }

  // restic tells short ids of new snapshots. Asking for the whole ones shows, too, that they are all there before the
  // manifest says so.
  void complete_ids() {
    const auto stored = tools_.restic.snapshots(std::string(disk_tag) + "," + backup_tag(work_.snapshot_name));
    for (SavedDisk& disk : result_.disks) {
      const auto found = std::find_if(stored.begin(), stored.end(), [&](const ResticSnapshot& snapshot) {
        return snapshot.id.rfind(disk.snapshot, 0) == 0;
      });
      if (found == stored.end()) throw ResticError("the repository does not show the stream of " + disk.path);
      disk.snapshot = found->id;
    }
  }

  void store_manifest() {
    check_interrupt();
    const std::string& machine = work_.machine.path;
    const Manifest manifest{machine,
                            tools_.server_name,
                            work_.snapshot_name,
                            time_text(std::time(nullptr)),
                            ::strcasecmp(work_.machine.power_state.c_str(), "running") == 0,
                            objects_,
                            result_.disks};
    check_manifest(manifest, machine);  // what a restore would refuse is not protected
    const std::string text = manifest_text(manifest);
    std::vector<std::string> tags{manifest_tag, backup_tag(work_.snapshot_name)};
    for (const SavedDisk& disk : result_.disks) tags.push_back(std::string(stream_tag_name) + "=" + disk.snapshot);
    ResticUpload upload(tools_.restic, machine + manifest_name, tags);
    upload.write(text.data(), text.size());
    result_.manifest = upload.finish();
    result_.added += upload.added();
  }

  const BackupTools& tools_;
  const MachineWork& work_;
  MachineResult& result_;
  std::vector<SavedObject> objects_;
  std::set<std::string> begun_;  // the paths of disks
  bool has_snapshots_ = false;
};

std::vector<std::string> error_lines(Session& session) {
  std::vector<std::string> texts;
  for (LogLine& line : session.take_lines()) texts.push_back(std::move(line.text));
  return texts;
}

}  // namespace

MachineResult back_up_machine(const BackupTools& tools, const MachineWork& work) {
  MachineResult result;
  result.machine = work.machine.path;
  const std::time_t begin = std::time(nullptr);
  try {
    if (::strcasecmp(work.machine.power_state.c_str(), "running") == 0) {
      result.warnings.push_back({"it was running while its disks were snapshotted: the copy is crash-consistent",
                                 "Stop the machine before a backup when its applications need more than that."});
    }
    MachineBackup(tools, work, result).run();
    result.is_protected = true;
  } catch (const Interrupted&) {
    throw;
  } catch (const StatusError& error) {
    const std::vector<std::string> lines = error_lines(tools.session);
    result.problem = error.what() + quoted_answer(lines);
    result.next = is_forbidden(lines) ? role_advice : status_advice(error.status());
  } catch (const RepositoryInUse& error) {
    result.problem = error.what();
    result.next = "Run the backup again when the other process is done.";
  } catch (const ResticError& error) {
    result.problem = error.what();
    result.next = "Check the repository (azsbackup verify) and the room in it, then run the backup again.";
  } catch (const std::exception& error) {
    result.problem = error.what();
    result.next = log_advice;
  }
  result.seconds = static_cast<std::uint64_t>(std::max<std::time_t>(std::time(nullptr) - begin, 0));
  return result;
}

void query_folders(const BackupTools& tools, const MachineWork& work) {
  for (const std::string& path : work.paths) {
    check_interrupt();
    try {
      query_object(tools.server, work.snapshot_name, path);
    } catch (const StatusError&) {
      continue;  // as the header says
    }
  }
}

}  // namespace host
