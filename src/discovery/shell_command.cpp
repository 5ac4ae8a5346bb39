// Shell commands for hosts and for the directory of the workload files.
#include <cerrno>
#include <cstdlib>
#include <string>
#include <string_view>

#include "aapi/wkldfile.h"
#include "src/base/logging.h"

namespace {

constexpr std::size_t kLongestCommand = 65535;
constexpr std::size_t kLongestDirectoryCommand = 1023;

struct Redirections {
  bool output = false;
  bool errors = false;
};

Redirections FindRedirections(std::string_view command) {
  Redirections found;
  for (std::size_t i = command.find('>'); i != std::string_view::npos; i = command.find('>', i + 1)) {
    const bool of_errors = i != 0 && command[i - 1] == '2';
    (of_errors ? found.errors : found.output) = true;
  }
  return found;
}

// No character that means something to a shell, in any position.
bool IsPlainWord(std::string_view word) {
  constexpr std::string_view kPlain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789/._-+@:,=";
  return word.find_first_not_of(kPlain) == std::string_view::npos;
}

std::string SingleQuoted(std::string_view word) {
  std::string quoted = "'";
  for (const char c : word) {
    quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  }
  return quoted + "'";
}

// The directory as one word that no command takes for an option.
std::string DirectoryWord(std::string_view directory) {
  const std::string word = (directory.substr(0, 1) == "-" ? "./" : "") + std::string(directory);
  return IsPlainWord(word) ? word : SingleQuoted(word);
}

// Drops the output and the errors that the command does not redirect itself.
int RunInShell(std::string command, const Redirections& redirections) {
  command += redirections.output ? "" : " >/dev/null";
  command += redirections.errors ? "" : " 2>/dev/null";
  // A shell is what the host asks for here; who builds a command quotes what comes from outside.
  return std::system(command.c_str());  // NOLINT(cert-env33-c)
}

}  // namespace

extern "C" {

int execute_immediate_cmd(const char* command) {
  if (command == nullptr) {
    return EINVAL;
  }
  const std::string_view line = command;
  return line.size() > kLongestCommand ? ENAMETOOLONG : RunInShell(command, FindRedirections(line));
}

int create_out_dir(const char* directory) {
  if (directory == nullptr) {
    return EINVAL;
  }
  const std::string command = "mkdir -p " + DirectoryWord(directory);
  // A cut command would make another directory. A '>' in it is part of the name.
  const int status = command.size() > kLongestDirectoryCommand ? ENAMETOOLONG : RunInShell(command, {});
  if (status != 0) {
    azurestackpi::FunctionLog(__func__).detail("Error while executing command: %s, error: %d", command.c_str(), status);
  }
  return status;
}

}  // extern "C"
