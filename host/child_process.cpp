#include "host/child_process.h"

#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "host/interrupt.h"

namespace host {

namespace {

constexpr int look_ms = 500;  // how long a signal that came just before a wait can go unnoticed

void require(int result, const char* what) {
  if (result != 0) throw std::system_error(result, std::generic_category(), what);
}

class FileActions {
 public:
  FileActions() { require(::posix_spawn_file_actions_init(&actions_), "cannot prepare a program's start"); }
  ~FileActions() { ::posix_spawn_file_actions_destroy(&actions_); }
  FileActions(const FileActions&) = delete;
  FileActions& operator=(const FileActions&) = delete;

  void lead(int descriptor, int target) {
    require(::posix_spawn_file_actions_adddup2(&actions_, descriptor, target), "cannot prepare a program's start");
  }
  const posix_spawn_file_actions_t* get() const { return &actions_; }

 private:
  posix_spawn_file_actions_t actions_{};
};

// Its own process group, and the signals as a fresh program expects them.
class Attributes {
 public:
  Attributes() {
    require(::posix_spawnattr_init(&attributes_), "cannot prepare a program's start");
    sigset_t signals;
    ::sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE, SIGXFSZ}) ::sigaddset(&signals, signal);
    ::posix_spawnattr_setsigdefault(&attributes_, &signals);
    ::posix_spawnattr_setpgroup(&attributes_, 0);
    ::posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);
  }
  ~Attributes() { ::posix_spawnattr_destroy(&attributes_); }
  Attributes(const Attributes&) = delete;
  Attributes& operator=(const Attributes&) = delete;

  const posix_spawnattr_t* get() const { return &attributes_; }

 private:
  posix_spawnattr_t attributes_{};
};

std::vector<char*> pointers(std::vector<std::string>& texts) {
  std::vector<char*> result;
  result.reserve(texts.size() + 1);
  for (std::string& text : texts) result.push_back(text.data());
  result.push_back(nullptr);
  return result;
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& command, const std::vector<std::string>& environment,
                           ChildStreams streams) {
  // setpriv asks the system to kill the program when this process dies, and then becomes it.
  std::vector<std::string> words{"setpriv", "--pdeathsig", "KILL", "--"};
  words.insert(words.end(), command.begin(), command.end());
  std::vector<std::string> variables = environment;
  FileActions actions;
  actions.lead(streams.input, STDIN_FILENO);
  actions.lead(streams.output, STDOUT_FILENO);
  actions.lead(streams.error, STDERR_FILENO);
  const Attributes attributes;
  const int failure = ::posix_spawnp(&pid_, words.front().c_str(), actions.get(), attributes.get(),
                                     pointers(words).data(), pointers(variables).data());
  if (failure != 0) {
    pid_ = -1;
    throw std::system_error(failure, std::generic_category(), "cannot start " + command.front());
  }
  // By its number: the C library of Debian 12 declares the call in a way that only C can link.
  handle_ = FileDescriptor(static_cast<int>(::syscall(SYS_pidfd_open, pid_, 0)));
  if (handle_.valid()) return;
  const int error = errno;
  ::kill(pid_, SIGKILL);  // nobody could tell when it ends
  join();
  throw std::system_error(error, std::generic_category(), "cannot watch " + command.front());
}

ChildProcess::~ChildProcess() { end(); }

int ChildProcess::wait() {
  pollfd ended{handle_.get(), POLLIN, 0};
  do {
    check_interrupt();
  } while (::poll(&ended, 1, look_ms) <= 0);
  return join();
}

void ChildProcess::end(int grace_ms) noexcept {
  if (pid_ < 0) return;
  interrupt();
  pollfd ended{handle_.get(), POLLIN, 0};
  if (::poll(&ended, 1, grace_ms) <= 0) ::kill(pid_, SIGKILL);
  join();
}

void ChildProcess::interrupt() const noexcept {
  if (pid_ > 0) ::kill(pid_, SIGINT);
}

int ChildProcess::join() noexcept {
  int status = 0;
  while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
  }
  pid_ = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace host
