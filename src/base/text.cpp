#include "src/base/text.h"

#include <strings.h>

#include <algorithm>
#include <cstring>

#include "platform/bounded_text.h"
#include "src/base/logging.h"

namespace azurestackpi {

char* StringGetNext(char** cursor, char delimiter) {
  if (cursor == nullptr || *cursor == nullptr || **cursor == '\0') {
    return nullptr;
  }
  char* const token = *cursor;
  char* const end = std::strchr(token, delimiter);
  if (end == nullptr) {
    *cursor = token + std::strlen(token);
  } else {
    *end = '\0';
    *cursor = end + 1;
  }
  return token;
}

std::vector<std::string> SplitText(const std::string& text, char delimiter) {
  std::string copy = text;
  char* cursor = copy.data();
  std::vector<std::string> tokens;
  while (const char* token = StringGetNext(&cursor, delimiter)) {
    tokens.emplace_back(token);
  }
  return tokens;
}

bool IsEmptyString(const std::string& text) { return text.find_first_not_of(' ') == std::string::npos; }

std::string ltrim(const std::string& text, const std::string& characters) {
  return text.substr(std::min(text.find_first_not_of(characters), text.size()));
}

std::string rtrim(const std::string& text, const std::string& characters) {
  return text.substr(0, text.find_last_not_of(characters) + 1);
}

std::string trimSpace(const std::string& text, const std::string& characters) {
  return ltrim(rtrim(text, characters), characters);
}

std::string getValue(const char* text) { return text == nullptr ? std::string() : std::string(text); }

void TrimString(char* text, std::size_t size) {
  if (text == nullptr || size == 0) {
    return;
  }
  const std::string trimmed = rtrim(ltrim(ltrim(text, " "), "\""), " ");
  V_strlcpy(text, trimmed.c_str(), size);
}

char* StringReplace(char* text, char from, char to) {
  if (text == nullptr || *text == '\0') {
    return nullptr;
  }
  char* const end = text + std::strlen(text);
  std::replace(text, end, from, to);
  return end;
}

bool StringSearch(std::string_view word, std::string_view list) {
  while (!list.empty()) {
    const std::size_t end = std::min(list.find(' '), list.size());
    if (end != 0 && list.substr(0, end) == word) {
      return true;
    }
    list.remove_prefix(std::min(end + 1, list.size()));
  }
  return false;
}

std::string ToLower(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) {
    c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  }
  return lower;
}

bool EqualIgnoringCase(std::string_view left, std::string_view right) {
  return left.size() == right.size() && strncasecmp(left.data(), right.data(), left.size()) == 0;
}

bool IsYes(std::string_view value) {
  constexpr std::string_view yes = "true";
  return EqualIgnoringCase(value, yes.substr(0, value.size()));
}

void getNextPathToken(const std::string& path, const std::string& key, std::string& token) {
  const FunctionLog log(__func__);
  const std::size_t found = ToLower(path).find(ToLower(key));
  const std::size_t begin = found == std::string::npos ? found : found + key.size();
  const std::size_t end = begin == std::string::npos ? begin : path.find('/', begin);
  if (end == std::string::npos) {
    log.error("Failed to get next path token. Path is %s, searchkey is %s \n", path.c_str(), key.c_str());
    return;
  }
  token = path.substr(begin, end - begin);
}

Status extractSubIdFromPath(const std::string& path, std::string& subscription) {
  if (path.size() < 2) {
    const FunctionLog log(__func__);
    log.error("Failed to extract subscription id from path %s \n", path.c_str());
    return kInvalidArgument;
  }
  const std::size_t end = std::min(path.find('/', 2), path.size());
  subscription = path.substr(1, end - 1);
  return kOk;
}

}  // namespace azurestackpi
