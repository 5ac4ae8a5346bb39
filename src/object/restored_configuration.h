// A machine's configuration in a restore session, put together from its metadata objects as the host gives them back.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "src/base/status.h"

namespace azurestackpi {

/// A piece of the data of a metadata object.
struct MetadataPiece {
  std::string_view text;     // empty: none, what is there stays
  std::uint64_t offset = 0;  // 0: in place of what is there; else behind it
};

/// Takes one object of a machine into the machine's entry of vm_details_recovery_map, which is made when there is none:
/// the value from the path, ".../Metadata/KEY=VALUE", and with it the object's data. The staging account goes into
/// vm_staging_sta_map, still to be found. keep_original: the path is the machine's own, which is to come back as it was
/// backed up. Returns 0, also for an object that no machine is configured by; 6601 for a path without a machine, and
/// for one whose value holds a "=", with a line.
Status azurestackpi_set_vm_details(const std::string& path, bool keep_original, const MetadataPiece& data);

/// Where the machine of that object was, by its saved description ("westeurope"); empty when that is not known.
std::string SavedLocation(const std::string& path);

}  // namespace azurestackpi
