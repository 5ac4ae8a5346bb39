#include "host/repository_frame.h"

#include <optional>

#include "host/backup_events.h"
#include "host/console.h"
#include "host/discovery_run.h"
#include "host/interrupt.h"
#include "host/log_file.h"
#include "host/manifest.h"

namespace host {

namespace {

using Json = nlohmann::ordered_json;

Answer work_or_fail(const std::function<Answer(const Restic&, Progress&)>& work, const Restic& restic,
                    Progress& progress, std::optional<Finding>& error) {
  try {
    return work(restic, progress);
  } catch (const ResticError& failure) {
    error = {Stage::azure_stack, ExitCode::repository, failure.what(), "Check --repo and its password."};
  } catch (const ManifestError& failure) {
    error = {Stage::azure_stack, ExitCode::failed, failure.what(), "Run azsbackup verify."};
  } catch (const Interrupted&) {
    error = {Stage::azure_stack, ExitCode::failed, "stopped by a signal", "Run the command again."};
  }
  return {error->code, "", Json::object()};
}

}  // namespace

ExitCode run_on_repository(const char* command, const RepositoryWork& options,
                           const std::function<Answer(const Restic&, Progress&)>& work) {
  const Restic restic = options.repository.open();
  const LogFile log(options.output.log_file.empty() ? default_log_path() : options.output.log_file,
                    options.output.verbosity);
  const InterruptGuard guard;
  const Console console(log.descriptor());
  Progress progress(console, options.output.json);
  std::optional<Finding> error;
  const Answer answer = work_or_fail(work, restic, progress, error);
  if (options.output.json) {
    Json object{{"command", command},
                {"repository", restic.name()},
                {"result", result_word(answer.code)},
                {"exit_code", static_cast<int>(answer.code)},
                {"error", error_json(error)}};
    object.update(answer.members);
    console.print(object.dump(2, ' ', false, Json::error_handler_t::replace) + "\n");
  } else if (error) {
    console.print_error(lines_of({error->what, error->next}, (std::string(command) + " failed: ").c_str()));
  } else {
    console.print(answer.lines);
  }
  return answer.code;
}

}  // namespace host
