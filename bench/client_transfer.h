// The storage client as its callers use it, and checks of what it asked for.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "bench/range_server.h"

namespace bench {

/// Takes bytes read at an offset.
using Consumer = std::function<void(std::uint64_t offset, const std::byte* data, std::size_t size)>;
inline void Ignore(std::uint64_t /*offset*/, const std::byte* /*data*/, std::size_t /*size*/) {}

/// Ranges of the blob, as the client says.
std::vector<PageRange> ListRanges(const std::string& address);

/// Reads the ranges in pieces of at most 4 MiB.
void ReadRanges(const std::string& address, const std::vector<PageRange>& ranges, const Consumer& consumer = Ignore);

/// Asks for the ranges that hold data and reads them.
void ReadBlob(const std::string& address, const Consumer& consumer = Ignore);

/// Writes the blocks, with what ContentOf says.
void WriteBlocks(const std::string& address, const std::vector<PageRange>& blocks, const std::vector<std::byte>& data);

/// Whether the requests of that kind cover `wanted` and nothing else, no byte twice. Prints how many there were.
bool CoverExactly(const std::vector<Request>& requests, Verb verb, const std::vector<PageRange>& wanted);

/// Random bytes without a zero among them, the same on every run.
std::vector<std::byte> RandomData(std::size_t size);

}  // namespace bench
