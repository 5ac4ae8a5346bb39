// The blob service that all tests of a run of ctest share. The programs that use it are told to CMake with
// discover_azurite_tests.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace azurite {

/// The port of 127.0.0.1 on which it speaks plain http. It takes the account from the first part of the host's name or,
/// for 127.0.0.1 itself, from the path. Throws std::runtime_error when it does not run, as do the others.
std::uint16_t port();

/// The keys of every account by its name, in base64: the accounts of the simulator's demonstration world, "acctone"
/// with one key, "accttwo" with two, and one for each flow of the fault matrix ("faultsbackup").
std::map<std::string, std::vector<std::string>> accounts();

/// The first key of an account; throws std::out_of_range when there is no such account.
std::string key(const std::string& account);

/// A name that no other test uses, also none that runs at the same time; the container is not made.
std::string new_container_name();

}  // namespace azurite
