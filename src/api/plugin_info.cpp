// The initialiser and the two tables it hands out.
#include "platform/bounded_text.h"
#include "src/api/entry_points.h"
#include "src/base/status.h"

namespace {

#define AZURESTACKPI_SLOT(name) .name = azurestackpi_##name##_v1,

// Designated initialisers hold the list to the table's order. Version 2 is a second name for the same behaviour.
constexpr aapi_entry_points_t PluginEntryPoints_v1 = {AZURESTACKPI_ENTRY_POINTS(AZURESTACKPI_SLOT).unused = {}};
constexpr aapi_entry_points_t PluginEntryPoints_v2 = PluginEntryPoints_v1;

#undef AZURESTACKPI_SLOT

}  // namespace

extern "C" std::uint32_t aapi_pgn_init(std::uint32_t version, void* /*reserved*/, aapi_plugin_info_t* info) {
  if (info == nullptr) {
    return azurestackpi::kInvalidArgument;
  }
  if (version != AAPI_INTERFACE_V1 && version != AAPI_INTERFACE_V2) {
    return azurestackpi::kVersionMismatch;
  }
  *info = aapi_plugin_info_t{};
  info->interface_version = version;
  info->entry_points = version == AAPI_INTERFACE_V1 ? &PluginEntryPoints_v1 : &PluginEntryPoints_v2;
  V_strlcpy(info->type_name, "azurestack", sizeof(info->type_name));
  V_strlcpy(info->description, "AzureStack Plugin", sizeof(info->description));
  info->flag_a = 1;
  info->flag_b = 0;
  info->words[0] = 2;
  info->words[1] = 0;
  info->words[2] = version;
  V_strlcpy(info->version_string, "v1.0 2017_12 AzureStack Plugin", sizeof(info->version_string));
  return azurestackpi::kOk;
}
