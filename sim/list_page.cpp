#include "sim/list_page.h"

#include <algorithm>
#include <charconv>
#include <optional>

#include "sim/base64.h"
#include "sim/refusal.h"

namespace sim {
namespace {

constexpr std::string_view token_name = "$skiptoken";
constexpr std::string_view token_prefix = "offset:";

/// A client must not read anything out of a token, so it is no plain number. Its padding is percent-encoded in the
/// address, in small letters as Resource Manager does it.
std::string token_of(std::size_t offset) {
  std::string token;
  for (const char c : base64(std::string(token_prefix) + std::to_string(offset))) {
    if (c == '=') {
      token += "%3d";
    } else {
      token += c;
    }
  }
  return token;
}

std::optional<std::size_t> offset_of(const std::string& token) {
  const std::optional<std::string> text = base64_decoded(token);
  if (!text || !text->starts_with(token_prefix)) return std::nullopt;
  std::size_t offset = 0;
  const char* end = text->data() + text->size();
  const auto read = std::from_chars(text->data() + token_prefix.size(), end, offset);
  if (read.ptr != end || read.ec != std::errc()) return std::nullopt;
  return offset;
}

/// The request's own query, as received, but for the continuation.
std::string query_without_token(std::string_view query) {
  std::string kept;
  while (!query.empty()) {
    const std::string_view pair = query.substr(0, query.find('&'));
    query.remove_prefix(std::min(pair.size() + 1, query.size()));
    if (equal_ignoring_case(percent_decoded(pair.substr(0, pair.find('='))), token_name)) continue;
    kept += std::string(pair) + "&";
  }
  return kept;
}

std::string next_link(const Cloud& cloud, const Call& call, std::size_t offset, LinkForm form) {
  const std::string& target = call.request.target;
  const std::size_t path_end = std::min(target.find('?'), target.size());
  const std::string query = query_without_token(std::string_view(target).substr(std::min(path_end + 1, target.size())));
  return "https://" + cloud.endpoints.management + target.substr(0, path_end) + "?" + query +
         (form == LinkForm::resource_manager ? "%24skiptoken=" : "$skiptoken=") + token_of(offset);
}

}  // namespace

Page page_of(const Cloud& cloud, const Call& call, std::size_t count, LinkForm form) {
  Page page;
  if (const std::string token = field(call.query, token_name); !token.empty()) {
    const std::optional<std::size_t> offset = offset_of(token);
    if (!offset) throw Refusal(400, "InvalidParameter", "The continuation token '" + token + "' is invalid.");
    page.first = std::min(*offset, count);  // the list may have become shorter since
  }
  const std::size_t size = cloud.world.page_size == 0 ? count : cloud.world.page_size;
  page.end = std::min(page.first + size, count);
  if (page.end < count) page.next_link = next_link(cloud, call, page.end, form);
  return page;
}

}  // namespace sim
