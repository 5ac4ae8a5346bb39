#include "host/finish_command.h"

#include <memory>
#include <nlohmann/json.hpp>

#include "host/backup_events.h"
#include "host/backup_run.h"
#include "host/console.h"
#include "host/discovery_run.h"
#include "host/interrupt.h"
#include "host/options.h"
#include "host/plugin.h"
#include "host/printable.h"
#include "host/private_config.h"
#include "host/selection.h"
#include "host/status_text.h"

namespace host {

namespace {

using Json = nlohmann::ordered_json;

struct FinishOptions {
  CommonOptions common;
  std::vector<std::string> selections;
  std::string snapshot;
};

std::optional<Finding> finish(const FinishOptions& options, const Secret& login, LogFile& log) {
  const std::string name = options.common.server_name();
  const PrivateConfig config("", options.common.config);
  const Plugin plugin(options.common.plugin.empty() ? default_plugin_path() : options.common.plugin);
  Session session(plugin, {AAPI_SESSION_BACKUP, config.path(), options.common.credentials, &stop_when_interrupted},
                  log);
  std::optional<Server> server;
  if (auto refused = open_server(server, session, name, login)) return refused;
  const std::uint32_t status =
      session.entry().postprocess(server->handle(), joined(options.selections).c_str(), options.snapshot.c_str());
  if (status == AAPI_OK) return std::nullopt;
  return Finding{Stage::azure_stack, ExitCode::failed, "snapshots may be left: " + status_text(status),
                 status_advice(status)};
}

ExitCode run_finish(FinishOptions options) {
  options.selections = read_selections(options.selections);
  const Secret login = read_login(options.common.login);
  LogFile log(options.common.log_file.empty() ? default_log_path() : options.common.log_file, options.common.verbosity);
  const InterruptGuard guard;
  const Console console(log.descriptor());
  std::optional<Finding> error;
  try {
    error = finish(options, login, log);
  } catch (const PluginError& failure) {
    error = judge_plugin(failure);
  }
  const ExitCode code = error ? error->code : ExitCode::ok;
  if (options.common.json) {
    const Json object{
        {"command", "finish"},         {"server", options.common.server_name()}, {"backup_id", options.snapshot},
        {"result", result_word(code)}, {"exit_code", static_cast<int>(code)},    {"error", error_json(error)},
        {"log_file", log.path()}};
    console.print(object.dump(2, ' ', false, Json::error_handler_t::replace) + "\n");
  } else if (error) {
    console.print_error(lines_of({error->what, error->next}, "finish failed: ") + "  Log: " + printable(log.path()) +
                        "\n");
  } else {
    console.print("Backup " + printable(options.snapshot) + " is finished: its snapshots are gone.\n");
  }
  return code;
}

}  // namespace

void add_finish_command(CLI::App& program, Action& action) {
  auto* command = program.add_subcommand("finish", "Delete the snapshots of a backup whose workload files are done");
  const auto options = std::make_shared<FinishOptions>();
  add_common_options(*command, options->common);
  command->add_option("SELECTION", options->selections, "What the discovery was given");
  command->add_option("--snapshot", options->snapshot, "The backup's id: the snapshot name of its workload files")
      ->type_name("ID")
      ->required()
      ->check([](const std::string& id) {
        return id.find_first_not_of("0123456789") == std::string::npos ? "" : "the backup's id is a number";
      });
  command->footer(exit_code_help());
  command->callback([options, &action] { action = [options] { return run_finish(*options); }; });
}

}  // namespace host
