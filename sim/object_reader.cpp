#include "sim/object_reader.h"

#include <algorithm>
#include <cctype>
#include <limits>
#include <stdexcept>

namespace sim {

ObjectReader::ObjectReader(const Json& value, std::string place) : value_(value), place_(std::move(place)) {
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
  std::string value = text(name, *words.begin());
  if (std::find(words.begin(), words.end(), value) != words.end()) return value;
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
  if (!member->is_number_integer() || member->get<std::int64_t>() <= 0) fail(name, "must be a whole number above 0");
  return member->get<std::int64_t>();
}

int ObjectReader::number(const std::string& name, int fallback) {
  const Json* member = find(name);
  if (member == nullptr) return fallback;
  const bool good = member->is_number_unsigned() &&
                    member->get<std::uint64_t>() <= static_cast<std::uint64_t>(std::numeric_limits<int>::max());
  if (!good) fail(name, "must be a whole number from 0 on");
  return member->get<int>();
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
    readers.emplace_back(element, path(name) + "[" + std::to_string(readers.size()) + "]");
  }
  return readers;
}

void ObjectReader::each(const std::string& name, const std::function<void(ObjectReader&)>& read) {
  for (ObjectReader& reader : objects(name)) {
    read(reader);
    reader.finish();
  }
}

void ObjectReader::finish() const {
  for (const auto& member : value_.items()) {
    if (known_.count(member.key()) == 0) fail(member.key(), "is not known");
  }
}

void ObjectReader::fail(const std::string& name, const std::string& what) const {
  const std::string where = path(name);
  throw std::runtime_error((where.empty() ? "the file" : where) + ": " + what);
}

const ObjectReader::Json* ObjectReader::find(const std::string& name) {
  known_.insert(name);
  const auto member = value_.find(name);
  return member == value_.end() ? nullptr : &*member;
}

std::string ObjectReader::path(const std::string& name) const {
  return place_.empty() || name.empty() ? place_ + name : place_ + "." + name;
}

}  // namespace sim
