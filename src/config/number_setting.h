// Whole numbers in the configuration.
#pragma once

#include <string>

namespace azurestackpi {

/// The setting as a decimal number, the nearest that a long holds; fallback when it is missing or not a number as a
/// whole.
long NumberSetting(const std::string& key, long fallback);

}  // namespace azurestackpi
