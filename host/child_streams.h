// What the standard descriptors of a child lead to.
#pragma once

#include <string>

#include "host/file_descriptor.h"

namespace host {

struct Pipe {
  FileDescriptor read;
  FileDescriptor write;
};

/// Both ends close when another program is started. Throws std::system_error, as do the others.
Pipe make_pipe();

/// A file in memory, mode 0600. There is always room in it: a pipe that nobody empties would block its writer.
FileDescriptor memory_file(const char* name);

/// /dev/null, for reading.
FileDescriptor null_input();

/// All that stands in a file, wherever its offset is.
std::string content(const FileDescriptor& file);

}  // namespace host
