#include "host/backup_jobs.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <memory>
#include <system_error>
#include <utility>

#include "host/child_process.h"
#include "host/child_streams.h"
#include "host/interrupt.h"
#include "host/printable.h"

namespace host {

namespace {

constexpr int grace_ms = 120'000;  // a job that stops gives its exports and snapshots back first
constexpr int look_ms = 500;       // how long a signal that came just before a wait can go unnoticed
constexpr int by_signal = 128;     // exit codes from here on stand for signals
constexpr std::size_t longest_quote = 300;
constexpr std::string_view our_variables = "AZSBACKUP_";

std::string own_path() { return std::filesystem::read_symlink("/proc/self/exe"); }

// Options can come from variables, which every program inherits: the jobs get those that hold, and no others.
std::vector<std::string> job_environment(const CommonOptions& common, const RepositoryAccess& repository) {
  std::vector<std::string> variables;
  for (char** variable = environ; *variable != nullptr; ++variable) {
    const std::string_view text = *variable;
    if (text.substr(0, our_variables.size()) != our_variables) variables.emplace_back(text);
  }
  const std::array<std::pair<const char*, const std::string*>, 11> options{
      {{"SERVER", &common.server},
       {"CONFIG", &common.config},
       {"CREDENTIALS", &common.credentials},
       {"USER", &common.login.user},
       {"PASSWORD_FILE", &common.login.password_file},
       {"PASSWORD_COMMAND", &common.login.password_command},
       {"PLUGIN", &common.plugin},
       {"LOG_FILE", &common.log_file},
       {"REPO", &repository.address},
       {"REPO_PASSWORD_FILE", &repository.password_file},
       {"REPO_PASSWORD_COMMAND", &repository.password_command}}};
  for (const auto& [name, value] : options) {
    if (!value->empty()) variables.push_back(std::string(our_variables).append(name).append("=").append(*value));
  }
  return variables;
}

using Take = std::function<void(MachineResult)>;

class Job {
 public:
  Job(const JobCommand& command, const std::string& file)
      : file_(file), error_(memory_file("azsbackup-job")), input_(null_input()) {
    Pipe pipe = make_pipe();
    std::vector<std::string> words = command.words;
    words.insert(words.end(), {"--workload", file});
    child_.emplace(words, command.environment, ChildStreams{input_.get(), pipe.write.get(), error_.get()});
    events_ = std::move(pipe.read);
  }

  ~Job() { child_->end(grace_ms); }
  Job(const Job&) = delete;
  Job& operator=(const Job&) = delete;

  /// Becomes readable when the job has told something, or ended; -1 after that.
  int descriptor() const { return events_.get(); }
  void interrupt() const noexcept { child_->interrupt(); }

  /// Hands on what the job told, as far as it has come.
  void read(const std::function<void(BackupEvent)>& take) {
    std::array<char, 65536> piece;
    const ssize_t count = ::read(events_.get(), piece.data(), piece.size());
    if (count < 0 && errno == EINTR) return;
    if (count < 0) throw std::system_error(errno, std::generic_category(), "cannot read from a job");
    if (count == 0) events_.close();
    text_.append(piece.data(), static_cast<std::size_t>(count));
    std::size_t start = 0;
    for (std::size_t end = text_.find('\n'); end != std::string::npos; end = text_.find('\n', start)) {
      take_line(std::string_view(text_).substr(start, end - start), take);
      start = end + 1;
    }
    text_.erase(0, start);
  }

  /// Waits for its end.
  JobEnd finish() {
    const int code = child_->join();
    if (end_) return {end_->error, end_->warnings};
    JobEnd end{Finding{Stage::azure_stack, ExitCode::failed, why_no_end(code), "Run the backup again."}, {}};
    end.warnings.push_back(
        {end.error->what,
         "What it had not closed may stand in the cloud: see azsbackup snapshots; the clean-up by age "
         "(SNAPSHOT_CLEANUP_MIN) takes it away."});
    return end;
  }

 private:
  void take_line(std::string_view line, const std::function<void(BackupEvent)>& take) {
    try {
      BackupEvent event = read_event(line);
      if (auto* end = std::get_if<EndEvent>(&event)) {
        end_ = std::move(*end);
      } else {
        take(std::move(event));
      }
    } catch (const EventError& error) {
      problem_ = error.what();
    }
  }

  std::string why_no_end(int code) const {
    const std::string job = "the job of " + std::filesystem::path(file_).filename().string();
    if (code >= by_signal) return job + " was ended by signal " + std::to_string(code - by_signal);
    const std::string words = problem_.empty() ? content(error_) : problem_;
    return job + " ended with exit code " + std::to_string(code) + ": " + printable(words, longest_quote);
  }

  std::string file_;
  FileDescriptor error_;
  FileDescriptor input_;
  FileDescriptor events_;
  std::optional<ChildProcess> child_;
  std::string text_;  // the beginning of a line
  std::string problem_;
  std::optional<EndEvent> end_;
};

class Jobs {
 public:
  Jobs(JointProgress& progress, const Take& take) : progress_(progress), take_(take) {}
  // Jobs are left only when nobody reads this process's output any more: all are asked before one is waited for.
  ~Jobs() { interrupt(); }
  Jobs(const Jobs&) = delete;
  Jobs& operator=(const Jobs&) = delete;

  void start(const JobCommand& command, const std::string& file) {
    jobs_.push_back(std::make_unique<Job>(command, file));
  }

  void run() {
    while (std::any_of(jobs_.begin(), jobs_.end(), [](const auto& job) { return job->descriptor() >= 0; })) {
      if (stop_request()) interrupt();
      read_some();
    }
  }

  std::vector<JobEnd> finish() {
    std::vector<JobEnd> ends;
    for (const auto& job : jobs_) ends.push_back(job->finish());
    return ends;
  }

 private:
  void interrupt() const noexcept {
    for (const auto& job : jobs_) job->interrupt();
  }

  void read_some() {
    std::vector<pollfd> waits;
    waits.reserve(jobs_.size());
    for (const auto& job : jobs_) waits.push_back({job->descriptor(), POLLIN, 0});  // -1 is passed over
    if (::poll(waits.data(), waits.size(), look_ms) <= 0) return;
    for (std::size_t number = 0; number < jobs_.size(); ++number) {
      if (waits[number].revents == 0) continue;
      jobs_[number]->read([&](BackupEvent event) { hand_on(number, std::move(event)); });
      if (jobs_[number]->descriptor() < 0) progress_.end(number);
    }
  }

  void hand_on(std::size_t number, BackupEvent event) {
    if (auto* stream = std::get_if<ProgressEvent>(&event)) {
      progress_.advance(number, std::move(*stream));
    } else if (auto* machine = std::get_if<MachineResult>(&event)) {
      progress_.end(number);
      progress_.clear();
      take_(std::move(*machine));
    }
  }

  JointProgress& progress_;
  const Take& take_;
  std::vector<std::unique_ptr<Job>> jobs_;
};

}  // namespace

JobCommand job_command(const CommonOptions& common, const RepositoryAccess& repository) {
  JobCommand command{{own_path(), "backup", "--json-lines"}, job_environment(common, repository)};
  for (int level = 0; level < common.verbosity; ++level) command.words.emplace_back("-v");
  return command;
}

std::vector<JobEnd> run_jobs(const JobCommand& command, const std::vector<std::string>& files, JointProgress& progress,
                             const std::function<void(MachineResult)>& take) {
  Jobs jobs(progress, take);
  for (const std::string& file : files) jobs.start(command, file);
  jobs.run();
  progress.clear();
  return jobs.finish();
}

}  // namespace host
