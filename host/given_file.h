// Files that the operator names and the plug-in reads. It goes on without one that it cannot open, so the host has to
// look for itself.
#pragma once

#include <string>

#include "host/file_descriptor.h"

namespace host {

/// Opens the file for reading. Throws UsageError ("PATH cannot be opened: WHY"), for a folder as well.
FileDescriptor open_given_file(const std::string& path);

/// True when group or others may read the file.
bool others_can_read(const FileDescriptor& file);

}  // namespace host
