#include "host/discovery_run.h"

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <utility>

#include "host/given_file.h"
#include "host/selection.h"
#include "host/status_text.h"
#include "host/workload_file.h"

namespace host {

namespace {

constexpr const char* worker = "azsbackup";
constexpr const char* file_suffix = "discover";

std::vector<std::string> error_texts(const std::vector<LogLine>& lines) {
  std::vector<std::string> texts;
  texts.reserve(lines.size());
  for (const LogLine& line : lines) texts.push_back(line.text);
  return texts;
}

std::vector<Machine> read_machines(const std::string& folder) {
  MachineList list;
  for (const std::string& file : workload_files(folder)) {
    read_workload_file(file, [&](std::string_view record) { list.add(record); });
  }
  return list.take();
}

Finding broken_off(const std::string& why, const DiscoveryFindings& findings) {
  const std::string error = findings.last_scan_error.empty() ? "" : " (" + findings.last_scan_error + ")";
  return {Stage::azure_stack, ExitCode::failed, "the discovery did not get to its end: " + why + error,
          "Check that the disk under the folder of the workload files (--keep or TMPDIR, else /tmp) is not full."};
}

// The plug-in ends with status 0 even when it could not write the files whole; its own count of the machines that it
// wrote, or the lack of it, tells. A machine that is found but could not be backed up joins the refused ones.
std::variant<Discovery, Finding> collect(const std::string& folder, DiscoveryFindings findings) {
  Discovery discovery;
  std::vector<Machine> machines;
  try {
    machines = read_machines(folder);
  } catch (const WorkloadError& error) {
    return broken_off(error.what(), findings);
  } catch (const std::filesystem::filesystem_error& error) {
    return broken_off(error.what(), findings);
  }
  if (!findings.written) return broken_off("it gives no count of its machines", findings);
  if (*findings.written != machines.size()) {
    return broken_off("the workload files hold " + std::to_string(machines.size()) + " machines of " +
                          std::to_string(*findings.written),
                      findings);
  }
  discovery.refused = std::move(findings.refused);
  discovery.filtered = std::move(findings.filtered);
  discovery.unlisted = std::move(findings.unlisted);
  discovery.unsnapshotted = std::move(findings.unsnapshotted);
  discovery.snapshots_forbidden = findings.snapshots_forbidden;
  for (Machine& machine : machines) {
    for (Disk& disk : machine.disks) {
      const auto size = findings.disk_sizes.find(disk.path);
      if (size != findings.disk_sizes.end()) disk.gigabytes = size->second;
    }
    if (machine.problem.empty()) {
      discovery.machines.push_back(std::move(machine));
    } else {
      discovery.refused.push_back({machine.path, machine.problem});
    }
  }
  return discovery;
}

void warn_of_tls(DiscoveryOutcome& outcome, const std::vector<std::string>& lines) {
  if (tls_peers(lines) != TlsPeers::unchecked) return;
  outcome.warnings.push_back(
      {"servers are not verified: anyone on the way can read the login",
       "Set CA_FILE_PATH in the configuration to the CA certificates (PEM) of this Azure Stack."});
}

void discover(DiscoveryOutcome& outcome, Session& session, const Server& server, const DiscoveryRequest& request) {
  session.take_lines();
  const std::uint32_t status =
      session.entry().discovery(server.handle(), joined(request.selections).c_str(), worker, request.folder.c_str(),
                                file_suffix, "", request.snapshot_name.c_str());
  const std::vector<LogLine> lines = session.take_lines();
  const std::vector<std::string> texts = error_texts(lines);
  warn_of_tls(outcome, texts);
  if (status != AAPI_OK) {
    outcome.result = judge_discovery(status, texts, request.server_name.substr(request.server_name.find(':') + 1));
  } else {
    outcome.result = collect(request.folder, read_discovery_findings(lines));
  }
}

}  // namespace

ExitCode DiscoveryOutcome::code() const {
  const auto* discovery = std::get_if<Discovery>(&result);
  return discovery != nullptr ? discovery_code(*discovery) : std::get<Finding>(result).code;
}

DiscoveryOutcome run_discovery(Session& session, const DiscoveryRequest& request, const Secret& login) {
  DiscoveryOutcome outcome;
  std::optional<Server> server;
  if (const auto refused = open_server(server, session, request.server_name, login)) {
    outcome.result = *refused;
  } else {
    discover(outcome, session, *server, request);
  }
  return outcome;
}

std::optional<Finding> open_server(std::optional<Server>& server, Session& session, const std::string& name,
                                   const Secret& login) {
  std::uint32_t status = session.entry().claim(name.c_str());
  if (status == AAPI_OK) status = server.emplace(session, name, login).open_status();
  if (status == AAPI_OK) return std::nullopt;
  return Finding{Stage::azure_stack, ExitCode::server_name, name + ": refused, " + status_text(status),
                 status_advice(AAPI_E_SERVER_NAME)};
}

std::vector<std::string> workload_files(const std::string& folder) {
  std::vector<std::string> files;
  for (const auto& file : std::filesystem::directory_iterator(folder)) files.push_back(file.path());
  std::sort(files.begin(), files.end());
  return files;
}

void warn_of_store(std::vector<Warning>& warnings, const std::string& path) {
  if (path.empty() || !others_can_read(open_given_file(path))) return;
  warnings.push_back({path + " can be read by group or others", "Run: chmod 600 " + path});
}

}  // namespace host
