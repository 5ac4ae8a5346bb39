#include "host/prune_command.h"

#include <array>
#include <ctime>
#include <memory>
#include <nlohmann/json.hpp>
#include <utility>

#include "host/byte_text.h"
#include "host/errors.h"
#include "host/printable.h"
#include "host/prune_plan.h"
#include "host/repository_frame.h"

namespace host {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::int64_t seconds_per_hour = 3600;

struct CountRule {
  const char* option;
  const char* purpose;
};

constexpr std::array<CountRule, 4> count_rules{{{"--keep-last", "Keep the last N backups of each machine"},
                                                {"--keep-daily", "Keep the last one of each of the last N days"},
                                                {"--keep-weekly", "Keep the last one of each of the last N weeks"},
                                                {"--keep-monthly", "Keep the last one of each of the last N months"}}};

struct PruneOptions : RepositoryWork {
  std::array<unsigned, count_rules.size()> counts{};
  std::string within;
  std::vector<std::string> retired;
  unsigned leftover_hours = 24;
  bool dry_run = false;
};

std::vector<std::string> rules_of(const PruneOptions& options) {
  std::vector<std::string> rules;
  for (std::size_t at = 0; at < count_rules.size(); ++at) {
    if (options.counts[at] == 0) continue;
    rules.insert(rules.end(), {count_rules[at].option, std::to_string(options.counts[at])});
  }
  if (!options.within.empty()) rules.insert(rules.end(), {"--keep-within", options.within});
  if (rules.empty() && options.retired.empty()) {
    throw UsageError("nothing says what to keep; give at least one --keep rule");
  }
  return rules;
}

// As restic takes them: "1y6m14d2h".
std::string refuse_duration(const std::string& text) {
  bool digits = false;
  for (const char byte : text) {
    const bool is_digit = byte >= '0' && byte <= '9';
    const bool is_unit = std::string_view("ymdh").find(byte) != std::string_view::npos;
    if (!is_digit && !(is_unit && digits)) return "write a duration like 14d or 1y6m, with y, m, d and h";
    digits = is_digit;
  }
  return digits ? "a number in the duration lacks its unit (y, m, d or h)" : "";
}

std::string backup_lines(const char* title, const std::vector<ManifestEntry>& manifests) {
  std::string lines;
  for (const ManifestEntry& manifest : manifests) {
    lines.append(title).append(printable(manifest.machine)).append("  ").append(printable(manifest.backup_id));
    lines.append("  ").append(time_text(seconds_of(manifest.snapshot.time))).append("\n");
  }
  return lines;
}

std::string leftover_lines(const std::vector<ResticSnapshot>& streams) {
  std::string lines;
  for (const ResticSnapshot& stream : streams) {
    lines.append("left over  ").append(printable(stream.path)).append("  ");
    lines.append(time_text(seconds_of(stream.time))).append("\n");
  }
  return lines;
}

std::string count(std::size_t number, const char* what) {
  return std::to_string(number) + " " + what + (number == 1 ? "" : "s");
}

std::string lines_of_plan(const PrunePlan& plan, bool dry_run) {
  return backup_lines("keep       ", plan.kept) + backup_lines("remove     ", plan.removed) +
         leftover_lines(plan.leftovers) + "\n" + count(plan.removed.size(), "backup") + " with " +
         count(plan.streams.size(), "disk") + " and " + count(plan.leftovers.size(), "stream") + " left over " +
         (dry_run ? "would be removed, " : "removed, ") + count(plan.kept.size(), "backup") + " kept.\n";
}

Json manifests_json(const std::vector<ManifestEntry>& manifests) {
  Json array = Json::array();
  for (const ManifestEntry& manifest : manifests) {
    array.push_back({{"path", manifest.machine},
                     {"backup_id", manifest.backup_id},
                     {"time", manifest.snapshot.time},
                     {"manifest", manifest.snapshot.id}});
  }
  return array;
}

Json streams_json(const std::vector<ResticSnapshot>& streams) {
  Json array = Json::array();
  for (const ResticSnapshot& stream : streams) {
    array.push_back({{"path", stream.path}, {"time", stream.time}, {"snapshot", stream.id}});
  }
  return array;
}

Answer prune(const Restic& restic, const PruneOptions& options, const std::vector<std::string>& rules) {
  const PrunePlan plan = plan_prune(
      restic, rules, std::time(nullptr) - std::int64_t{options.leftover_hours} * seconds_per_hour, options.retired);
  if (!options.dry_run) carry_out(restic, plan);
  return {ExitCode::ok,
          lines_of_plan(plan, options.dry_run),
          {{"dry_run", options.dry_run},
           {"kept", manifests_json(plan.kept)},
           {"removed", manifests_json(plan.removed)},
           {"streams", streams_json(plan.streams)},
           {"runs", streams_json(plan.runs)},
           {"leftovers", streams_json(plan.leftovers)}}};
}

ExitCode run(const PruneOptions& options) {
  const std::vector<std::string> rules = rules_of(options);
  return run_on_repository("prune", options,
                           [&](const Restic& restic, Progress& /*progress*/) { return prune(restic, options, rules); });
}

}  // namespace

void add_prune_command(CLI::App& program, Action& action) {
  auto* command = program.add_subcommand("prune", "Remove old backups and what failed ones left in the repository");
  const auto options = std::make_shared<PruneOptions>();
  add_repository_options(*command, options->repository);
  add_output_options(*command, options->output);
  for (std::size_t at = 0; at < count_rules.size(); ++at) {
    command->add_option(count_rules[at].option, options->counts[at], count_rules[at].purpose)
        ->type_name("N")
        ->check(CLI::Range(1, 100'000));
  }
  command->add_option("--keep-within", options->within, "Keep what is at most so much older than the last, such as 14d")
      ->type_name("DURATION")
      ->check(refuse_duration);
  command
      ->add_option("--retired", options->retired,
                   "Keep nothing of this machine, /SUBSCRIPTION/GROUP/NAME; more than one may be given")
      ->type_name("MACHINE")
      ->allow_extra_args(false);
  command
      ->add_option("--leftover-age", options->leftover_hours,
                   "Remove streams of failed backups after so many hours; more than any backup takes [24]")
      ->type_name("HOURS")
      ->check(CLI::Range(0, 1'000'000));
  command->add_flag("--dry-run", options->dry_run, "Only tell what would be removed");
  command->footer(exit_code_help());
  command->callback([options, &action] { action = [options] { return run(*options); }; });
}

}  // namespace host
