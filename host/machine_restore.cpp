#include "host/machine_restore.h"

#include <algorithm>
#include <functional>
#include <stdexcept>
#include <utility>

#include "host/created_object.h"
#include "host/interrupt.h"
#include "host/plugin_object.h"
#include "host/printable.h"
#include "host/saved_stream.h"
#include "host/status_text.h"

namespace host {

namespace {

constexpr std::size_t block_size = 4U << 20U;
constexpr std::size_t most_details = 8;
constexpr std::size_t longest_detail = 400;
constexpr std::string_view managed_id_mark = "managed disk Id: ";
constexpr std::string_view blob_mark = "Restore Path: ";
constexpr std::string_view account_mark = "Found valid Storage Account ";
constexpr std::string_view answer_mark = "SendHttpRequest: ";
constexpr const char* log_advice = "Look at the log file; run again with -v or -vv for more of it.";

std::string text_behind(const std::vector<LogLine>& lines, std::string_view mark) {
  for (const LogLine& line : lines) {
    const std::size_t at = line.text.find(mark);
    if (at != std::string::npos) return line.text.substr(at + mark.size());
  }
  return "";
}

/// A target that the plug-in refused when it was only asked.
class TargetError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Writes in large blocks and keeps the last one back until it is told that the stream was the right one: without it no
// disk is complete, so that none is ever made of a damaged stream.
class BlockWriter {
 public:
  explicit BlockWriter(CreatedObject& object) : object_(object) { block_.reserve(block_size); }

  void take(const char* data, std::size_t size) {
    while (size > 0) {
      if (block_.size() == block_size) flush();
      const std::size_t count = std::min(size, block_size - block_.size());
      block_.insert(block_.end(), data, data + count);
      data += count;
      size -= count;
    }
  }
  void flush() {
    object_.write(block_.data(), block_.size());
    block_.clear();
  }

 private:
  CreatedObject& object_;
  std::vector<char> block_;
};

class MachineRestore {
 public:
  MachineRestore(const RestoreTools& tools, RestoreResult& result)
      : tools_(tools), plan_(result.plan), result_(result) {}

  void run() {
    announce_machine();
    for (const SavedObject& object : plan_.objects) give_back(object);
    for (const PlannedDisk& disk : plan_.disks) restore_disk(disk);
    if (!plan_.disks_only) recover();
  }

  void ask() {
    announce_machine();
    for (const SavedObject& object : plan_.objects) announce_object(tools_.server, object.path);
    for (const PlannedDisk& disk : plan_.disks) ask_for(disk);
  }

  // The lines of the step that failed, or of the machine's making. Where that went well, the answers that Resource
  // Manager gave are none: that there is no such machine yet is what it is asked for.
  std::vector<std::string> take_details() {
    collect();
    std::vector<std::string> details;
    for (const LogLine& line : lines_) {
      const bool expected = result_.done && line.text.starts_with(answer_mark);
      if (line.level >= AAPI_LOG_ERROR && !expected) details.push_back(printable(line.text, longest_detail));
    }
    const std::size_t surplus = details.size() - std::min(details.size(), most_details);
    details.erase(details.begin(), details.begin() + static_cast<std::ptrdiff_t>(surplus));
    return details;
  }

 private:
  void begin_step() {
    check_interrupt();
    tools_.session.take_lines();
    lines_.clear();
  }

  void collect() {
    for (LogLine& line : tools_.session.take_lines()) lines_.push_back(std::move(line));
  }

  // The query of the machine itself says that it comes back as it was.
  void announce_machine() {
    begin_step();
    if (!plan_.keeps_configuration) return;
    aapi_object_info_v1_t facts{};
    const Server& server = tools_.server;
    const std::uint32_t status = server.entry().get_object_prop_byname(server.handle(), plan_.path.c_str(), &facts);
    if (status != AAPI_OK) throw StatusError(plan_.path + " cannot be asked for", status);
  }

  void give_back(const SavedObject& object) {
    begin_step();
    announce_object(tools_.server, object.path);
    if (!object.data) return;
    CreatedObject created(tools_.server, object.path);
    created.write(object.data->data(), object.data->size());
    created.close();
  }

  void ask_for(const PlannedDisk& disk) {
    begin_step();
    announce_object(tools_.server, disk.path);
    collect();
    std::string id = text_behind(lines_, managed_id_mark);
    if (id.empty() && text_behind(lines_, account_mark).empty()) {
      throw TargetError("the target of " + disk.path + " is refused");
    }
    result_.disks.push_back({disk.saved.path, std::move(id)});
  }

  void restore_disk(const PlannedDisk& disk) {
    begin_step();
    announce_object(tools_.server, disk.path);
    CreatedObject object(tools_.server, disk.path);
    collect();
    result_.disks.push_back({disk.saved.path, name_of_disk()});
    tools_.progress.begin(printable(std::string_view(disk.path).substr(disk.path.rfind('/') + 1)));
    struct EndProgress {
      Progress& progress;
      ~EndProgress() { progress.end(); }
    } end{tools_.progress};
    write(disk, object);
    object.close();
    result_.disks.back().complete = true;
  }

  // A managed disk has an id; the blob that its bytes pass through is gone at the end.
  std::string name_of_disk() const {
    std::string id = text_behind(lines_, managed_id_mark);
    return id.empty() ? text_behind(lines_, blob_mark) : id;
  }

  void write(const PlannedDisk& disk, CreatedObject& object) {
    SavedStream stream(disk.saved);
    BlockWriter writer(object);
    try {
      tools_.restic.dump(disk.stream, [&](const char* data, std::size_t size) {
        stream.take(data, size);
        writer.take(data, size);
        result_.disks.back().bytes = stream.bytes();
        tools_.progress.advance(stream.bytes(), disk.saved.stream_bytes);
      });
      stream.finish();
    } catch (const DamagedStream& error) {
      throw DamagedStream(disk.saved.path + ": " + error.what());
    }
    writer.flush();
  }

  void recover() {
    begin_step();
    const Server& server = tools_.server;
    const std::string& last = plan_.objects.back().path;
    const std::uint32_t status = server.entry().set_object_utimes(server.handle(), last.c_str());
    if (status != AAPI_OK) throw StatusError(plan_.place + " cannot be made", status);
  }

  const RestoreTools& tools_;
  const RestorePlan& plan_;
  RestoreResult& result_;
  std::vector<LogLine> lines_;  // of the step in hand
};

// A request that a signal stopped looks like one that failed.
bool was_interrupted() {
  try {
    check_interrupt();
    return false;
  } catch (const Interrupted&) {
    return true;
  }
}

void interrupt(RestoreResult& result) {
  result.interrupted = true;
  result.problem = "it was stopped by a signal; what was open is closed";
  result.next = "Restore it again.";
}

void run_step(RestoreResult& result, const std::function<void()>& step) {
  try {
    step();
    result.done = true;
  } catch (const Interrupted&) {
    interrupt(result);
  } catch (const StatusError& error) {
    result.problem = error.what();
    result.next = status_advice(error.status());
  } catch (const TargetError& error) {
    result.problem = error.what();
    result.next = "Choose another target with --set or --to.";
  } catch (const DamagedStream& error) {
    result.problem = error.what();
    result.next = "Restore an older backup; azsbackup verify tells which are whole.";
  } catch (const ResticError& error) {
    result.problem = error.what();
    result.next = "Check the repository (azsbackup verify), then restore the machine again.";
  } catch (const std::exception& error) {
    result.problem = error.what();
    result.next = log_advice;
  }
  if (!result.done && !result.interrupted && was_interrupted()) interrupt(result);
}

RestoreResult work_on(const RestoreTools& tools, RestorePlan plan, void (MachineRestore::*work)()) {
  RestoreResult result;
  result.plan = std::move(plan);
  MachineRestore restore(tools, result);
  run_step(result, [&] { (restore.*work)(); });
  result.details = restore.take_details();
  return result;
}

}  // namespace

RestoreResult restore_machine(const RestoreTools& tools, RestorePlan plan) {
  return work_on(tools, std::move(plan), &MachineRestore::run);
}

RestoreResult check_target(const RestoreTools& tools, RestorePlan plan) {
  return work_on(tools, std::move(plan), &MachineRestore::ask);
}

bool is_restore_evidence(std::string_view line) {
  const auto marks = {managed_id_mark, blob_mark, account_mark};
  return std::any_of(marks.begin(), marks.end(),
                     [&](std::string_view mark) { return line.find(mark) != std::string_view::npos; });
}

}  // namespace host
