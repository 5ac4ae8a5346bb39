// Answers with a JSON body.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "sim/http_message.h"

namespace sim {

/// Members keep the order in which they are written, as the services' own answers do.
using Json = nlohmann::ordered_json;

/// One line of JSON with its content type. Bytes that are no UTF-8 are replaced.
Response json_response(int status, const Json& body);

/// The same over many lines that end in CR LF, as the compute and network providers print their answers: two blanks for
/// each level, but everything below "networkProfile" on one line, the way it came from the other provider.
Response printed_json_response(int status, const Json& body);

/// {"error":{"code":...,"message":...}}, the form of Resource Manager and its providers; "target" stands between the
/// two when there is one.
Response error_response(int status, const std::string& code, const std::string& message,
                        const std::string& target = "");

}  // namespace sim
