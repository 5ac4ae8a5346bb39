#include "host/export_command.h"

#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>
#include <system_error>
#include <utility>

#include "host/backup_choice.h"
#include "host/byte_text.h"
#include "host/console.h"
#include "host/errors.h"
#include "host/interrupt.h"
#include "host/log_file.h"
#include "host/options.h"
#include "host/outcome.h"
#include "host/printable.h"
#include "host/progress.h"
#include "host/restore_plan.h"
#include "host/saved_machine.h"
#include "host/saved_stream.h"
#include "host/vhd_file.h"

namespace host {

namespace {

using Json = nlohmann::ordered_json;

struct ExportOptions {
  OutputOptions output;
  RepositoryOptions repository;
  std::string backup;
  std::string disk;
  std::string file;
};

/// What came of it.
struct Export {
  SavedDisk disk;
  std::string backup_id;
  std::string footer_problem;  // why the file is no VHD; empty: it is one
  std::optional<Finding> error;
};

// ---- The disk that is meant -----------------------------------------------------------------------------------------

// With a disk's whole path the newest backup of its machine is meant, which may be older than the newest of all.
std::vector<ManifestEntry> machines_of(const Restic& restic, const ExportOptions& options) {
  const std::string_view machine = options.disk.starts_with('/') ? machine_part(options.disk) : std::string_view();
  if (machine.empty()) return choose_backups(restic, options.backup, {});
  return choose_backups(restic, options.backup, {std::string(machine)});
}

struct FoundDisk {
  ManifestEntry entry;
  ResticSnapshot stream;
};

// The streams tell their disks without a manifest being read.
FoundDisk find_disk(const Restic& restic, const ExportOptions& options) {
  const std::vector<ManifestEntry> entries = machines_of(restic, options);
  std::map<std::string, FoundDisk> found;  // by path
  for (const auto& [id, stream] : list_streams(restic)) {
    if (!names(options.disk, stream.path)) continue;
    for (const ManifestEntry& entry : entries) {
      const bool is_of = stream.path.starts_with(entry.machine + "/") && stream.tag("backup") == entry.backup_id;
      if (is_of) found.insert_or_assign(stream.path, FoundDisk{entry, stream});
    }
  }
  if (found.empty()) throw NotInRepository("the backup holds no disk " + printable(options.disk));
  if (found.size() == 1) return found.begin()->second;
  std::vector<std::string> paths;
  paths.reserve(found.size());
  for (const auto& [path, disk] : found) paths.push_back(path);
  throw UsageError(printable(options.disk) + " may be any of these disks:\n" + candidates(paths));
}

// Of several streams of a disk in one backup the manifest says which one counts.
SavedDisk read_record(const Restic& restic, const FoundDisk& found) {
  const Manifest manifest = load_manifest(restic, found.entry);
  const auto disk = std::find_if(manifest.disks.begin(), manifest.disks.end(),
                                 [&](const SavedDisk& saved) { return saved.path == found.stream.path; });
  if (manifest.machine != found.entry.machine || disk == manifest.disks.end()) {
    throw ManifestError("the backup of " + printable(found.entry.machine) + " has no record of " +
                        printable(found.stream.path));
  }
  check_disk(manifest, *disk);
  return *disk;
}

// ---- The file -------------------------------------------------------------------------------------------------------

void write_file(const Restic& restic, const std::string& path, Export& result, Progress& progress) {
  const SavedDisk& disk = result.disk;
  const auto stored = restic.find(disk.snapshot);
  if (!stored || stored->path != disk.path) {
    throw ManifestError("the stream of " + printable(disk.path) + " is not in the repository");
  }
  VhdFile file(path, disk.size);
  SavedStream stream(disk,
                     [&](std::uint64_t offset, const char* data, std::size_t size) { file.write(offset, data, size); });
  progress.begin(printable(std::string_view(disk.path).substr(disk.path.rfind('/') + 1)));
  restic.dump(*stored, [&](const char* data, std::size_t size) {
    stream.take(data, size);
    progress.advance(stream.bytes(), disk.stream_bytes);
  });
  stream.finish();
  progress.end();
  result.footer_problem = file.footer_problem();
  file.finish();
}

Export export_disk(const Restic& restic, const ExportOptions& options, const Console& console) {
  Export result;
  Progress progress(console, options.output.json);
  try {
    result.error = finding_of([&] {
      const FoundDisk found = find_disk(restic, options);
      result.backup_id = found.entry.backup_id;
      result.disk = read_record(restic, found);
      write_file(restic, options.file, result, progress);
    });
  } catch (const std::system_error& error) {
    result.error = Finding{Stage::azure_stack, ExitCode::failed, error.what(),
                           "Check the room and the rights where the file is to be."};
  }
  progress.end();
  return result;
}

// ---- The report -----------------------------------------------------------------------------------------------------

std::string lines_of_export(const Export& result, const std::string& file) {
  std::string lines = printable(result.disk.path) + "\n  backup " + printable(result.backup_id) + ", " +
                      byte_text(result.disk.size) + " disk, " + byte_text(result.disk.size - result.disk.skipped) +
                      " of data\n  " + printable(file) + ", ";
  if (result.footer_problem.empty()) return lines + "a fixed VHD\n";
  return lines + "raw bytes and no VHD: " + result.footer_problem + "\n";
}

Json as_json(const Export& result, const ExportOptions& options, const Restic& restic, const LogFile& log) {
  const ExitCode code = result.error ? result.error->code : ExitCode::ok;
  return {{"command", "export"},
          {"repository", restic.name()},
          {"result", result_word(code)},
          {"exit_code", static_cast<int>(code)},
          {"error", error_json(result.error)},
          {"backup_id", text_or_null(result.backup_id)},
          {"disk", text_or_null(result.disk.path)},
          {"file", options.file},
          {"format", result.error ? Json() : Json(result.footer_problem.empty() ? "vhd" : "raw")},
          {"footer_problem", text_or_null(result.footer_problem)},
          {"size", result.disk.size},
          {"sha256_of_stream", text_or_null(result.disk.sha256)},
          {"log_file", log.path()}};
}

ExitCode run_export(const ExportOptions& options) {
  const Restic restic = options.repository.open();
  const LogFile log(options.output.log_path(), options.output.verbosity);
  const InterruptGuard guard;
  const Console console(log.descriptor());
  const Export result = export_disk(restic, options, console);
  if (options.output.json) {
    console.print(report_text(as_json(result, options, restic, log)));
  } else if (result.error) {
    console.print_error(error_lines("export", *result.error, ""));
  } else {
    console.print(lines_of_export(result, options.file));
  }
  return result.error ? result.error->code : ExitCode::ok;
}

}  // namespace

void add_export_command(CLI::App& program, Action& action) {
  auto* command = program.add_subcommand("export", "Write a disk of a backup into a file, a fixed VHD");
  const auto options = std::make_shared<ExportOptions>();
  add_repository_options(*command, options->repository);
  add_output_options(*command, options->output);
  command->add_option("BACKUP", options->backup, "The backup's id as list shows it, or \"latest\"")->required();
  command->add_option("DISK", options->disk, "The disk's path as show tells it, or as much of its end as tells it")
      ->required();
  command->add_option("FILE", options->file, "The file, which must not be there yet")->required();
  command->footer(exit_code_help());
  command->callback([options, &action] { action = [options] { return run_export(*options); }; });
}

}  // namespace host
