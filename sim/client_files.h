// Files that point a client at a running simulator.
#pragma once

#include <filesystem>

#include "sim/simulator.h"

namespace sim {

/// Writes into the directory (made when absent), each 0600:
///   azurestack.conf    settings: the authority to trust, the login host
///   credentials        the credentials store for AAD, when the world has a client
///   credentials-adfs   the one for AD FS, and
///   adfs-password      the user as "user:password", when the world has one
/// The first client and the first user of the world are taken. Throws std::system_error.
void write_client_files(const std::filesystem::path& directory, const Simulator& simulator, const World& world);

}  // namespace sim
