// One connection of the server, with TLS or without, as the HTTP library's stream.
#pragma once

#include <httplib.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

#include "sim/http_message.h"
#include "sim/openssl_owners.h"

namespace sim {

/// Stands between the HTTP library and the socket for three things that the library's own stream cannot do: it keeps
/// each request's head exactly as received, it can reset the connection, and it reads and writes in large pieces.
/// Works on a blocking socket, which its owner shuts down to end a wait.
class TlsStream final : public httplib::Stream {
 public:
  /// The socket stays the caller's. Without a context there is no TLS: all is plain.
  TlsStream(SSL_CTX* context, socket_t socket);

  /// False when the client broke off or speaks no TLS. Nothing to do, and true, without TLS.
  bool handshake();

  /// Waits for the first byte of the next request and forgets the one before. False at the connection's end.
  bool await_request();

  /// Method, target, host and headers of the current request, complete as soon as the library has read its head.
  const Request& head() const { return head_; }
  bool head_complete() const { return head_complete_; }

  /// Sends what was written so far. False when the connection is broken.
  bool flush();

  /// Says good-bye, in TLS too, so that the client can tell an end from a cut.
  void close();

  /// Sends what was written and then a TCP reset in place of a good-bye.
  void reset();

  /// Waits for so long, or less when the connection ends. False at the connection's end. To be called between a
  /// request and the next one, when the client has nothing to say.
  bool wait(std::chrono::milliseconds duration);

  std::uint16_t client_port() const;

  bool is_readable() const override { return !broken_; }
  bool is_writable() const override { return !broken_; }
  ssize_t read(char* data, std::size_t size) override;
  ssize_t write(const char* data, std::size_t size) override;
  void get_remote_ip_and_port(std::string& ip, int& port) const override;
  void get_local_ip_and_port(std::string& ip, int& port) const override;
  socket_t socket() const override { return socket_; }

 private:
  /// Bytes received or sent, not positive at the connection's end; as SSL_read and SSL_write.
  int receive(char* data, int size);
  int send(const char* data, int size);
  bool fill();
  std::size_t read_head(char* data, std::size_t size);
  void finish_head();

  SslPtr ssl_;  // empty without TLS
  socket_t socket_;
  bool broken_ = false;

  std::array<char, 16UL * 1024> input_;  // one TLS record
  std::size_t input_begin_ = 0;
  std::size_t input_end_ = 0;
  std::string output_;

  std::string head_text_;
  Request head_;
  bool head_complete_ = false;
  bool has_body_ = false;
};

}  // namespace sim
