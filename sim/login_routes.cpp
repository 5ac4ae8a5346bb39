#include "sim/login_routes.h"

#include <algorithm>
#include <string>
#include <vector>

#include "sim/json_response.h"
#include "sim/random_text.h"

namespace sim {
namespace {

/// The fields of a form; none when the body is declared to be something else.
Fields form_of(const Request& request) {
  const std::string type = find_header(request.headers, "Content-Type").value_or("");
  const std::string media_type = type.substr(0, type.find_first_of("; "));
  return equal_ignoring_case(media_type, "application/x-www-form-urlencoded") ? parse_fields(request.body) : Fields{};
}

Response token_response(int status, const Json& body) {
  Response response = json_response(status, body);
  response.headers.insert(response.headers.end(), {{"Cache-Control", "no-cache, no-store"},
                                                   {"Pragma", "no-cache"},
                                                   {"Expires", "-1"},
                                                   {"X-Content-Type-Options", "nosniff"}});
  return response;
}

class AadAuthority {
 public:
  explicit AadAuthority(Cloud& cloud) : cloud_(cloud) {}

  Response answer(const Call& call) const {
    const World& world = cloud_.world;
    const Fields form = form_of(call.request);
    const std::string& tenant = call.path.at("tenant");
    if (!equal_ignoring_case(tenant, world.tenant_id)) {
      return error(400, "invalid_request", {90002}, "AADSTS90002: Tenant '" + tenant + "' not found.");
    }
    const std::string grant = field(form, "grant_type");
    if (grant.empty()) return missing("grant_type");
    if (grant != "client_credentials") {
      return error(400, "unsupported_grant_type", {70003},
                   "AADSTS70003: The app requested an unsupported grant type '" + grant + "'.");
    }
    return client_credentials(form);
  }

 private:
  Response client_credentials(const Fields& form) const {
    const World& world = cloud_.world;
    for (const char* name : {"client_id", "client_secret", "resource"}) {
      if (field(form, name).empty()) return missing(name);
    }
    const std::string id = field(form, "client_id");
    const auto client = std::find_if(world.aad_clients.begin(), world.aad_clients.end(), [&id](const AadClient& known) {
      return equal_ignoring_case(known.client_id, id);
    });
    if (client == world.aad_clients.end()) {
      return error(
          400, "unauthorized_client", {70001},
          "AADSTS70001: Application with identifier '" + id + "' was not found in the directory " + world.tenant_id);
    }
    if (client->client_secret != field(form, "client_secret")) {
      return error(401, "invalid_client", {70002, 50012},
                   "AADSTS70002: Error validating credentials. AADSTS50012: Invalid client secret is provided.");
    }
    const std::string resource = field(form, "resource");
    if (resource != world.audience) {
      return error(400, "invalid_resource", {50001},
                   "AADSTS50001: The application named " + resource + " was not found in the tenant named " +
                       world.tenant_id + ".");
    }
    return token(client->client_id);
  }

  /// Numbers go as texts here.
  Response token(const std::string& client_id) const {
    const World& world = cloud_.world;
    const std::int64_t now = cloud_.clock.now();
    const std::int64_t lifetime = world.token_lifetime_seconds;
    const std::string issuer = "https://sts.windows.net/" + world.tenant_id + "/";
    const std::string token = cloud_.tokens.issue({world.audience, issuer, client_id, world.tenant_id}, now, lifetime);
    return token_response(200, {{"token_type", "Bearer"},
                                {"expires_in", std::to_string(lifetime)},
                                {"ext_expires_in", std::to_string(lifetime)},
                                {"expires_on", std::to_string(now + lifetime)},
                                {"not_before", std::to_string(now)},
                                {"resource", world.audience},
                                {"access_token", token}});
  }

  Response missing(const std::string& name) const {
    return error(400, "invalid_request", {900144},
                 "AADSTS900144: The request body must contain the following parameter: '" + name + "'.");
  }

  Response error(int status, const std::string& code, const std::vector<int>& numbers,
                 const std::string& description) const {
    const std::string time = utc_text(cloud_.clock.now(), "%Y-%m-%d %H:%M:%SZ");
    const std::string trace = new_guid();
    const std::string correlation = new_guid();
    return token_response(
        status, {{"error", code},
                 {"error_description", description + "\r\nTrace ID: " + trace + "\r\nCorrelation ID: " + correlation +
                                           "\r\nTimestamp: " + time},
                 {"error_codes", numbers},
                 {"timestamp", time},
                 {"trace_id", trace},
                 {"correlation_id", correlation}});
  }

  Cloud& cloud_;
};

class AdfsAuthority {
 public:
  explicit AdfsAuthority(Cloud& cloud) : cloud_(cloud) {}

  Response answer(const Call& call) const {
    const Fields form = form_of(call.request);
    const std::string grant = field(form, "grant_type");
    if (grant.empty()) {
      return error("invalid_request", "MSIS9609: The 'grant_type' parameter in the request is missing or invalid.");
    }
    if (grant != "password") {
      return error("unsupported_grant_type",
                   "MSIS9611: The authorization server does not support the requested 'grant_type'.");
    }
    return password(form);
  }

 private:
  Response password(const Fields& form) const {
    const std::vector<AdfsUser>& users = cloud_.world.adfs_users;
    const std::string client = field(form, "client_id");
    const auto of_client = [&client](const AdfsUser& user) { return equal_ignoring_case(user.client_id, client); };
    if (std::none_of(users.begin(), users.end(), of_client)) {
      return error("invalid_client",
                   "MSIS9607: The 'client_id' parameter in the request is invalid. No registered client is found with "
                   "this identifier.");
    }
    if (field(form, "resource") != cloud_.world.audience) {
      return error("invalid_resource",
                   "MSIS9602: The received 'resource' parameter is invalid. The authorization server can not find a "
                   "registered resource with the specified identifier.");
    }
    const bool known = std::any_of(users.begin(), users.end(), [&](const AdfsUser& user) {
      return of_client(user) && equal_ignoring_case(user.user_name, field(form, "username")) &&
             user.password == field(form, "password");
    });
    if (!known) return error("invalid_grant", "MSIS9659: Invalid 'username' or 'password'.");
    return token(client);
  }

  /// A lifetime as a number, no moment of expiry, and the type in small letters.
  Response token(const std::string& client_id) const {
    const World& world = cloud_.world;
    const std::int64_t lifetime = world.token_lifetime_seconds;
    const std::string issuer = "https://" + cloud_.endpoints.adfs + "/adfs/services/trust";
    const std::string token =
        cloud_.tokens.issue({world.audience, issuer, client_id, world.tenant_id}, cloud_.clock.now(), lifetime);
    return token_response(200, {{"access_token", token},
                                {"token_type", "bearer"},
                                {"expires_in", lifetime},
                                {"resource", world.audience},
                                {"refresh_token", random_base64url(300)},
                                {"refresh_token_expires_in", 28800}});
  }

  static Response error(const std::string& code, const std::string& description) {
    return token_response(400, {{"error", code}, {"error_description", description}});
  }

  Cloud& cloud_;
};

}  // namespace

void add_login_routes(RouteTable& routes, Cloud& cloud) {
  routes.add({Service::aad, "POST", "/{tenant}/oauth2/token",
              [&cloud](const Call& call) { return AadAuthority(cloud).answer(call); }});
  routes.add({Service::adfs, "POST", "/adfs/oauth2/token",
              [&cloud](const Call& call) { return AdfsAuthority(cloud).answer(call); }});
}

}  // namespace sim
