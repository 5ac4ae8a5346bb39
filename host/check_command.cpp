#include "host/check_command.h"

#include <memory>
#include <optional>
#include <utility>

#include "host/check_findings.h"
#include "host/console.h"
#include "host/errors.h"
#include "host/given_file.h"
#include "host/log_file.h"
#include "host/options.h"
#include "host/plugin.h"
#include "host/report.h"
#include "host/session.h"
#include "host/status_text.h"

namespace host {

namespace {

constexpr const char* step_plugin = "plug-in";
constexpr const char* step_config = "configuration";
constexpr const char* step_credentials = "credentials";
constexpr const char* step_name = "server name";
constexpr const char* step_tls = "certificates";
constexpr const char* step_login = "login";
constexpr const char* step_azure_stack = "Azure Stack";
constexpr const char* step_subscriptions = "subscriptions";

enum class Privacy { any, owner_only };

// A file that the plug-in will read. Returns false when it was given and cannot be opened.
bool check_file(StepReport& report, const char* step, const std::string& path, Privacy privacy) {
  if (path.empty()) {
    report.add({step, StepState::warning, "no file given; the plug-in's defaults hold",
                "Give --" + std::string(privacy == Privacy::any ? "config" : "credentials") + " FILE."});
    return true;
  }
  try {
    const FileDescriptor file = open_given_file(path);
    if (privacy == Privacy::owner_only && others_can_read(file)) {
      report.add({step, StepState::warning, path + " can be read by group or others", "Run: chmod 600 " + path});
    } else {
      report.add({step, StepState::ok, path, ""});
    }
    return true;
  } catch (const UsageError& error) {
    report.add({step, StepState::failed, error.what(), "Check the path and its permissions."});
    return false;
  }
}

std::optional<Plugin> load_plugin(StepReport& report, const std::string& path) {
  try {
    std::optional<Plugin> plugin(std::in_place, path);
    report.add({step_plugin, StepState::ok, plugin->path() + " (" + plugin->version() + ")", ""});
    return plugin;
  } catch (const PluginError& error) {
    report.add({step_plugin, StepState::failed, error.what(),
                "Give the library's path with --plugin, and check that it and the libraries it needs are installed."});
    return std::nullopt;
  }
}

void add_not_tried(StepReport& report, std::initializer_list<const char*> steps) {
  for (const char* step : steps) report.add({step, StepState::not_tried, "not tried", ""});
}

std::vector<std::string> texts(std::vector<LogLine> lines) {
  std::vector<std::string> result;
  result.reserve(lines.size());
  for (LogLine& line : lines) result.push_back(std::move(line.text));
  return result;
}

void report_tls(StepReport& report, std::uint32_t status, const std::vector<std::string>& lines) {
  const TlsPeers peers = tls_peers(lines);
  if (peers == TlsPeers::unchecked) {
    report.add({step_tls, StepState::warning, "servers are not verified: anyone on the way can read the login",
                "Set CA_FILE_PATH in the configuration to the CA certificates (PEM) of this Azure Stack."});
  } else if (peers == TlsPeers::verified && status == AAPI_OK) {
    report.add({step_tls, StepState::ok, "verified", ""});
  }
}

ExitCode report_success(StepReport& report, const std::vector<std::string>& lines) {
  report.add({step_login, StepState::ok, "accepted", ""});
  report.add({step_azure_stack, StepState::ok, "answers", ""});
  const auto count = subscription_count(lines);
  report.add({step_subscriptions, StepState::ok, count ? *count + " visible" : "visible", ""});
  return ExitCode::ok;
}

ExitCode report_finding(StepReport& report, const Finding& finding) {
  if (finding.stage == Stage::login) {
    report.add({step_login, StepState::failed, finding.what, finding.next});
    add_not_tried(report, {step_azure_stack, step_subscriptions});
    return finding.code;
  }
  report.add({step_login, StepState::ok, "accepted", ""});
  if (finding.stage == Stage::azure_stack) {
    report.add({step_azure_stack, StepState::failed, finding.what, finding.next});
    add_not_tried(report, {step_subscriptions});
    return finding.code;
  }
  report.add({step_azure_stack, StepState::ok, "answers", ""});
  report.add({step_subscriptions, StepState::failed, finding.what, finding.next});
  return finding.code;
}

// One property query: it makes the plug-in log in and list the subscriptions.
ExitCode check_way(StepReport& report, Session& session, const Server& server, const std::string& name) {
  session.take_lines();
  auto properties = std::make_unique<aapi_object_info_v1_t>();
  const std::uint32_t status = session.entry().get_object_prop_byname(server.handle(), "/", properties.get());
  const std::vector<std::string> lines = texts(session.take_lines());
  report_tls(report, status, lines);
  if (status == AAPI_OK) return report_success(report, lines);
  return report_finding(report, judge_query(status, lines, name.substr(name.find(':') + 1)));
}

ExitCode check_server(StepReport& report, Session& session, const std::string& name, const Secret& login) {
  std::uint32_t status = session.entry().claim(name.c_str());
  std::optional<Server> server;
  if (status == AAPI_OK) status = server.emplace(session, name, login).open_status();
  if (status != AAPI_OK) {
    report.add(
        {step_name, StepState::failed, name + ": refused, " + status_text(status), status_advice(AAPI_E_SERVER_NAME)});
    add_not_tried(report, {step_login, step_azure_stack, step_subscriptions});
    return ExitCode::server_name;
  }
  report.add({step_name, StepState::ok, name, ""});
  return check_way(report, session, *server, name);
}

ExitCode check(const CommonOptions& options, const Secret& login, LogFile& log, StepReport& report) {
  const auto plugin = load_plugin(report, options.plugin_path());
  const bool config = check_file(report, step_config, options.config, Privacy::any);
  const bool credentials = check_file(report, step_credentials, options.credentials, Privacy::owner_only);
  if (!plugin || !config || !credentials) {
    add_not_tried(report, {step_name, step_login, step_azure_stack, step_subscriptions});
    return plugin ? ExitCode::usage : ExitCode::plugin;
  }
  Session session(*plugin, {AAPI_SESSION_BACKUP, options.config, options.credentials}, log, is_evidence);
  return check_server(report, session, options.server_name(), login);
}

ExitCode run(const CommonOptions& options) {
  const Secret login = read_login(options.login);
  LogFile log(options.log_path(), options.verbosity);
  const Console console(log.descriptor());
  StepReport report(console, options.json, {"check", options.server_name(), log.path()});
  return report.finish(check(options, login, log, report));
}

}  // namespace

void add_check_command(CLI::App& program, Action& action) {
  auto* command = program.add_subcommand(
      "check", "Log in to an Azure Stack, list its subscriptions and say in plain words what works and what does not");
  const auto options = std::make_shared<CommonOptions>();
  add_common_options(*command, *options);
  command->footer(exit_code_help());
  command->callback([options, &action] { action = [options] { return run(*options); }; });
}

}  // namespace host
