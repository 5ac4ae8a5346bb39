#include "host/backup_choice.h"

#include <strings.h>

#include <algorithm>
#include <map>
#include <utility>

#include "host/errors.h"
#include "host/printable.h"

namespace host {

namespace {

constexpr const char* newest = "latest";
constexpr std::size_t most_candidates = 10;

struct IgnoringCase {
  bool operator()(const std::string& left, const std::string& right) const {
    return ::strcasecmp(left.c_str(), right.c_str()) < 0;
  }
};
using ByMachine = std::map<std::string, ManifestEntry, IgnoringCase>;  // the newest of each

bool equal(std::string_view left, std::string_view right) {
  return left.size() == right.size() && ::strncasecmp(left.data(), right.data(), left.size()) == 0;
}

// entries are sorted, the oldest first.
ByMachine newest_of(std::vector<ManifestEntry> entries) {
  ByMachine machines;
  for (ManifestEntry& entry : entries) {
    const std::string machine = entry.machine;
    machines.insert_or_assign(machine, std::move(entry));
  }
  return machines;
}

void keep_backup(std::vector<ManifestEntry>& entries, const std::string& id) {
  entries.erase(
      std::remove_if(entries.begin(), entries.end(), [&](const ManifestEntry& entry) { return entry.backup_id != id; }),
      entries.end());
  if (entries.empty()) throw NotInRepository("the repository holds no backup " + printable(id));
}

const ManifestEntry& named(const ByMachine& machines, const std::string& word, const std::string& backup) {
  std::vector<std::string> found;
  for (const auto& [path, entry] : machines) {
    if (names(word, path)) found.push_back(path);
  }
  if (found.empty()) {
    throw NotInRepository("the repository holds no machine " + printable(word) + " of backup " + printable(backup));
  }
  if (found.size() > 1) throw UsageError(printable(word) + " may be any of these machines:\n" + candidates(found));
  return machines.at(found.front());
}

}  // namespace

bool names(std::string_view word, std::string_view path) {
  if (word.empty() || word.size() > path.size()) return false;
  const std::size_t start = path.size() - word.size();
  if (!equal(word, path.substr(start))) return false;
  return start == 0 || path[start] == '/' || path[start - 1] == '/';
}

std::string candidates(const std::vector<std::string>& paths) {
  std::string lines;
  for (std::size_t at = 0; at < std::min(paths.size(), most_candidates); ++at) {
    lines += "  " + printable(paths[at]) + "\n";
  }
  return lines + (paths.size() > most_candidates ? "  ...\n" : "");
}

std::vector<ManifestEntry> choose_backups(const Restic& restic, const std::string& backup,
                                          const std::vector<std::string>& machines) {
  std::vector<ManifestEntry> entries = list_manifests(restic);
  if (entries.empty()) throw NotInRepository("the repository holds no backup");
  if (backup != newest) {
    keep_backup(entries, backup);
  } else if (machines.empty()) {
    keep_backup(entries, std::string(entries.back().backup_id));
  }
  const ByMachine by_machine = newest_of(std::move(entries));
  ByMachine chosen;
  for (const std::string& word : machines) {
    const ManifestEntry& entry = named(by_machine, word, backup);
    chosen.insert_or_assign(entry.machine, entry);
  }
  std::vector<ManifestEntry> result;
  for (const auto& [path, entry] : machines.empty() ? by_machine : chosen) result.push_back(entry);
  return result;
}

}  // namespace host
