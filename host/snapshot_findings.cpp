#include "host/snapshot_findings.h"

#include <aapi/aapi.h>
#include <strings.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <sstream>
#include <utility>

#include "host/plugin_line.h"

namespace host {

namespace {

/// A line of the sweep: what it names stands between two marks.
struct Mark {
  std::string_view before;
  std::string_view after;
};

constexpr Mark subscription_mark{"Delete Managed Disk stale snapshots of Subscriptions ", " ."};
constexpr Mark found_mark{"Validate found managed disk snapshot ", ""};
constexpr Mark deleted_mark{"Delete snapshot for ", " disk is complete"};
constexpr Mark kept_export_mark{"Failed to cancel export snapshot for ", " disk"};
constexpr Mark kept_mark{"Failed to delete snapshot for ", " disk"};
constexpr std::string_view account_function = "DeleteStaleSnapshot";
constexpr std::string_view account_mark = "AccountName=";
constexpr std::string_view blob_function = "AzureStorageWrapperLog";
constexpr std::string_view blob_mark = "snapshot of ";
constexpr std::string_view blob_time_mark = " as of ";
constexpr std::string_view blob_id_mark = ": snapid \"";
constexpr std::string_view blob_key_mark = "\", snapkey \"BDAZSNAP\", ";
constexpr std::string_view blob_meant_mark = "to be deleted";
constexpr std::string_view blob_gone_mark = "deleted snapshot ";
constexpr Mark managed_failure_mark{"Failed to delete Managed Disk stale snapshots of Subscriptions ", " ."};
constexpr Mark unmanaged_failure_mark{"Failed to delete Unmanaged Disk stale snapshots of Subscriptions ", " ."};

// Empty when the line is another.
std::string_view named_by(const Mark& mark, std::string_view text) {
  if (!starts_with(text, mark.before)) return {};
  text.remove_prefix(mark.before.size());
  if (text.size() < mark.after.size() || text.substr(text.size() - mark.after.size()) != mark.after) return {};
  return text.substr(0, text.size() - mark.after.size());
}

std::vector<std::string> split(std::string_view text, char separator) {
  std::vector<std::string> parts;
  std::istringstream stream{std::string(text)};
  for (std::string part; std::getline(stream, part, separator);) parts.push_back(part);
  return parts;
}

std::int64_t number_of(const std::string& text) {
  std::int64_t number = 0;
  const auto parsed = std::from_chars(text.data(), text.data() + text.size(), number);
  return parsed.ec == std::errc{} && parsed.ptr == text.data() + text.size() && number > 0 ? number : 0;
}

// .../resourceGroups/GROUP/.../MACHINE_KIND_LUN_SECONDS_TAG
StandingSnapshot snapshot_of(std::string_view id) {
  constexpr std::size_t name_fields = 5;
  StandingSnapshot snapshot;
  snapshot.id = id;
  const std::vector<std::string> parts = split(id, '/');
  const auto group = std::find_if(parts.begin(), parts.end(),
                                  [](const auto& part) { return ::strcasecmp(part.c_str(), "resourceGroups") == 0; });
  if (group != parts.end() && group + 1 != parts.end()) snapshot.place = *(group + 1);
  const std::vector<std::string> fields = parts.empty() ? parts : split(parts.back(), '_');
  if (fields.size() != name_fields) return snapshot;
  snapshot.disk = fields[0] + (fields[1] == "OSDisk" ? " OS disk" : " data disk " + fields[2]);
  snapshot.backup_id = number_of(fields[3]);
  return snapshot;
}

// "snapshot of CONTAINER/BLOB as of TIME: snapid "SECONDS", snapkey "TAG", kept", or "to be deleted" in its place.
// Looked through from its end, since names can hold anything. None for a snapshot without this tag, which is somebody
// else's.
std::optional<StandingSnapshot> blob_snapshot_of(std::string_view text, const std::string& account) {
  const std::size_t key = text.rfind(blob_key_mark);
  const std::size_t id = text.rfind(blob_id_mark, key);
  const std::size_t time = text.rfind(blob_time_mark, id);
  if (!starts_with(text, blob_mark) || key == std::string_view::npos || id == std::string_view::npos ||
      time == std::string_view::npos || time < blob_mark.size()) {
    return std::nullopt;
  }
  StandingSnapshot snapshot;
  snapshot.managed = false;
  snapshot.place = account;
  snapshot.disk = text.substr(blob_mark.size(), time - blob_mark.size());
  snapshot.id = account + "/" + std::string(text.substr(blob_mark.size(), id - blob_mark.size()));
  snapshot.backup_id = number_of(std::string(text.substr(id + blob_id_mark.size(), key - id - blob_id_mark.size())));
  const bool meant = text.substr(text.size() - blob_meant_mark.size()) == blob_meant_mark;
  snapshot.state = meant ? SnapshotState::failed : SnapshotState::standing;  // until it is told that it is gone
  return snapshot;
}

bool ends_with(std::string_view text, std::string_view end) {
  return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

class Reader {
 public:
  void take(const LogLine& line) {
    const auto [function, text] = take_apart(line.text);
    if (function == account_function && text.find(account_mark) != std::string_view::npos) {
      account_ = text.substr(text.find(account_mark) + account_mark.size());
      account_.resize(std::min(account_.size(), account_.find(';')));
    } else if (function == blob_function && line.level < AAPI_LOG_ERROR) {
      take_blob_line(text);
    } else if (const auto id = named_by(found_mark, text); !id.empty()) {
      findings_.snapshots.push_back(snapshot_of(id));
    } else if (const auto gone = named_by(deleted_mark, text); !gone.empty()) {
      set_state(gone, SnapshotState::deleted);
    } else if (!named_by(subscription_mark, text).empty()) {
      ++findings_.subscriptions;
    } else if (line.level >= AAPI_LOG_ERROR) {
      take_error(text);
      findings_.errors.push_back(line.text);
    }
  }

  SnapshotFindings findings() { return std::move(findings_); }

 private:
  void take_blob_line(std::string_view text) {
    if (auto snapshot = blob_snapshot_of(text, account_)) findings_.snapshots.push_back(std::move(*snapshot));
    if (!starts_with(text, blob_gone_mark)) return;
    for (StandingSnapshot& snapshot : findings_.snapshots) {
      const bool is_it = !snapshot.managed && snapshot.place == account_ &&
                         ends_with(text, std::string_view(snapshot.id).substr(account_.size()));
      if (is_it) snapshot.state = SnapshotState::deleted;
    }
  }

  void take_error(std::string_view text) {
    for (const Mark& mark : {kept_export_mark, kept_mark}) set_state(named_by(mark, text), SnapshotState::failed);
    add_failure(named_by(managed_failure_mark, text), "managed");
    add_failure(named_by(unmanaged_failure_mark, text), "unmanaged");
  }

  void set_state(std::string_view id, SnapshotState state) {
    for (StandingSnapshot& snapshot : findings_.snapshots) {
      if (snapshot.id == id) snapshot.state = state;
    }
  }

  void add_failure(std::string_view subscription, const char* disks) {
    if (subscription.empty()) return;
    ++findings_.failed_lists;
    std::string what = std::string(disks) + " disks of subscription " + std::string(subscription);
    const bool known = std::any_of(findings_.failures.begin(), findings_.failures.end(),
                                   [&](const LeftOut& failure) { return failure.what == what; });
    if (known) return;
    findings_.failures.push_back({std::move(what), "their snapshots could not all be looked at, or not be deleted" +
                                                       quoted_answer(findings_.errors)});
  }

  SnapshotFindings findings_;
  std::string account_;  // whose blobs are looked at
};

}  // namespace

std::size_t SnapshotFindings::count(SnapshotState state) const {
  return static_cast<std::size_t>(
      std::count_if(snapshots.begin(), snapshots.end(), [&](const auto& entry) { return entry.state == state; }));
}

SnapshotFindings read_snapshot_findings(const std::vector<LogLine>& lines) {
  Reader reader;
  for (const LogLine& line : lines) reader.take(line);
  return reader.findings();
}

bool is_snapshot_evidence(std::string_view line) {
  const auto [function, text] = take_apart(line);
  if (function == account_function || function == blob_function) return true;
  constexpr std::array<Mark, 3> marks{subscription_mark, found_mark, deleted_mark};
  return is_evidence(line) || std::any_of(marks.begin(), marks.end(), [&, words = text](const Mark& mark) {
           return !named_by(mark, words).empty();
         });
}

}  // namespace host
