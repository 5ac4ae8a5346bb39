// The footer of a fixed VHD: the last 512 bytes of the file, behind the disk's own bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace sim {

inline constexpr std::int64_t vhd_footer_size = 512;

/// The footer for a disk of so many bytes, a multiple of 512. Its id follows from the name.
std::string vhd_footer(std::string_view disk_name, std::int64_t disk_size);

/// What keeps a file of `file_size` bytes that ends with these from being a fixed VHD; empty when it is one.
std::string fixed_vhd_flaw(std::string_view last_bytes, std::int64_t file_size);

}  // namespace sim
