#include "sim/object_reader.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <limits>

namespace sim {

ObjectReader::ObjectReader(const Json& value, std::string place, Form form)
    : value_(value), place_(std::move(place)), form_(form) {
  if (!value_.is_object()) fail("", "an object is needed");
}

std::string ObjectReader::text(const std::string& name) {
  const Json* member = find(name);
  if (member == nullptr) fail(name, "is missing");
  if (!member->is_string() || member->get_ref<const std::string&>().empty()) fail(name, "must be a non-empty text");
  return member->get<std::string>();
}

std::optional<std::string> ObjectReader::optional_text(const std::string& name) {
  if (find(name) == nullptr) return std::nullopt;
  return text(name);
}

std::string ObjectReader::text(const std::string& name, const std::string& fallback) {
  return optional_text(name).value_or(fallback);
}

std::string ObjectReader::word(const std::string& name, std::initializer_list<const char*> words) {
  const std::string value = text(name, *words.begin());
  const auto found = std::find_if(words.begin(), words.end(), [&](const char* word) { return same_name(value, word); });
  if (found != words.end()) return *found;
  std::string list;
  for (const char* known : words) list += (list.empty() ? "" : ", ") + std::string(known);
  fail(name, "must be one of " + list);
}

std::string ObjectReader::host_name(const std::string& name) {
  std::string value = text(name);
  const bool good = std::all_of(value.begin(), value.end(), [](unsigned char c) {
    return std::islower(c) != 0 || std::isdigit(c) != 0 || c == '-' || c == '.';
  });
  if (!good) fail(name, "must be made of small letters, digits, '-' and '.'");
  return value;
}

std::int64_t ObjectReader::positive_number(const std::string& name) {
  if (find(name) == nullptr) fail(name, "is missing");
  return positive_number(name, 0);
}

std::int64_t ObjectReader::positive_number(const std::string& name, std::int64_t fallback) {
  const Json* member = find(name);
  if (member == nullptr) return fallback;
  const std::int64_t value = whole_number(*member);
  if (value <= 0) fail(name, "must be a whole number above 0");
  return value;
}

int ObjectReader::number(const std::string& name, int fallback) {
  const Json* member = find(name);
  if (member == nullptr) return fallback;
  const std::int64_t value = whole_number(*member);
  if (value < 0 || value > std::numeric_limits<int>::max()) fail(name, "must be a whole number from 0 on");
  return static_cast<int>(value);
}

bool ObjectReader::flag(const std::string& name, bool fallback) {
  const Json* member = find(name);
  if (member == nullptr) return fallback;
  if (!member->is_boolean()) fail(name, "must be true or false");
  return member->get<bool>();
}

std::vector<std::string> ObjectReader::texts(const std::string& name) {
  std::vector<std::string> values;
  const Json* member = find(name);
  if (member == nullptr) return values;
  if (!member->is_array()) fail(name, "must be an array");
  for (const Json& value : *member) {
    if (!value.is_string()) fail(name, "must hold texts only");
    values.push_back(value.get<std::string>());
  }
  return values;
}

std::optional<Tags> ObjectReader::tags(const std::string& name) {
  const Json* member = find(name);
  if (member == nullptr) return std::nullopt;
  if (!member->is_object()) fail(name, "an object is needed");
  Tags tags;
  for (const auto& tag : member->items()) {
    if (!tag.value().is_string()) fail(name + "." + tag.key(), "must be a text");
    tags.emplace_back(tag.key(), tag.value().get<std::string>());
  }
  return tags;
}

std::vector<ObjectReader> ObjectReader::objects(const std::string& name) {
  std::vector<ObjectReader> readers;
  const Json* member = find(name);
  if (member == nullptr) return readers;
  if (!member->is_array()) fail(name, "must be an array");
  for (const Json& element : *member) {
    readers.emplace_back(element, path(name) + "[" + std::to_string(readers.size()) + "]", form_);
  }
  return readers;
}

void ObjectReader::each(const std::string& name, const std::function<void(ObjectReader&)>& read) {
  for (ObjectReader& reader : objects(name)) {
    read(reader);
    reader.finish();
  }
}

bool ObjectReader::section(const std::string& name, const std::function<void(ObjectReader&)>& read) {
  const Json* member = find(name);
  if (member == nullptr) return false;
  ObjectReader reader(*member, path(name), form_);
  read(reader);
  reader.finish();
  return true;
}

void ObjectReader::finish() const {
  for (const auto& member : value_.items()) {
    const bool known = std::any_of(known_.begin(), known_.end(),
                                   [&](const std::string& name) { return same_name(name, member.key()); });
    if (!known) fail(member.key(), "is not known");
  }
}

void ObjectReader::fail(const std::string& name, const std::string& what) const {
  const std::string where = path(name);
  const char* whole = form_ == Form::file ? "the file" : "the request";
  throw ObjectError((where.empty() ? std::string(whole) : where) + ": " + what);
}

bool ObjectReader::same_name(const std::string& left, const std::string& right) const {
  return form_ == Form::file ? left == right : equal_ignoring_case(left, right);
}

const ObjectReader::Json* ObjectReader::member(const std::string& name) const {
  for (const auto& item : value_.items()) {
    if (!same_name(item.key(), name)) continue;
    return form_ == Form::request && item.value().is_null() ? nullptr : &item.value();
  }
  return nullptr;
}

const ObjectReader::Json* ObjectReader::find(const std::string& name) {
  known_.insert(name);
  return member(name);
}

/// -1 for what is no whole number, or a negative one, or one beyond what fits.
std::int64_t ObjectReader::whole_number(const Json& value) const {
  if (!value.is_number_integer() && !(form_ == Form::request && value.is_string())) return -1;
  const std::string text = value.is_string() ? value.get<std::string>() : value.dump();
  std::int64_t number = 0;
  const auto read = std::from_chars(text.data(), text.data() + text.size(), number);
  return read.ec == std::errc() && read.ptr == text.data() + text.size() ? number : -1;
}

std::string ObjectReader::path(const std::string& name) const {
  return place_.empty() || name.empty() ? place_ + name : place_ + "." + name;
}

}  // namespace sim
