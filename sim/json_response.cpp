#include "sim/json_response.h"

namespace sim {

Response json_response(int status, const Json& body) {
  Response response;
  response.status = status;
  response.headers.emplace_back("Content-Type", "application/json; charset=utf-8");
  response.body = body.dump(-1, ' ', false, Json::error_handler_t::replace);
  return response;
}

Response error_response(int status, const std::string& code, const std::string& message) {
  return json_response(status, {{"error", {{"code", code}, {"message", message}}}});
}

}  // namespace sim
