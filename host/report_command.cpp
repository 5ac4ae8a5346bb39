#include "host/report_command.h"

#include <ctime>
#include <memory>
#include <nlohmann/json.hpp>

#include "host/byte_text.h"
#include "host/outcome.h"
#include "host/printable.h"
#include "host/protection.h"
#include "host/protection_page.h"
#include "host/repository_frame.h"
#include "host/text_file.h"

namespace host {

namespace {

constexpr std::uint64_t seconds_per_hour = 3600;

struct ReportOptions : RepositoryWork {
  std::string page;
  std::uint64_t stale_hours = 26;
  std::size_t runs = 10;
};

std::string machine_lines_of(const MachineState& machine) {
  std::string lines = word(machine.protection);
  lines.resize(sizeof "current  " - 1, ' ');
  lines += printable(machine.path) + "  " + (machine.time == 0 ? "no backup" : time_text(machine.time)) + "\n";
  if (!machine.problem.empty()) lines += "         " + printable(machine.problem) + "\n";
  if (!machine.next.empty()) lines += "         -> " + printable(machine.next) + "\n";
  return lines;
}

std::string lines_of(const ProtectionState& state, const std::string& page) {
  std::string lines;
  for (const MachineState& machine : state.machines) lines += machine_lines_of(machine);
  lines += "\n" + std::to_string(state.count(Protection::current)) + " of " + std::to_string(state.machines.size()) +
           " machines are protected.\n";
  return page.empty() ? lines : lines + "Page: " + printable(page) + "\n";
}

ExitCode code_of(const ProtectionState& state) {
  if (state.machines.empty()) return ExitCode::nothing_found;
  const std::size_t good = state.count(Protection::current);
  if (good == state.machines.size()) return ExitCode::ok;
  return good == 0 ? ExitCode::failed : ExitCode::partial;
}

Answer report(const Restic& restic, const ReportOptions& options, Progress& progress) {
  const ProtectionQuery query{std::time(nullptr), options.stale_hours * seconds_per_hour, options.runs};
  const ProtectionState state = read_protection(restic, query, progress);
  if (!options.page.empty()) replace_file(options.page, protection_page(state, restic.name()));
  Answer answer{code_of(state), lines_of(state, options.page), protection_json(state)};
  answer.members["page"] = text_or_null(options.page);
  return answer;
}

}  // namespace

void add_report_command(CLI::App& program, Action& action) {
  auto* command = program.add_subcommand("report", "Tell which machines are protected, and what the last backups did");
  const auto options = std::make_shared<ReportOptions>();
  add_repository_options(*command, options->repository);
  add_output_options(*command, options->output);
  command->add_option("--html", options->page, "Write a page for a browser, in place of the one that is there")
      ->type_name("FILE");
  command
      ->add_option("--stale-after", options->stale_hours,
                   "A machine without a backup of so many hours is not protected [26]")
      ->type_name("HOURS")
      ->check(CLI::Range(1, 1'000'000));
  command->add_option("--runs", options->runs, "Tell of so many backups [10]")
      ->type_name("N")
      ->check(CLI::Range(1, 1000));
  command->footer(exit_code_help());
  command->callback([options, &action] {
    action = [options] {
      return run_on_repository("report", *options, [&](const Restic& restic, Progress& progress) {
        return report(restic, *options, progress);
      });
    };
  });
}

}  // namespace host
