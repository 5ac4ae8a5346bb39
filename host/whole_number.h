// Whole numbers in JSON from outside. The library turns any number into any type, also one that does not fit.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>

namespace host {

/// Throws nlohmann::json::exception unless the value is a whole number from 0 to 2^64 - 1.
inline std::uint64_t whole_number(const nlohmann::ordered_json& value) {
  return value.get_ref<const nlohmann::ordered_json::number_unsigned_t&>();
}

}  // namespace host
