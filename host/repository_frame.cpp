#include "host/repository_frame.h"

#include "host/console.h"
#include "host/interrupt.h"
#include "host/log_file.h"
#include "host/outcome.h"

namespace host {

namespace {

using Json = nlohmann::ordered_json;

}  // namespace

ExitCode run_on_repository(const char* command, const RepositoryWork& options,
                           const std::function<Answer(const Restic&, Progress&)>& work) {
  const Restic restic = options.repository.open();
  const LogFile log(options.output.log_path(), options.output.verbosity);
  const InterruptGuard guard;
  const Console console(log.descriptor());
  Progress progress(console, options.output.json);
  Answer answer;
  const auto error = finding_of([&] { answer = work(restic, progress); });
  if (error) answer.code = error->code;
  if (options.output.json) {
    Json object{{"command", command},
                {"repository", restic.name()},
                {"result", result_word(answer.code)},
                {"exit_code", static_cast<int>(answer.code)},
                {"error", error_json(error)}};
    object.update(answer.members);
    console.print(report_text(object));
  } else if (error) {
    console.print_error(error_lines(command, *error, ""));
  } else {
    console.print(answer.lines);
  }
  return answer.code;
}

}  // namespace host
