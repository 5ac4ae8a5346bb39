#include "host/snapshot_sweep.h"

#include <nlohmann/json.hpp>
#include <utility>

#include "host/discovery_run.h"
#include "host/printable.h"
#include "host/selection.h"

namespace host {

namespace {

// Where nothing could be looked at, that is the result, with its cause.
std::optional<Finding> judge(std::uint32_t status, const SnapshotFindings& found, const std::string& server_name) {
  constexpr std::size_t kinds_of_disks = 2;
  const bool in_vain = found.snapshots.empty() && found.failed_lists >= kinds_of_disks * found.subscriptions;
  if (status == AAPI_OK && !in_vain) return std::nullopt;
  return judge_discovery(status == AAPI_OK ? AAPI_E_OPERATION_FAILED : status, found.errors,
                         server_name.substr(server_name.find(':') + 1));
}

}  // namespace

SweepOutcome sweep_snapshots(const Plugin& plugin, SweepRequest request, const Secret& login, LogFile& log) {
  SweepOutcome outcome;
  Session session(plugin, std::move(request.settings), log, is_snapshot_evidence);
  std::optional<Server> server;
  outcome.error = open_server(server, session, request.server_name, login);
  if (outcome.error) return outcome;
  session.take_lines();
  const std::uint32_t status =
      session.entry().postprocess(server->handle(), joined(request.selections).c_str(), request.backup_id.c_str());
  outcome.found = read_snapshot_findings(session.take_lines());
  outcome.error = judge(status, outcome.found, request.server_name);
  return outcome;
}

std::string failure_lines(const SnapshotFindings& found) {
  std::string text;
  for (const LeftOut& failure : found.failures) {
    text += "Not done: " + printable(failure.what) + "\n  " + printable(failure.why) + "\n";
  }
  return text;
}

nlohmann::ordered_json failures_json(const SnapshotFindings& found) {
  auto array = nlohmann::ordered_json::array();
  for (const LeftOut& failure : found.failures) array.push_back({{"what", failure.what}, {"why", failure.why}});
  return array;
}

}  // namespace host
