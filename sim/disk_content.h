// What the disks of a world hold.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "sim/object_reader.h"
#include "sim/resources.h"

namespace sim {

/// The members "content", or "dataMB" and "fragments", of a disk in a world file. Throws like ObjectReader, also for
/// ranges beyond the disk's end or such that overlap.
DiskContent read_disk_content(ObjectReader& reader, std::int64_t size_gb);

/// Where a disk of so many bytes holds data, in ascending order.
std::vector<ByteRange> data_ranges(const DiskContent& content, std::int64_t disk_size);

/// `size` bytes at `offset` of the disk of this name, both multiples of 8: the same for the same name and place, and
/// different at every other. No sector of them is zeros.
std::string disk_data(std::string_view disk_name, std::int64_t offset, std::int64_t size);

}  // namespace sim
