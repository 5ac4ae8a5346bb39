#include "tests/azurite/strictness.h"

#include <regex>

#include "sim/letter_case.h"

namespace azurite {
namespace {

constexpr std::size_t most_page_bytes = 4UL * 1024 * 1024;

/// The value of a part of the query, as on the wire; nothing when it is not there.
std::optional<std::string> query_value(const sim::Request& request, const std::string& name) {
  std::smatch found;
  const std::regex pattern("[?&]" + name + "=([^&]*)");
  if (!std::regex_search(request.target, found, pattern)) return std::nullopt;
  return found[1];
}

/// An access signature names the version itself.
std::string api_version(const sim::Request& request) {
  return query_value(request, "sv").value_or(sim::find_header(request.headers, "x-ms-version").value_or(""));
}

}  // namespace

sim::Response blob_error(int status, const std::string& code) {
  return {.status = status,
          .headers = {{"Content-Type", "application/xml"}, {"x-ms-error-code", code}},
          .body = R"(<?xml version="1.0" encoding="utf-8"?><Error><Code>)" + code + "</Code><Message>" + code +
                  "\nRequestId:0</Message></Error>"};
}

std::optional<sim::Response> strict_refusal(const sim::Request& request) {
  if (query_value(request, "prevsnapshot")) return blob_error(501, "NotImplemented");
  if (request.method != "PUT" || query_value(request, "comp") != "page") return std::nullopt;
  if (request.body.size() > most_page_bytes) return blob_error(413, "RequestBodyTooLarge");
  return std::nullopt;
}

sim::Response strict_answer(const sim::Request& request, sim::Response answer) {
  if (request.method == "GET" && answer.status == 206 && answer.body.empty()) answer = blob_error(416, "InvalidRange");
  if (api_version(request) < "2017-07-29") {
    std::erase_if(answer.headers,
                  [](const auto& line) { return sim::equal_ignoring_case(line.first, "x-ms-error-code"); });
  }
  return answer;
}

}  // namespace azurite
