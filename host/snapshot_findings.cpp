#include "host/snapshot_findings.h"

#include <aapi/aapi.h>
#include <strings.h>

#include <algorithm>
#include <array>
#include <charconv>
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
  if (group != parts.end() && group + 1 != parts.end()) snapshot.resource_group = *(group + 1);
  const std::vector<std::string> fields = parts.empty() ? parts : split(parts.back(), '_');
  if (fields.size() != name_fields) return snapshot;
  snapshot.machine_id = fields[0];
  snapshot.disk = fields[1] == "OSDisk" ? "OS disk" : "data disk " + fields[2];
  snapshot.backup_id = number_of(fields[3]);
  return snapshot;
}

class Reader {
 public:
  void take(const LogLine& line) {
    const std::string_view text = take_apart(line.text).text;
    if (const auto id = named_by(found_mark, text); !id.empty()) {
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
    findings_.failures.push_back(
        {std::string(disks) + " disks of subscription " + std::string(subscription),
         "their snapshots could not all be looked at, or not be deleted" + quoted_answer(findings_.errors)});
  }

  SnapshotFindings findings_;
};

}  // namespace

SnapshotFindings read_snapshot_findings(const std::vector<LogLine>& lines) {
  Reader reader;
  for (const LogLine& line : lines) reader.take(line);
  return reader.findings();
}

bool is_snapshot_evidence(std::string_view line) {
  const std::string_view text = take_apart(line).text;
  constexpr std::array<Mark, 3> marks{subscription_mark, found_mark, deleted_mark};
  return is_evidence(line) ||
         std::any_of(marks.begin(), marks.end(), [&](const Mark& mark) { return !named_by(mark, text).empty(); });
}

}  // namespace host
