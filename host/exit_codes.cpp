#include "host/exit_codes.h"

#include <array>
#include <utility>

namespace host {

namespace {

constexpr std::array<std::pair<ExitCode, const char*>, 12> meanings{{
    {ExitCode::ok, "everything works, everything is done (there may be warnings)"},
    {ExitCode::failed, "failed; the output says why"},
    {ExitCode::usage, "an option, a file given with one, or the password source cannot be used"},
    {ExitCode::partial, "done in part: some machines succeeded and some did not"},
    {ExitCode::nothing_found, "what is selected holds no machine, or none that the configuration's filter keeps"},
    {ExitCode::plugin, "the plug-in cannot be loaded"},
    {ExitCode::server_name, "the server name is refused"},
    {ExitCode::unreachable, "Azure Stack or its login host cannot be reached, or is overloaded"},
    {ExitCode::certificate, "a server's certificate is refused, or the CA file cannot be used"},
    {ExitCode::login, "the login is refused, or Azure Stack does not accept it"},
    {ExitCode::no_subscription, "the login works but sees no subscription"},
    {ExitCode::repository, "the repository cannot be opened or made"},
}};

}  // namespace

std::string exit_code_help() {
  std::string text = "Exit codes:\n";
  for (const auto& [code, meaning] : meanings) {
    const std::string number = std::to_string(static_cast<int>(code));
    text += "  " + number + std::string(4 - number.size(), ' ') + meaning + "\n";
  }
  return text;
}

}  // namespace host
