// nginx with one process, serving a sparse file: how fast a good server is, as a measure of the benchmarks' own.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "bench/child_process.h"

namespace bench {

class NginxServer {
 public:
  /// size: of the file, in bytes. Throws std::runtime_error, saying what to install, when a part is missing.
  explicit NginxServer(std::uint64_t size);

  /// Address of the file. nginx obeys x-ms-range as it does Range.
  std::string address() const;

 private:
  TemporaryFolder folder_;
  std::uint16_t port_;
  std::unique_ptr<ChildProcess> process_;
};

}  // namespace bench
