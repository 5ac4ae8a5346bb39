#include "host/plugin_line.h"

namespace host {

LineParts take_apart(std::string_view line) {
  const std::size_t colon = line.find(": ");
  if (colon == std::string_view::npos) return {{}, line};
  return {line.substr(0, colon), line.substr(colon + 2)};
}

}  // namespace host
