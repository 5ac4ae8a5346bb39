// Objects that a host gives back in a restore: metadata objects into the machine's configuration, disks into new blobs.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "src/base/logging.h"
#include "src/base/status.h"

struct aapi_object_s;

namespace azurestackpi {

/// Readies the object, a disk, for writing: its target is checked, its name fixed and its machine told to expect it.
/// The blob is a new one beside the one of an unmanaged disk's path, or for a managed disk one of the staging account
/// that is there until it is closed. Nothing is made yet. Returns 0, or why the target is refused: the status of
/// ValidateRestoreTarget.
Status OpenRestoredDisk(const FunctionLog& log, aapi_object_s& object);

/// Ends the writing, and makes the managed disk out of its blob. The machine can be recovered with this disk only when
/// that returned 0. Returns the status of DiskImageWriter::Close or of the import.
Status CloseRestoredDisk(const FunctionLog& log, aapi_object_s& object);

/// Takes the data of a metadata object, up to the first zero byte; those of an object whose value stands in its name
/// alone are dropped. Returns 0.
Status WriteRestoredMetadata(const FunctionLog& log, const std::string& path, std::string_view data,
                             std::uint64_t offset, std::uint64_t& bytes_written);

}  // namespace azurestackpi
