// JSON objects read by tables: which member goes into which field of a record.
#pragma once

#include <jansson.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <iterator>
#include <string>
#include <string_view>
#include <variant>

#include "src/base/logging.h"

namespace azurestackpi {

/// Whether a value is also printed on standard output.
enum class Echo { kNone, kStandardOutput };

/// One member: its key and where its value goes, a field of that type or a function for a member with an inner form.
/// A value of another type is left out.
template <typename Record>
class Field {
 public:
  using Reader = void (*)(json_t* value, Record& record);
  using Target = std::variant<std::string Record::*, std::int64_t Record::*, bool Record::*, Reader>;

  // The line number in the log is that of the table's row, which names the field.
  constexpr Field(const char* key, Target target, Echo echo = Echo::kNone, int line = __builtin_LINE())
      : key_(key), target_(target), echo_(echo), line_(line) {}

  bool Reads(std::string_view key) const { return key == key_; }

  void Read(const FunctionLog& log, json_t* value, Record& record) const {
    std::visit([&](auto target) { Store(log, target, value, record); }, target_);
  }

 private:
  void Store(const FunctionLog& log, std::string Record::*field, json_t* value, Record& record) const {
    if (json_is_string(value)) {
      record.*field = json_string_value(value);
      log.detail("line: %d, %s = %s", line_, key_, json_string_value(value));
      if (echo_ == Echo::kStandardOutput) {
        std::printf("%s: %s\n", key_, json_string_value(value));
      }
    }
  }

  void Store(const FunctionLog& log, std::int64_t Record::*field, json_t* value, Record& record) const {
    if (json_is_integer(value)) {
      const json_int_t number = json_integer_value(value);
      record.*field = number;
      log.detail("line: %d, %s = %lld", line_, key_, number);
      if (echo_ == Echo::kStandardOutput) {
        std::printf("%s: %lld\n", key_, number);
      }
    }
  }

  void Store(const FunctionLog& log, bool Record::*field, json_t* value, Record& record) const {
    if (json_is_boolean(value)) {
      record.*field = json_is_true(value);
      log.detail("line: %d, %s = %s", line_, key_, json_is_true(value) ? "True" : "False");
    }
  }

  void Store(const FunctionLog& /*log*/, Reader reader, json_t* value, Record& record) const { reader(value, record); }

  const char* key_;
  Target target_;
  Echo echo_;
  int line_;
};

/// Fills a record from an object's members in their order; keys without a row, and values that are no object, are
/// passed over. function: the name that the log lines carry.
template <typename Record, std::size_t Rows>
void ReadFields(const char* function, const Field<Record> (&table)[Rows], json_t* object, Record& record) {
  const FunctionLog log(function);
  const char* key = nullptr;
  json_t* value = nullptr;
  json_object_foreach(object, key, value) {
    const auto row =
        std::find_if(std::begin(table), std::end(table), [&](const Field<Record>& field) { return field.Reads(key); });
    if (row != std::end(table)) {
      row->Read(log, value, record);
    }
  }
}

}  // namespace azurestackpi
