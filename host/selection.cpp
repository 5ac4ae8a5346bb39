#include "host/selection.h"

#include <strings.h>

#include <algorithm>
#include <sstream>

#include "host/errors.h"
#include "host/printable.h"

namespace host {

namespace {

constexpr const char* form = "/SUBSCRIPTION, /SUBSCRIPTION/GROUP or /SUBSCRIPTION/GROUP/MACHINE";
constexpr std::size_t longest = 1023;
constexpr std::size_t most_parts = 3;

[[noreturn]] void refuse(const std::string& selection, const std::string& why) {
  throw UsageError("the selection \"" + printable(selection, 100) + "\" " + why);
}

// The plug-in separates selections by blanks, and none of the other characters can stand in an address.
bool is_foreign(char byte) {
  const auto value = static_cast<unsigned char>(byte);
  return value <= 0x20 || value == 0x7f || std::string_view("?#%\\").find(byte) != std::string_view::npos;
}

std::vector<std::string> parts_of(const std::string& selection) {
  std::vector<std::string> parts;
  std::istringstream text(selection.substr(1) + "/");
  for (std::string part; std::getline(text, part, '/');) parts.push_back(part);
  return parts;
}

std::string read_selection(const std::string& given) {
  if (given.empty()) refuse(given, std::string("is empty; write ") + form);
  if (std::any_of(given.begin(), given.end(), is_foreign)) {
    refuse(given, "holds a blank or another character that no name in Azure Stack has; give each selection as a word");
  }
  std::string selection = given.front() == '/' ? given : "/" + given;
  if (selection.size() > longest) refuse(given, "is too long");
  const std::vector<std::string> parts = parts_of(selection);
  if (::strcasecmp(parts.front().c_str(), "subscriptions") == 0) {
    refuse(given, std::string("looks like a resource id; write ") + form);
  }
  const bool hollow = std::any_of(parts.begin(), parts.end(),
                                  [](const auto& part) { return part.empty() || part == "." || part == ".."; });
  if (hollow || parts.size() > most_parts) refuse(given, std::string("has not the form ") + form);
  return selection;
}

}  // namespace

std::vector<std::string> read_selections(const std::vector<std::string>& given) {
  if (given.empty()) {
    throw UsageError(std::string("nothing is selected; give at least a subscription's id: ") + form);
  }
  std::vector<std::string> selections;
  std::transform(given.begin(), given.end(), std::back_inserter(selections), read_selection);
  return selections;
}

std::string joined(const std::vector<std::string>& selections) {
  std::string text;
  for (const std::string& selection : selections) text += (text.empty() ? "" : " ") + selection;
  return text;
}

}  // namespace host
