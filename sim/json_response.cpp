#include "sim/json_response.h"

#include <string_view>
#include <utility>

namespace sim {
namespace {

std::string one_line(const Json& value) { return value.dump(-1, ' ', false, Json::error_handler_t::replace); }

/// Appends the value; `line_break` begins a line of the level that the value stands on.
void print(const Json& value, const std::string& line_break, std::string& text) {
  if (!value.is_structured() || value.empty()) {
    text += one_line(value);
    return;
  }
  text += value.is_object() ? '{' : '[';
  const std::string inner_break = line_break + "  ";
  std::string_view separator;
  for (const auto& item : value.items()) {
    text += separator;
    text += inner_break;
    if (value.is_object()) text += one_line(item.key()) + ": ";
    if (value.is_object() && item.key() == "networkProfile") {
      text += one_line(item.value());
    } else {
      print(item.value(), inner_break, text);
    }
    separator = ",";
  }
  text += line_break;
  text += value.is_object() ? '}' : ']';
}

Response response_with(int status, std::string body) {
  return {.status = status, .headers = {{"Content-Type", "application/json; charset=utf-8"}}, .body = std::move(body)};
}

}  // namespace

Response json_response(int status, const Json& body) { return response_with(status, one_line(body)); }

Response printed_json_response(int status, const Json& body) {
  std::string text;
  print(body, "\r\n", text);
  return response_with(status, std::move(text));
}

Response error_response(int status, const std::string& code, const std::string& message, const std::string& target) {
  Json error = {{"code", code}};
  if (!target.empty()) error["target"] = target;
  error["message"] = message;
  return json_response(status, {{"error", std::move(error)}});
}

}  // namespace sim
