// Where a saved disk holds data, without its data being read back.
#pragma once

#include <vector>

#include "host/restore_plan.h"
#include "host/saved_stream.h"

namespace host {

/// In ascending order. streams are those of the repository. Throws DamagedStream, and as Restic does.
std::vector<DataRange> read_ranges(const Restic& restic, const StoredStreams& streams, const SavedDisk& disk);

}  // namespace host
