#include "host/check_findings.h"

#include <strings.h>

#include <algorithm>
#include <charconv>
#include <nlohmann/json.hpp>
#include <sstream>

#include "host/printable.h"
#include "host/status_text.h"

namespace host {

namespace {

using Lines = std::vector<std::string>;

constexpr std::string_view transport_mark = "preform the URL ";
constexpr std::string_view tls_verified_mark = "Using SSL Peer and Host Validation";
constexpr std::string_view tls_skipped_mark = "SSL Peer and Host Validations would be skipped";
constexpr std::string_view no_subscription_mark = "Failed to fetch any subscription";
constexpr std::string_view count_mark = "Number of subscriptions : ";
constexpr std::string_view overload_mark = "retries exceeded";
// Every attempt was answered 401 although the token was new each time.
constexpr std::string_view renewed_in_vain_mark = "error code 401.";
constexpr std::string_view api_error_mark = "Error calling AzureStack API (";
constexpr std::string_view login_error_mark = "Error calling AzureStack API (Authorization)";
constexpr std::string_view no_json_mark = "error while parsing json";
constexpr std::string_view missing_value_mark = "Failed to read value of ";
constexpr std::string_view answer_mark = ", response: ";
constexpr std::string_view forbidden_mark = "HTTP/1.1 403";
constexpr std::uint32_t status_no_token = 6011;
constexpr std::uint32_t status_unauthorized = 6629;
constexpr std::uint32_t status_not_found = 6630;
constexpr std::size_t longest_quote = 300;

bool contains(std::string_view line, std::string_view mark) { return line.find(mark) != std::string_view::npos; }

const std::string* last_with(const Lines& lines, std::string_view mark) {
  const auto found = std::find_if(lines.rbegin(), lines.rend(), [&](const auto& line) { return contains(line, mark); });
  return found == lines.rend() ? nullptr : &*found;
}

// The text between two marks; empty when either is missing.
std::string_view between(std::string_view text, std::string_view from, std::string_view to) {
  const std::size_t mark = text.find(from);
  if (mark == std::string_view::npos) return {};
  text.remove_prefix(mark + from.size());
  const std::size_t end = text.find(to);
  return end == std::string_view::npos ? std::string_view{} : text.substr(0, end);
}

bool same_host(std::string_view left, std::string_view right) {
  return left.size() == right.size() && ::strncasecmp(left.data(), right.data(), left.size()) == 0;
}

// ---- A request that curl could not carry out
// -------------------------------------------------------------------------

struct TransportFailure {
  std::string host;
  int curl_result = 0;
  std::string text;
};

// "... preform the URL https://HOST/PATH failed, <NUMBER>: TEXT. AAPI_Errno = STATUS"
std::optional<TransportFailure> transport_failure(const Lines& lines) {
  const std::string* line = last_with(lines, transport_mark);
  if (line == nullptr) return std::nullopt;
  const std::string_view number = between(*line, " failed, <", ">: ");
  TransportFailure failure;
  const auto parsed = std::from_chars(number.data(), number.data() + number.size(), failure.curl_result);
  if (parsed.ec != std::errc{}) return std::nullopt;
  failure.host = printable(between(*line, "https://", "/"));
  failure.text = printable(between(*line, ">: ", ". AAPI_Errno"), longest_quote);
  return failure;
}

struct TransportCause {
  ExitCode code;
  const char* what;
  const char* next;
};

// curl's result codes.
TransportCause transport_cause(int curl_result) {
  switch (curl_result) {
    case 5:
      return {ExitCode::unreachable, "the proxy's host name is not known", "Check the proxy settings in the store."};
    case 6:
      return {ExitCode::unreachable, "no such host", "Check the name and this machine's name resolution (DNS)."};
    case 7:
      return {ExitCode::unreachable, "no connection",
              "Check that the host is up and that a firewall lets port 443 pass."};
    case 35:
      return {ExitCode::unreachable, "no TLS connection",
              "Check that the host speaks TLS at this port and that no proxy stands between."};
    case 60:
      return {ExitCode::certificate, "its certificate is refused",
              "Point CA_FILE_PATH in the configuration to the authority that signed it, and check that the "
              "certificate names this host and has not expired."};
    case 77:
      return {ExitCode::certificate, "the CA file cannot be used",
              "Check that CA_FILE_PATH in the configuration names a readable file of PEM certificates."};
    default:
      return {ExitCode::unreachable, "the connection failed", "Check the network, any proxy setting and the host."};
  }
}

Finding judge_transport(const TransportFailure& failure, std::string_view server) {
  const TransportCause cause = transport_cause(failure.curl_result);
  const Stage stage = same_host(failure.host, server) ? Stage::azure_stack : Stage::login;
  return {stage, cause.code, failure.host + ": " + cause.what + " (" + failure.text + ")", cause.next};
}

// ---- A request that was answered with an error
// -----------------------------------------------------------------------

std::string text_member(const nlohmann::json& object, const char* name) {
  if (!object.is_object()) return {};
  const auto member = object.find(name);
  return member != object.end() && member->is_string() ? member->get<std::string>() : std::string();
}

// The two forms of an error body: {"error": CODE, "error_description": TEXT} from a login authority and
// {"error": {"code": CODE, "message": TEXT}} from the Resource Manager.
std::string quote_error_body(const nlohmann::json& body) {
  const bool nested = body.is_object() && body.contains("error") && body["error"].is_object();
  const std::string code = nested ? text_member(body["error"], "code") : text_member(body, "error");
  std::string text = nested ? text_member(body["error"], "message") : text_member(body, "error_description");
  text.resize(std::min(text.size(), text.find_first_of("\r\n")));  // trace ids and times follow on further lines
  return printable(code + (code.empty() || text.empty() ? "" : ": ") + text, longest_quote);
}

// "... Returning rc: N, response: BODY, HEADERS". What was forbidden is behind the answers that follow from it, such as
// that nothing is there.
const std::string* telling_answer(const Lines& lines) {
  const auto found = std::find_if(lines.rbegin(), lines.rend(), [](const auto& line) {
    return contains(line, answer_mark) && contains(line, forbidden_mark);
  });
  return found != lines.rend() ? &*found : last_with(lines, answer_mark);
}

}  // namespace

std::string quoted_answer(const std::vector<std::string>& lines) {
  const std::string* line = telling_answer(lines);
  if (line == nullptr) return {};
  std::istringstream text(line->substr(line->find(answer_mark) + answer_mark.size()));
  nlohmann::json body;
  try {
    text >> body;  // stops where the value ends
  } catch (const nlohmann::json::exception&) {
    return {};
  }
  const std::string quote = quote_error_body(body);
  return quote.empty() ? quote : " (" + quote + ")";
}

bool is_forbidden(const std::vector<std::string>& lines) {
  const std::string* answer = telling_answer(lines);
  return answer != nullptr && contains(*answer, forbidden_mark);
}

std::string missing_values(const std::vector<std::string>& lines) {
  std::string names;
  for (const std::string& line : lines) {
    const std::string name(between(line, missing_value_mark, ","));
    if (name.empty() || contains(names, name)) continue;
    names += (names.empty() ? "" : ", ") + printable(name);
  }
  return names;
}

namespace {

Finding judge_login(const Lines& lines) {
  const std::string missing = missing_values(lines);
  Finding finding{Stage::login, ExitCode::login, "", ""};
  if (last_with(lines, login_error_mark) != nullptr) {
    finding.what = "the login is refused" + quoted_answer(lines);
    finding.next =
        "Check IdentityProvider, ClientId, AuthResource, and TenantId and ClientSecret (or user and password for "
        "ADFS).";
  } else {
    finding.what = "the login host answered, but gave no token";
    finding.next = "Check that the name leads to a login authority; the log file has its answer.";
  }
  if (!missing.empty()) finding.next = "The credentials store lacks " + missing + ". " + finding.next;
  return finding;
}

Finding token_not_accepted(const Lines& lines) {
  return {Stage::azure_stack, ExitCode::login,
          "the login succeeds, but Azure Stack does not accept its token" + quoted_answer(lines),
          "Check AuthResource and TenantId: the token must be made for this Azure Stack's Resource Manager."};
}

Finding judge_azure_stack(std::uint32_t status, const Lines& lines) {
  const std::string answer = quoted_answer(lines);
  if (status == status_not_found) {
    return {Stage::azure_stack, ExitCode::failed, "the host knows no subscriptions list (404)" + answer,
            "Check that the server name is the Resource Manager of an Azure Stack."};
  }
  return {Stage::azure_stack, ExitCode::failed, "Azure Stack answered with an error: " + status_text(status) + answer,
          status_advice(status)};
}

// Nothing in particular is known: the status in words and the last error lines.
Finding judge_unknown(std::uint32_t status, const Lines& lines) {
  std::string what = status_text(status);
  constexpr std::size_t shown = 3;
  for (std::size_t at = lines.size() - std::min(lines.size(), shown); at < lines.size(); ++at) {
    what += "; " + printable(lines[at], longest_quote);
  }
  return {Stage::azure_stack, ExitCode::failed, what, status_advice(status)};
}

}  // namespace

Finding judge_query(std::uint32_t status, const std::vector<std::string>& lines, std::string_view server) {
  if (const auto failure = transport_failure(lines)) return judge_transport(*failure, server);
  const Stage stage = status == status_no_token ? Stage::login : Stage::azure_stack;
  const std::string* given_up = last_with(lines, overload_mark);
  if (given_up != nullptr && !contains(*given_up, renewed_in_vain_mark)) {
    return {stage, ExitCode::unreachable, "the host is overloaded: it refused every attempt", "Try again later."};
  }
  if (stage == Stage::login) return judge_login(lines);
  if (given_up != nullptr || status == status_unauthorized) return token_not_accepted(lines);
  if (last_with(lines, api_error_mark) != nullptr) return judge_azure_stack(status, lines);
  if (last_with(lines, no_json_mark) != nullptr) {
    return {stage, ExitCode::failed, "the host's answer is not JSON, so it is no Azure Stack's",
            "Check the server name, and that no proxy or sign-in page answers in its place."};
  }
  if (last_with(lines, no_subscription_mark) != nullptr) {
    return {Stage::subscriptions, ExitCode::no_subscription, "the login works but sees no subscription",
            "Give the login's service principal or user a role (such as Contributor) in each subscription to protect."};
  }
  return judge_unknown(status, lines);
}

bool is_evidence(std::string_view line) {
  return contains(line, tls_verified_mark) || contains(line, tls_skipped_mark) ||
         contains(line, no_subscription_mark) || contains(line, count_mark);
}

TlsPeers tls_peers(const std::vector<std::string>& lines) {
  if (last_with(lines, tls_skipped_mark) != nullptr) return TlsPeers::unchecked;
  return last_with(lines, tls_verified_mark) != nullptr ? TlsPeers::verified : TlsPeers::unknown;
}

std::optional<std::string> subscription_count(const std::vector<std::string>& lines) {
  const std::string* line = last_with(lines, count_mark);
  if (line == nullptr) return std::nullopt;
  const std::string count = line->substr(line->find(count_mark) + count_mark.size());
  return count.substr(0, count.find_first_not_of("0123456789"));
}

}  // namespace host
