// Azurite in memory, with one account.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "bench/child_process.h"

namespace bench {

class AzuriteServer {
 public:
  /// Throws std::runtime_error when it does not start, as when its packages are not installed.
  AzuriteServer();

  /// Makes a page blob of that size, all zeros.
  void MakeBlob(const std::string& name, std::uint64_t size) const;

  /// Address of a blob with the right to read and write it.
  std::string AddressOf(const std::string& name) const;

 private:
  TemporaryFolder folder_;
  std::unique_ptr<ChildProcess> process_;
  std::uint16_t port_;
};

}  // namespace bench
