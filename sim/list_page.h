// Lists that come in pages.
#pragma once

#include <cstddef>
#include <iterator>
#include <string>

#include "sim/cloud.h"
#include "sim/json_response.h"
#include "sim/route_table.h"

namespace sim {

/// How the address of the next page names its continuation: Resource Manager's own lists write "%24skiptoken", those of
/// the providers "$skiptoken".
enum class LinkForm { resource_manager, provider };

struct Page {
  std::size_t first = 0;
  std::size_t end = 0;
  std::string next_link = {};  // empty on the last page
};

/// The page that the request's $skiptoken stands for, of a list of `count` elements. Throws Refusal (400) when the
/// token is none that was given out.
Page page_of(const Cloud& cloud, const Call& call, std::size_t count, LinkForm form);

/// {"value":[...],"nextLink":"..."} with the page's items; the last page has no nextLink.
template <typename Items, typename ToJson>
Json list_page(const Cloud& cloud, const Call& call, const Items& items, LinkForm form, ToJson to_json) {
  const Page page = page_of(cloud, call, items.size(), form);
  Json elements = Json::array();
  auto item = std::next(items.begin(), static_cast<std::ptrdiff_t>(page.first));
  for (std::size_t i = page.first; i < page.end; ++i) elements.push_back(to_json(*item++));
  Json list = {{"value", std::move(elements)}};
  if (!page.next_link.empty()) list["nextLink"] = page.next_link;
  return list;
}

}  // namespace sim
