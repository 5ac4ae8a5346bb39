#include "sim/control_routes.h"

#include <array>
#include <chrono>
#include <stdexcept>
#include <string>
#include <string_view>

#include "sim/json_response.h"

namespace sim {
namespace {

constexpr std::string_view mask = "******";

bool is_any_of(std::string_view name, std::initializer_list<std::string_view> names) {
  for (const std::string_view candidate : names) {
    if (equal_ignoring_case(name, candidate)) return true;
  }
  return false;
}

/// The form or query with the values of secret fields masked; every other byte stands.
std::string masked_fields(std::string_view text) {
  std::string masked;
  while (!text.empty()) {
    const std::string_view pair = text.substr(0, text.find('&'));
    const std::string_view name = pair.substr(0, pair.find('='));
    const bool secret = is_any_of(name, {"client_secret", "password", "refresh_token", "client_assertion", "sig"});
    masked += secret ? std::string(name) + "=" + std::string(mask) : std::string(pair);
    if (pair.size() < text.size()) masked += '&';
    text.remove_prefix(std::min(pair.size() + 1, text.size()));
  }
  return masked;
}

std::string masked_target(const std::string& target) {
  const std::size_t query = target.find('?');
  if (query == std::string::npos) return target;
  return target.substr(0, query + 1) + masked_fields(std::string_view(target).substr(query + 1));
}

/// JSON bodies are walked, everything else is taken for a form.
void mask_members(Json& value) {
  if (!value.is_structured()) return;
  for (auto& item : value.items()) {
    const bool secret = value.is_object() && is_any_of(item.key(), {"adminPassword", "keyData", "key", "accessSAS"});
    secret ? void(item.value() = mask) : mask_members(item.value());
  }
}

std::string masked_body(const std::string& body) {
  Json value = Json::parse(body, nullptr, false);
  if (!value.is_structured()) return masked_fields(body);
  mask_members(value);
  return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

Json request_json(const RecordedRequest& request) {
  Json headers = Json::array();
  for (const auto& [name, value] : request.headers) {
    const bool secret = is_any_of(name, {"Authorization", "Proxy-Authorization", "Cookie"});
    headers.push_back({name, secret ? std::string(mask) : value});
  }
  return {{"method", request.method}, {"target", masked_target(request.target)}, {"host", request.host},
          {"headers", headers},       {"body", masked_body(request.body)},       {"clientPort", request.client_port},
          {"status", request.status}};
}

FaultAction action_from(const Json& json) {
  const std::string kind = json.at("kind").get<std::string>();
  if (kind == "truncate") return TruncateBody{json.at("bytes").get<std::uint64_t>()};
  if (kind == "resetInBody") return ResetInBody{json.at("bytes").get<std::uint64_t>()};
  if (kind == "resetBeforeAnswer") return ResetBeforeAnswer{};
  if (kind == "loseAnswer") return LoseAnswer{};
  if (kind == "delay") return Delay{std::chrono::milliseconds(json.at("milliseconds").get<std::uint32_t>())};
  if (kind == "refuseToken") return RefuseToken{};
  if (kind != "answer") throw std::invalid_argument("unknown kind of fault '" + kind + "'");
  Response response;
  response.status = json.at("status").get<int>();
  const Json headers = json.value("headers", Json::object());
  for (const auto& header : headers.items()) {
    response.headers.emplace_back(header.key(), header.value().get<std::string>());
  }
  response.body = json.value("body", "");
  response.filler_bytes = json.value("fillerBytes", std::uint64_t{0});
  return AnswerWith{std::move(response)};
}

Fault fault_from(const std::string& text) {
  const Json json = Json::parse(text);
  Fault fault;
  fault.method = json.value("method", "");
  fault.target = json.at("target").get<std::string>();
  fault.first = json.value("first", fault.first);
  if (json.contains("times")) {
    fault.times = json["times"] == "forever" ? Fault::forever : json["times"].get<std::uint64_t>();
  }
  fault.action = action_from(json.at("action"));
  return fault;
}

Response add_fault(Simulator& simulator, const std::string& text) {
  try {
    simulator.add_fault(fault_from(text));
    return json_response(201, Json::object());
  } catch (const std::exception& error) {
    return error_response(400, "BadFault", error.what());
  }
}

Response advance_time(Simulator& simulator, const std::string& text) {
  const Json json = Json::parse(text, nullptr, false);
  const bool good = json.is_object() && json.contains("seconds") && json["seconds"].is_number_unsigned();
  if (!good) return error_response(400, "BadTime", "a whole number of seconds is needed: {\"seconds\":3600}");
  simulator.advance_time(json["seconds"].get<std::uint32_t>());
  return {.status = 204};
}

Response disk_digest(const Simulator& simulator, const std::string& disk) {
  try {
    const DiskDigest digest = simulator.disk_digest(disk);
    return json_response(200, {{"sha256", digest.sha256},
                               {"size", digest.size},
                               {"dataBytes", digest.data_bytes},
                               {"allocatedBytes", digest.allocated_bytes}});
  } catch (const std::exception& error) {
    return error_response(404, "NoDisk", error.what());
  }
}

}  // namespace

void add_control_routes(RouteTable& routes, Simulator& simulator) {
  routes.add({Service::control, "POST", "/_sim/faults",
              [&simulator](const Call& call) { return add_fault(simulator, call.request.body); }});
  routes.add({Service::control, "GET", "/_sim/requests", [&simulator](const Call&) {
                Json list = Json::array();
                for (const RecordedRequest& request : simulator.requests()) list.push_back(request_json(request));
                return json_response(200, list);
              }});
  routes.add({Service::control, "DELETE", "/_sim/requests", [&simulator](const Call&) {
                simulator.clear_requests();
                return Response{.status = 204};
              }});
  routes.add({Service::control, "GET", "/_sim/unused-faults",
              [&simulator](const Call&) { return json_response(200, simulator.unused_faults()); }});
  routes.add({Service::control, "GET", "/_sim/unknown-requests", [&simulator](const Call&) {
                Json list = Json::array();
                for (const std::string& request : simulator.unknown_requests()) list.push_back(masked_target(request));
                return json_response(200, list);
              }});
  routes.add({Service::control, "GET", "/_sim/state",
              [&simulator](const Call&) { return json_response(200, Json::parse(simulator.state())); }});
  routes.add({Service::control, "GET", "/_sim/disk-digest",
              [&simulator](const Call& call) { return disk_digest(simulator, field(call.query, "disk")); }});
  routes.add({Service::control, "POST", "/_sim/advance-time",
              [&simulator](const Call& call) { return advance_time(simulator, call.request.body); }});
  routes.add({Service::control, "POST", "/_sim/revoke-tokens", [&simulator](const Call&) {
                simulator.revoke_tokens();
                return Response{.status = 204};
              }});
}

}  // namespace sim
