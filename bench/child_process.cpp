#include "bench/child_process.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <system_error>

#include "bench/descriptor.h"

namespace bench {
namespace {

int LastProcessor() { return std::min(static_cast<int>(sysconf(_SC_NPROCESSORS_ONLN)), CPU_SETSIZE) - 1; }

void RunOnLastProcessor() {
  cpu_set_t set{};
  CPU_SET(static_cast<unsigned>(LastProcessor()), &set);
  sched_setaffinity(0, sizeof set, &set);
}

[[noreturn]] void RunChild(const std::function<void()>& body, pid_t parent) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent) _exit(1);  // the parent was gone before it could be watched
  RunOnLastProcessor();
  try {
    body();
  } catch (const std::exception& failure) {
    static_cast<void>(std::fprintf(stderr, "a benchmark's server failed: %s\n", failure.what()));
    _exit(1);
  }
  _exit(0);
}

void Execute(std::vector<std::string> arguments) {
  std::vector<char*> pointers;
  pointers.reserve(arguments.size() + 1);
  for (std::string& argument : arguments) pointers.push_back(argument.data());
  pointers.push_back(nullptr);
  const Descriptor nowhere = Checked(open("/dev/null", O_WRONLY | O_CLOEXEC), "/dev/null");
  dup2(nowhere.get(), STDOUT_FILENO);
  execvp(pointers[0], pointers.data());
  throw std::system_error(errno, std::generic_category(), arguments[0]);
}

}  // namespace

ChildProcess::ChildProcess(const std::function<void()>& body) : id_(0) {
  static_cast<void>(std::fflush(nullptr));  // or the child would print it too
  const pid_t parent = getpid();
  id_ = fork();
  if (id_ < 0) throw std::system_error(errno, std::generic_category(), "fork");
  if (id_ == 0) RunChild(body, parent);
}

ChildProcess::ChildProcess(const std::vector<std::string>& arguments)
    : ChildProcess([&arguments] { Execute(arguments); }) {}

ChildProcess::~ChildProcess() {
  kill(id_, SIGTERM);
  waitpid(id_, nullptr, 0);
}

void LeaveProcessorToServers() {
  cpu_set_t set{};
  if (sched_getaffinity(0, sizeof set, &set) != 0 || CPU_COUNT(&set) < 2) return;
  CPU_CLR(static_cast<unsigned>(LastProcessor()), &set);
  sched_setaffinity(0, sizeof set, &set);
}

TemporaryFolder::TemporaryFolder() : path_((std::filesystem::temp_directory_path() / "blob-bench-XXXXXX").string()) {
  if (mkdtemp(path_.data()) == nullptr) throw std::system_error(errno, std::generic_category(), "mkdtemp");
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

}  // namespace bench
