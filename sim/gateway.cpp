#include "sim/gateway.h"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>

#include "sim/random_text.h"
#include "sim/refusal.h"

namespace sim {
namespace {

/// A 401 as the gateway gives it. All three kinds come through here, so that their header keeps one form.
Response unauthorized(const Cloud& cloud, const std::string& description, const std::string& code,
                      const std::string& message) {
  Response response = error_response(401, code, message);
  response.headers.insert(
      response.headers.end(),
      {{"Cache-Control", "no-cache"},
       {"Pragma", "no-cache"},
       {"Expires", "-1"},
       {"WWW-Authenticate", "Bearer authorization_uri=\"https://" + cloud.endpoints.aad + "/" + cloud.world.tenant_id +
                                "\", error=\"invalid_token\", error_description=\"" + description + "\""}});
  return response;
}

Response with_failure_cause(Response response) {
  response.headers.emplace_back("x-ms-failure-cause", "gateway");
  response.headers.emplace_back("x-ms-request-id", new_guid());
  return response;
}

/// The body tells of the expiry, the header says no more than of any other bad token: clients decide by the header
/// whether a new token helps, and it does for either.
Response expired_token_response(const Cloud& cloud, std::int64_t expiry) {
  constexpr auto form = "%-m/%-d/%Y %-I:%M:%S %p";
  return with_failure_cause(unauthorized(cloud, "The access token is invalid.", "ExpiredAuthenticationToken",
                                         "The access token expiry UTC time '" + utc_text(expiry, form) +
                                             "' is earlier than current UTC time '" +
                                             utc_text(cloud.clock.now(), form) + "'."));
}

std::optional<Response> token_refusal(const Cloud& cloud, const Request& request) {
  const std::optional<std::string> authorization = find_header(request.headers, "Authorization");
  if (!authorization) {
    return unauthorized(cloud, "The authentication failed because of missing 'Authorization' header.",
                        "AuthenticationFailed", "Authentication failed. The 'Authorization' header is missing.");
  }
  constexpr std::string_view scheme = "Bearer ";
  if (!equal_ignoring_case(authorization->substr(0, scheme.size()), scheme)) return invalid_token_response(cloud);
  const std::string token = authorization->substr(scheme.size());
  switch (cloud.tokens.state(token, cloud.clock.now())) {
    case TokenStore::State::valid:
      return std::nullopt;
    case TokenStore::State::expired:
      return expired_token_response(cloud, cloud.tokens.expiry(token));
    case TokenStore::State::unknown:
      break;
  }
  return invalid_token_response(cloud);
}

/// Resource Manager and the providers word it differently; both list what they do answer.
std::optional<Response> version_refusal(const Route& route, const std::string& version) {
  const auto& supported = route.api_versions;
  if (std::find(supported.begin(), supported.end(), version) != supported.end()) return std::nullopt;
  std::string list;
  for (const std::string& known : supported) list += (list.empty() ? "" : ",") + known;
  if (route.resource_type.empty()) {
    return error_response(400, "InvalidApiVersionParameter",
                          "The api-version '" + version + "' is invalid. The supported versions are '" + list + "'.");
  }
  const std::size_t slash = route.resource_type.find('/');
  return error_response(400, "InvalidResourceType",
                        "The resource type '" + route.resource_type.substr(slash + 1) +
                            "' could not be found in the namespace '" + route.resource_type.substr(0, slash) +
                            "' for api version '" + version + "'. The supported api-versions are '" + list + "'.");
}

Response no_route_response(const Request& request) {
  const std::string path = request.target.substr(0, request.target.find('?'));
  constexpr std::string_view subscriptions = "/subscriptions/";
  if (!equal_ignoring_case(path.substr(0, subscriptions.size()), subscriptions)) {
    return error_response(404, "MissingSubscription",
                          "The request did not have a subscription or a valid tenant level resource provider.");
  }
  return error_response(404, "HttpResourceNotFound",
                        "The request url 'https://" + request.host + path + "' is invalid.");
}

/// "tenant-reads", "subscription-writes": the budget that the request was counted against.
std::string budget(const Call& call) {
  const std::string scope = call.path.count("subscriptionId") != 0 ? "subscription" : "tenant";
  const std::string& method = call.request.method;
  return scope + (method == "GET" || method == "HEAD" ? "-reads" : method == "DELETE" ? "-deletes" : "-writes");
}

Response with_common_headers(const Cloud& cloud, const Call& call, Response response) {
  const std::string id = new_guid();
  const std::string region = upper_case(cloud.world.region);
  response.headers.insert(
      response.headers.end(),
      {{"Cache-Control", "no-cache"},
       {"Pragma", "no-cache"},
       {"Expires", "-1"},
       {"x-ms-ratelimit-remaining-" + budget(call), "14999"},
       {"x-ms-request-id", id},
       {"x-ms-correlation-request-id", id},
       {"x-ms-routing-request-id", region + ":" + utc_text(cloud.clock.now(), "%Y%m%dT%H%M%SZ") + ":" + id},
       {"Strict-Transport-Security", "max-age=31536000; includeSubDomains"},
       {"X-Content-Type-Options", "nosniff"}});
  return response;
}

/// Checks in the order of the real gateway: a request without any api-version is refused before its token is looked at.
Response checked_response(const RouteTable::Match& match) {
  const std::string version = field(match.call.query, "api-version");
  if (match.route == nullptr) return no_route_response(match.call.request);
  if (std::optional<Response> refusal = version_refusal(*match.route, version)) return *std::move(refusal);
  try {
    return match.route->answer(match.call);
  } catch (const Refusal& refusal) {
    return error_response(refusal.status(), refusal.code(), refusal.what(), refusal.target());
  }
}

}  // namespace

Response invalid_token_response(const Cloud& cloud) {
  return with_failure_cause(unauthorized(cloud, "The access token is invalid.", "InvalidAuthenticationToken",
                                         "The access token is invalid."));
}

Response gateway_response(const Cloud& cloud, const RouteTable::Match& match) {
  const Call& call = match.call;
  if (field(call.query, "api-version").empty()) {
    return with_common_headers(
        cloud, call,
        error_response(400, "MissingApiVersionParameter",
                       "The api-version query parameter (?api-version=) is required for all requests."));
  }
  if (match.route == nullptr || match.route->needs_token) {
    if (std::optional<Response> refusal = token_refusal(cloud, call.request)) return *std::move(refusal);
  }
  return with_common_headers(cloud, call, checked_response(match));
}

}  // namespace sim
