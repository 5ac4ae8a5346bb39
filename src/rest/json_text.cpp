#include "src/rest/json_text.h"

#include "src/base/text.h"

namespace azurestackpi {

Status getJsonIntValue(const json_t* object, const char* key, json_int_t& value) {
  const json_t* const member = json_object_get(object, key);
  if (member != nullptr && !json_is_integer(member)) {
    return kInternalError;
  }
  value = json_integer_value(member);
  return kOk;
}

Status getJsonStringValue(const json_t* object, const char* key, std::string& value) {
  const json_t* const member = json_object_get(object, key);
  if (member != nullptr && !json_is_string(member)) {
    return kInternalError;
  }
  value.assign(member == nullptr ? "" : json_string_value(member), json_string_length(member));
  return kOk;
}

std::string JsonStringOrEmpty(const json_t* object, const char* key) {
  std::string value;
  static_cast<void>(getJsonStringValue(object, key, value));
  return value;
}

JsonPtr ParseJson(std::string_view text, json_error_t& error) {
  return JsonPtr(json_loadb(text.data(), text.size(), JSON_REJECT_DUPLICATES, &error));
}

JsonPtr ParseJsonLeniently(std::string_view text) {
  return JsonPtr(json_loadb(text.data(), text.size(), JSON_ALLOW_NUL | JSON_DECODE_INT_AS_REAL, nullptr));
}

bool IsJsonText(const std::string& text) { return JsonPtr(json_stringn(text.data(), text.size())) != nullptr; }

std::string EscapedForJson(const std::string& text) {
  const JsonPtr value(json_stringn(text.data(), text.size()));
  const std::string quoted = getValue(CText(json_dumps(value.get(), JSON_ENCODE_ANY)).get());
  return quoted.size() < 2 ? std::string() : quoted.substr(1, quoted.size() - 2);
}

}  // namespace azurestackpi
