// The HTTPS or HTTP server below the simulator: connections, TLS and HTTP; what is answered is its handler's affair.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>

#include "sim/http_message.h"
#include "sim/openssl_owners.h"

namespace sim {

class HttpServer {
 public:
  /// Called for every well-formed request, from several threads at once. The answer to HEAD has no body, but may
  /// declare a length among its headers.
  using Handler = std::function<Reply(const Request&)>;

  /// Takes the port of 127.0.0.1, 0 for any free one, for itself. Without a context it speaks plain HTTP. Throws
  /// std::runtime_error when the port is taken.
  HttpServer(std::uint16_t port, SslContextPtr context);

  /// Cuts all connections and waits for the handlers that are at work.
  ~HttpServer();

  /// Begins to serve; called once. Connections stay open for as long as the client likes.
  void serve(Handler handler);

  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;

  std::uint16_t port() const;

  /// Connections accepted so far that got through their TLS handshake, if any.
  std::size_t connections() const;

 private:
  class Implementation;
  std::unique_ptr<Implementation> implementation_;
};

}  // namespace sim
