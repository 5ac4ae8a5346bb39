#include "src/config/number_setting.h"

#include <cstdlib>

#include "src/config/config.h"

namespace azurestackpi {

long NumberSetting(const std::string& key, long fallback) {
  const std::string text = AzureStackPi_Config::getInstance().ConfValueOr(key, "");
  char* end = nullptr;
  const long number = std::strtol(text.c_str(), &end, 10);
  return text.empty() || *end != '\0' ? fallback : number;
}

}  // namespace azurestackpi
