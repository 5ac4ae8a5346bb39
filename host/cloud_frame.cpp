#include "host/cloud_frame.h"

#include "host/console.h"
#include "host/discovery_run.h"
#include "host/interrupt.h"
#include "host/selection.h"

namespace host {

namespace {

using Json = nlohmann::ordered_json;

ExitCode code_of(const CloudAnswer& answer) { return answer.error ? answer.error->code : answer.code; }

Json as_json(const char* command, const CloudWork& options, const CloudAnswer& answer, const LogFile& log) {
  const ExitCode code = code_of(answer);
  Json object{{"command", command},
              {"server", options.common.server_name()},
              {"selections", options.selections},
              {"result", result_word(code)},
              {"exit_code", static_cast<int>(code)},
              {"error", error_json(answer.error)},
              {"warnings", warnings_json(answer.warnings)}};
  object.update(answer.members);
  object["log_file"] = log.path();
  return object;
}

void print(const Console& console, const char* command, const CloudAnswer& answer, const LogFile& log) {
  for (const Warning& warning : answer.warnings) console.print_error(warning_lines(warning));
  if (answer.error) {
    console.print_error(error_lines(command, *answer.error, log.path()));
  } else {
    console.print(answer.lines);
  }
}

}  // namespace

ExitCode run_on_cloud(const char* command, CloudWork& options,
                      const std::function<void(const CloudTools&, CloudAnswer&)>& work) {
  options.selections = read_selections(options.selections);
  const Secret login = read_login(options.common.login);
  LogFile log(options.common.log_path(), options.common.verbosity);
  const InterruptGuard guard;
  const Console console(log.descriptor());
  CloudAnswer answer;
  warn_of_store(answer.warnings, options.common.credentials);
  const auto failure = finding_of([&] {
    work({login, log}, answer);
    check_interrupt();  // the plug-in tells of a request that was stopped as of one that failed
  });
  if (failure) answer.error = failure;
  if (options.common.json) {
    console.print(report_text(as_json(command, options, answer, log)));
  } else {
    print(console, command, answer, log);
  }
  return code_of(answer);
}

}  // namespace host
