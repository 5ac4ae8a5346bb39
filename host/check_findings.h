// Reads the outcome of the way to Azure Stack out of a status and the plug-in's log lines. The status alone tells too
// little: a login host that cannot be reached and a login that is refused both end in 6011.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/exit_codes.h"

namespace host {

/// The part of the way that failed. Everything before it worked.
enum class Stage { login, azure_stack, subscriptions };

/// Why a query failed and what to do about it.
struct Finding {
  Stage stage = Stage::azure_stack;
  ExitCode code = ExitCode::failed;
  std::string what;
  std::string next;
};

/// Judges a failed property query (status is not 0). lines are those of the call, in order; server is the Resource
/// Manager's host, with its port if it has one, without the prefix.
Finding judge_query(std::uint32_t status, const std::vector<std::string>& lines, std::string_view server);

/// What the server said to the last request that it forbade (403), else to the last that failed, as " (CODE: TEXT)";
/// empty when it said nothing of this form.
std::string quoted_answer(const std::vector<std::string>& lines);

/// Whether that was forbidden.
bool is_forbidden(const std::vector<std::string>& lines);

/// What to do about something forbidden.
constexpr const char* role_advice = "Give the login a role that may do this; docs/operations.md tells which actions.";

/// The values that the plug-in missed in the credentials store, as "A, B"; empty: none.
std::string missing_values(const std::vector<std::string>& lines);

/// True for the lines that judge_query and the two below need although they are no errors.
bool is_evidence(std::string_view line);

enum class TlsPeers { unknown, verified, unchecked };

/// Whether the requests of these lines verified their TLS peers; one that did not decides. Unknown when no request
/// says.
TlsPeers tls_peers(const std::vector<std::string>& lines);

/// How many subscriptions the login sees, when a line says so.
std::optional<std::string> subscription_count(const std::vector<std::string>& lines);

}  // namespace host
