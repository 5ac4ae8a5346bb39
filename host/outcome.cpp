#include "host/outcome.h"

#include <nlohmann/json.hpp>

#include "host/backup_choice.h"
#include "host/errors.h"
#include "host/interrupt.h"
#include "host/manifest.h"
#include "host/printable.h"
#include "host/saved_stream.h"
#include "host/workload_file.h"

namespace host {

namespace {

using Json = nlohmann::ordered_json;

std::string message(const std::string& kind, const std::string& what, const std::string& next) {
  return "azsbackup: " + kind + printable(what) + "\n  -> " + printable(next) + "\n";
}

Finding failure(ExitCode code, const std::exception& error, const char* next) {
  return {Stage::azure_stack, code, error.what(), next};
}

}  // namespace

std::string warning_lines(const Warning& warning) { return message("warning: ", warning.what, warning.next); }

std::string error_lines(const char* command, const Finding& error, const std::string& log_path) {
  return message(std::string(command) + " failed: ", error.what, error.next) +
         (log_path.empty() ? "" : "  Log: " + printable(log_path) + "\n");
}

const char* result_word(ExitCode code) {
  switch (code) {
    case ExitCode::ok:
      return "ok";
    case ExitCode::partial:
      return "partial";
    case ExitCode::nothing_found:
      return "nothing found";
    default:
      return "failed";
  }
}

Json warnings_json(const std::vector<Warning>& warnings) {
  Json array = Json::array();
  for (const Warning& warning : warnings) array.push_back({{"what", warning.what}, {"next", warning.next}});
  return array;
}

Json error_json(const std::optional<Finding>& error) {
  if (!error) return {};
  return {{"what", error->what}, {"next", error->next}, {"exit_code", static_cast<int>(error->code)}};
}

Json text_or_null(const std::string& text) { return text.empty() ? Json() : Json(text); }

std::string report_text(const Json& report) {
  return report.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

Finding interruption(const char* next) {
  return {Stage::azure_stack, ExitCode::failed, "stopped by a signal; what was open is closed", next};
}

std::optional<Finding> finding_of(const std::function<void()>& work, const char* after_signal) {
  try {
    work();
    return std::nullopt;
  } catch (const RepositoryInUse& error) {
    return failure(ExitCode::repository, error,
                   "Another process works on the repository: run the command again when it is done.");
  } catch (const ResticMissing& error) {
    return failure(ExitCode::repository, error, "Install restic (Debian: apt install restic), or correct PATH.");
  } catch (const ResticError& error) {
    return failure(ExitCode::repository, error, "Check --repo and its password; backup --init makes a new repository.");
  } catch (const NotInRepository& error) {
    return failure(ExitCode::nothing_found, error, "See azsbackup list and azsbackup show.");
  } catch (const ManifestError& error) {
    return failure(ExitCode::failed, error, "Run azsbackup verify.");
  } catch (const DamagedStream& error) {
    return failure(ExitCode::failed, error, "Take an older backup; azsbackup verify tells which are whole.");
  } catch (const WorkloadError& error) {
    return failure(ExitCode::failed, error, "Discover again.");
  } catch (const PluginError& error) {
    return failure(
        ExitCode::plugin, error,
        "Give the library's path with --plugin, and check that it and the libraries it needs are installed.");
  } catch (const Interrupted&) {
    return interruption(after_signal);
  }
}

}  // namespace host
