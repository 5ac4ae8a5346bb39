#include "src/rest/json_text.h"

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

}  // namespace azurestackpi
