#include "sim/resource_filter.h"

#include <algorithm>
#include <cctype>
#include <optional>

#include "sim/letter_case.h"
#include "sim/refusal.h"

namespace sim {
namespace {

/// Takes the parts of a filter off its front.
class FilterScanner {
 public:
  explicit FilterScanner(std::string_view text) : rest_(text) { skip_blanks(); }

  bool at_end() const { return rest_.empty(); }

  /// Whether the word, or the parenthesis, came next.
  bool take(std::string_view expected) {
    const bool word = std::isalpha(static_cast<unsigned char>(expected.front())) != 0;
    const std::string_view next = word ? rest_.substr(0, rest_.find_first_of(" '()")) : rest_.substr(0, 1);
    if (!equal_ignoring_case(next, expected)) return false;
    rest_.remove_prefix(next.size());
    skip_blanks();
    return true;
  }

  /// The contents of a text in single quotes, when one came next.
  std::optional<std::string> quoted() {
    const std::size_t end = rest_.starts_with('\'') ? rest_.find('\'', 1) : std::string_view::npos;
    if (end == std::string_view::npos) return std::nullopt;
    std::string text(rest_.substr(1, end - 1));
    rest_.remove_prefix(end + 1);
    skip_blanks();
    return text;
  }

 private:
  void skip_blanks() { rest_.remove_prefix(std::min(rest_.find_first_not_of(' '), rest_.size())); }

  std::string_view rest_;
};

/// The types of the alternatives; none when the text is no filter.
std::optional<std::vector<std::string>> types_of(std::string_view text) {
  std::vector<std::string> types;
  FilterScanner scanner(text);
  const bool in_parentheses = scanner.take("(");
  do {
    std::optional<std::string> type;
    if (scanner.take("ResourceType") && scanner.take("eq")) type = scanner.quoted();
    if (!type) return std::nullopt;
    types.push_back(*std::move(type));
  } while (scanner.take("or"));
  if (in_parentheses && !scanner.take(")")) return std::nullopt;
  if (!scanner.at_end()) return std::nullopt;
  return types;
}

}  // namespace

ResourceFilter::ResourceFilter(std::string_view text) {
  if (text.empty()) return;
  std::optional<std::vector<std::string>> types = types_of(text);
  if (!types) {
    throw Refusal(400, "InvalidFilterInQueryString",
                  "Invalid $filter '" + std::string(text) + "' specified in the query string.");
  }
  types_ = *std::move(types);
}

bool ResourceFilter::accepts(std::string_view type) const {
  return types_.empty() || std::any_of(types_.begin(), types_.end(), [type](const std::string& accepted) {
           return equal_ignoring_case(accepted, type);
         });
}

}  // namespace sim
