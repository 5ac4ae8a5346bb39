#include "host/repository_commands.h"

#include <strings.h>

#include <algorithm>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <utility>

#include "host/byte_text.h"
#include "host/manifest.h"
#include "host/printable.h"
#include "host/repository_frame.h"
#include "host/verification.h"

namespace host {

namespace {

using Json = nlohmann::ordered_json;

struct LookOptions : RepositoryWork {
  std::string machine;    // a path; empty: all machines
  std::string backup_id;  // empty: the newest (show), all (list, verify)
};

// ---- list -----------------------------------------------------------------------------------------------------------

// The backups that the options select, oldest first. Names in Azure Stack are the same in any letter case.
std::vector<ManifestEntry> selected(const Restic& restic, const LookOptions& options) {
  std::vector<ManifestEntry> entries = list_manifests(restic);
  const auto is_other = [&](const ManifestEntry& entry) {
    return (!options.machine.empty() && ::strcasecmp(options.machine.c_str(), entry.machine.c_str()) != 0) ||
           (!options.backup_id.empty() && options.backup_id != entry.backup_id);
  };
  entries.erase(std::remove_if(entries.begin(), entries.end(), is_other), entries.end());
  return entries;
}

Json as_json(const ManifestEntry& entry) {
  return {{"path", entry.machine},
          {"backup_id", entry.backup_id},
          {"time", entry.snapshot.time},
          {"manifest", entry.snapshot.id}};
}

Answer list(const Restic& restic, const LookOptions& options, Progress& /*progress*/) {
  Answer answer;
  answer.members["backups"] = Json::array();
  std::map<std::string, std::string> lines;  // by machine
  for (const ManifestEntry& entry : selected(restic, options)) {
    lines[entry.machine] += "  " + printable(entry.backup_id) + "  " + time_text(seconds_of(entry.snapshot.time)) +
                            "  " + entry.snapshot.id.substr(0, 8) + "\n";
    answer.members["backups"].push_back(as_json(entry));
  }
  for (const auto& [machine, backups] : lines) answer.lines += printable(machine) + "\n" + backups;
  if (lines.empty()) {
    answer.lines = "The repository holds no backup of this selection.\n";
    answer.code = ExitCode::nothing_found;
  }
  return answer;
}

// ---- show -----------------------------------------------------------------------------------------------------------

std::string settings_lines(const Manifest& manifest) {
  std::string lines;
  for (const SavedObject& object : manifest.objects) {
    const std::size_t key = object.path.find("/Metadata/");
    if (key == std::string::npos || object.path.find('=', key) == std::string::npos) continue;
    lines += "  " + printable(std::string_view(object.path).substr(key + 10)) + "\n";
  }
  return lines;
}

std::string show_lines(const Manifest& manifest) {
  std::string lines = printable(manifest.machine) + "\n  backup " + printable(manifest.backup_id) + " of " +
                      printable(manifest.time) + ", " + printable(manifest.server) + "\n";
  if (manifest.crash_consistent) lines += "  crash-consistent: it ran while its disks were snapshotted\n";
  lines += settings_lines(manifest);
  for (const SavedDisk& disk : manifest.disks) {
    lines += "  disk " + printable(std::string_view(disk.path).substr(manifest.machine.size() + 1)) + "\n    " +
             byte_text(disk.size) + " disk, " + byte_text(disk.stream_bytes) + " read, " + byte_text(disk.skipped) +
             " unallocated\n    SHA-256 " + printable(disk.sha256) + "\n    stream  " + printable(disk.snapshot) + "\n";
  }
  return lines;
}

Answer show(const Restic& restic, const LookOptions& options, Progress& /*progress*/) {
  const auto entries = selected(restic, options);
  if (entries.empty())
    return {ExitCode::nothing_found, "The repository holds no such backup.\n", {{"backup", nullptr}}};
  const Manifest manifest = load_manifest(restic, entries.back());
  return {ExitCode::ok, show_lines(manifest), {{"backup", Json::parse(manifest_text(manifest))}}};
}

// ---- verify ---------------------------------------------------------------------------------------------------------

ExitCode verify_code(const Verification& verification, std::size_t damaged) {
  if (damaged == 0 && verification.structure.empty()) {
    return verification.backups.empty() ? ExitCode::nothing_found : ExitCode::ok;
  }
  return damaged < verification.backups.size() ? ExitCode::partial : ExitCode::failed;
}

std::string verify_lines(const VerifiedBackup& backup) {
  std::string lines = (backup.damages.empty() ? "ok       " : "DAMAGED  ") + printable(backup.entry.machine) + "  " +
                      printable(backup.entry.backup_id) + "\n";
  for (const std::string& damage : backup.damages) lines += "           " + printable(damage) + "\n";
  return lines;
}

Answer verify(const Restic& restic, const LookOptions& options, Progress& progress) {
  const Verification verification = verify_repository(restic, selected(restic, options), progress);
  Answer answer;
  answer.members["structure"] = verification.structure.empty() ? Json() : Json(verification.structure);
  answer.members["backups"] = Json::array();
  std::size_t damaged = 0;
  for (const VerifiedBackup& backup : verification.backups) {
    if (!backup.damages.empty()) ++damaged;
    answer.lines += verify_lines(backup);
    Json object = as_json(backup.entry);
    object["damages"] = backup.damages;
    answer.members["backups"].push_back(std::move(object));
  }
  if (!verification.structure.empty()) {
    answer.lines += "DAMAGED  the repository itself\n           " + printable(verification.structure) + "\n";
  }
  answer.lines += "\n" + std::to_string(verification.backups.size() - damaged) + " of " +
                  std::to_string(verification.backups.size()) + " backups can be restored.\n";
  answer.code = verify_code(verification, damaged);
  return answer;
}

// ---- The command line -----------------------------------------------------------------------------------------------

using Look = Answer (*)(const Restic&, const LookOptions&, Progress&);

CLI::Option* add(CLI::App& program, Action& action, const char* name, const char* purpose, Look look) {
  auto* command = program.add_subcommand(name, purpose);
  const auto options = std::make_shared<LookOptions>();
  add_repository_options(*command, options->repository);
  add_output_options(*command, options->output);
  auto* machine = command->add_option("MACHINE", options->machine, "Only this machine: /SUBSCRIPTION/GROUP/NAME");
  command->add_option("--backup", options->backup_id, "Only the backup with this id")->type_name("ID");
  command->footer(exit_code_help());
  command->callback([name, look, options, &action] {
    action = [name, look, options] {
      return run_on_repository(
          name, *options, [&](const Restic& restic, Progress& progress) { return look(restic, *options, progress); });
    };
  });
  return machine;
}

}  // namespace

void add_repository_commands(CLI::App& program, Action& action) {
  add(program, action, "list", "List the backups of machines in the repository", list);
  add(program, action, "show", "Show a machine's newest backup, or the one with --backup", show)->required();
  add(program, action, "verify", "Read every stream back and tell which machines can be restored", verify);
}

}  // namespace host
