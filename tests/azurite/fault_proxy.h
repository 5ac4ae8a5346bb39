// A proxy between a client and the blob service that makes faults happen and writes down what it sees.
#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "sim/http_message.h"
#include "sim/http_server.h"
#include "tests/azurite/proxy_fault.h"
#include "tests/azurite/upstream.h"

namespace azurite {

/// A request that the proxy received.
struct SeenRequest {
  std::string method;
  std::string target;
  sim::Headers headers;
  std::size_t body_bytes = 0;
  std::uint16_t client_port = 0;  // tells the connections apart
  int status = 0;                 // of the answer, also of one that was cut; 0: none was sent, or none yet
};

/// Speaks plain http on a free port of 127.0.0.1 and passes everything on as it came, Host included. Behind it the
/// service seems stricter than it is: see strictness.h. Faults may be added while it serves.
class FaultProxy {
 public:
  /// In front of a server on a port of 127.0.0.1; nothing connects to that before a request comes.
  explicit FaultProxy(std::uint16_t server_port);

  FaultProxy(const FaultProxy&) = delete;
  FaultProxy& operator=(const FaultProxy&) = delete;

  std::uint16_t port() const { return server_.port(); }

  void add(ProxyFault fault);

  /// Ends all faults, used or not.
  void clear_faults();

  /// One line for each fault that no request got.
  std::vector<std::string> unused_faults() const;

  /// All requests so far, in the order of their coming.
  std::vector<SeenRequest> requests() const;

  /// Forgets them; none may be under way.
  void clear_requests();

  /// Connections accepted so far.
  std::size_t connections() const { return server_.connections(); }

 private:
  sim::Reply answer(const sim::Request& request);
  sim::Reply faulty_answer(const sim::Request& request, const ProxyAction& action);
  sim::Response forward(const sim::Request& request);

  Upstream upstream_;
  mutable std::mutex mutex_;  // of the two below
  ProxyFaultList faults_;
  std::vector<SeenRequest> requests_;
  sim::HttpServer server_;  // the last one, so that it is gone before what its handler uses
};

}  // namespace azurite
