// The last step of restoring a managed disk: the temporary blob that holds its bytes becomes the disk.
#pragma once

#include <cstdint>
#include <string>

#include "src/base/status.h"
#include "src/blob/md_metadata.h"

namespace azurestackpi {

/// Makes the managed disk of target out of the temporary VHD at vhd_uri, then deletes that VHD, whatever came of it; a
/// disk of that id that exists is left alone and is a failure. location: the region; vhd_size: bytes, told as whole GiB
/// rounded down. Returns 0 when the disk is there; 6622 when it could not be made, with a line that says why (the VHD
/// stays only when no address can be formed); or why the login's settings could not be read.
Status azurestack_convertblob_to_manageddisk(const std::string& server_name, const std::string& object_path,
                                             const std::string& vhd_uri, const std::string& location,
                                             std::uint64_t vhd_size, const md_metadata& target);

/// Whether the managed disk of target is there, with an error line then. False when it cannot be told: the import asks
/// again.
bool IsManagedDiskThere(const std::string& server_name, const md_metadata& target);

}  // namespace azurestackpi
