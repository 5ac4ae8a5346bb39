// Reads JSON objects strictly: each error names the member's place in the file.
#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "sim/resources.h"

namespace sim {

/// The place of a member and what is wrong there.
class ObjectError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A JSON object with its place in the file. The members asked for are remembered, so that finish() can refuse the
/// rest: a misspelt member must not silently leave its default. Everything throws ObjectError. The JSON value must
/// outlive the reader.
class ObjectReader {
 public:
  using Json = nlohmann::ordered_json;  // tags keep their order

  /// The body of a request is read as the services do: names and words count in either case, null stands for an absent
  /// member, and a number may be a text.
  enum class Form { file, request };

  ObjectReader(const Json& value, std::string place, Form form = Form::file);

  /// Whether the member is there; it stays unknown to finish().
  bool has(const std::string& name) const { return member(name) != nullptr; }

  /// A text that is not empty; the first form wants it to be there.
  std::string text(const std::string& name);
  std::optional<std::string> optional_text(const std::string& name);
  std::string text(const std::string& name, const std::string& fallback);

  /// One of the words; the first when the member is absent.
  std::string word(const std::string& name, std::initializer_list<const char*> words);

  /// A DNS name: it becomes a part of host names and of the certificate.
  std::string host_name(const std::string& name);

  /// A whole number above 0; the first form wants it to be there.
  std::int64_t positive_number(const std::string& name);
  std::int64_t positive_number(const std::string& name, std::int64_t fallback);

  /// A whole number from 0 on.
  int number(const std::string& name, int fallback);

  bool flag(const std::string& name, bool fallback);

  std::vector<std::string> texts(const std::string& name);

  /// None when the member is absent.
  std::optional<Tags> tags(const std::string& name);

  /// One element for each object of the array; none when the member is absent.
  template <typename Element>
  std::vector<Element> list(const std::string& name, const std::function<Element(ObjectReader&)>& read) {
    std::vector<Element> elements;
    each(name, [&](ObjectReader& reader) { elements.push_back(read(reader)); });
    return elements;
  }

  /// None when the member is absent.
  template <typename Element>
  std::optional<Element> object(const std::string& name, const std::function<Element(ObjectReader&)>& read) {
    std::optional<Element> element;
    section(name, [&](ObjectReader& reader) { element = read(reader); });
    return element;
  }

  /// Calls `read` for the member, an object, and refuses members of it that it did not ask for; false when it is
  /// absent.
  bool section(const std::string& name, const std::function<void(ObjectReader&)>& read);

  /// Calls `read` for each object of the array and refuses members that it did not ask for.
  void each(const std::string& name, const std::function<void(ObjectReader&)>& read);

  /// A reader for each object of the array, to be finished by the caller; for what must be read after other members.
  std::vector<ObjectReader> objects(const std::string& name);

  /// Refuses members that nobody asked for.
  void finish() const;

  [[noreturn]] void fail(const std::string& name, const std::string& what) const;

 private:
  bool same_name(const std::string& left, const std::string& right) const;
  const Json* member(const std::string& name) const;
  const Json* find(const std::string& name);
  std::int64_t whole_number(const Json& value) const;
  std::string path(const std::string& name) const;

  const Json& value_;
  std::string place_;
  Form form_;
  std::set<std::string> known_;
};

}  // namespace sim
