#include "sim/tls_stream.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <string_view>

namespace sim {
namespace {

constexpr std::size_t longest_head = 128UL * 1024;
constexpr std::size_t output_piece = 64UL * 1024;

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view blanks = " \t\r\n";
  const std::size_t begin = text.find_first_not_of(blanks);
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

/// Cuts the text up to the mark off `rest`, all of it when the mark is missing.
std::string_view take_until(std::string_view& rest, char mark) {
  const std::size_t end = std::min(rest.find(mark), rest.size());
  const std::string_view taken = rest.substr(0, end);
  rest.remove_prefix(std::min(end + 1, rest.size()));
  return taken;
}

Request parse_head(std::string_view text) {
  Request head;
  std::string_view line = take_until(text, '\n');
  head.method = take_until(line, ' ');
  head.target = take_until(line, ' ');
  while (!text.empty()) {
    line = trimmed(take_until(text, '\n'));
    if (line.empty()) continue;
    const std::string_view name = take_until(line, ':');
    head.headers.emplace_back(name, trimmed(line));
  }
  head.host = find_header(head.headers, "Host").value_or("");
  return head;
}

sockaddr_in address_of(socket_t socket, decltype(getpeername)* get) {
  sockaddr_in address{};
  socklen_t size = sizeof address;
  get(socket, reinterpret_cast<sockaddr*>(&address), &size);
  return address;
}

void split(const sockaddr_in& address, std::string& ip, int& port) {
  std::array<char, INET_ADDRSTRLEN> text{};
  if (inet_ntop(AF_INET, &address.sin_addr, text.data(), text.size()) != nullptr) ip = text.data();
  port = ntohs(address.sin_port);
}

}  // namespace

TlsStream::TlsStream(SSL_CTX* context, socket_t socket) : socket_(socket) {
  if (context == nullptr) return;
  ssl_.reset(SSL_new(context));
  require(ssl_ != nullptr, "making a TLS session");
  require(SSL_set_fd(ssl_.get(), socket) == 1, "giving a TLS session its socket");
}

bool TlsStream::handshake() {
  if (!ssl_) return true;
  const bool succeeded = SSL_accept(ssl_.get()) == 1;
  ERR_clear_error();
  return succeeded;
}

bool TlsStream::await_request() {
  head_text_.clear();
  head_ = Request{};
  head_complete_ = false;
  return input_begin_ != input_end_ || fill();
}

int TlsStream::receive(char* data, int size) {
  if (!ssl_) return static_cast<int>(::recv(socket_, data, static_cast<std::size_t>(size), 0));
  const int count = SSL_read(ssl_.get(), data, size);
  ERR_clear_error();
  return count;
}

int TlsStream::send(const char* data, int size) {
  if (!ssl_) return static_cast<int>(::send(socket_, data, static_cast<std::size_t>(size), MSG_NOSIGNAL));
  const int count = SSL_write(ssl_.get(), data, size);
  ERR_clear_error();
  return count;
}

bool TlsStream::fill() {
  if (!flush()) return false;  // the client may be waiting for it
  const int count = receive(input_.data(), static_cast<int>(input_.size()));
  if (count <= 0) {
    broken_ = true;
    return false;
  }
  input_begin_ = 0;
  input_end_ = static_cast<std::size_t>(count);
  return true;
}

ssize_t TlsStream::read(char* data, std::size_t size) {
  // The library reads a body without a declared length up to the connection's end; here, as the protocol wants it, such
  // a request has no body.
  if (head_complete_ && !has_body_) return 0;
  if (input_begin_ == input_end_ && !fill()) return -1;
  size = std::min(size, input_end_ - input_begin_);
  if (!head_complete_) return static_cast<ssize_t>(read_head(data, size));
  std::copy_n(input_.data() + input_begin_, size, data);
  input_begin_ += size;
  return static_cast<ssize_t>(size);
}

/// Gives out bytes up to the head's end at most, keeping a copy.
std::size_t TlsStream::read_head(char* data, std::size_t size) {
  std::size_t count = 0;
  while (count < size && !head_complete_) {
    const char byte = input_[input_begin_++];
    data[count++] = byte;
    head_text_.push_back(byte);
    if (head_text_.ends_with("\n\r\n")) finish_head();
  }
  if (head_text_.size() > longest_head) broken_ = true;
  return count;
}

void TlsStream::finish_head() {
  head_complete_ = true;
  head_ = parse_head(head_text_);
  head_.client_port = client_port();
  has_body_ = find_header(head_.headers, "Content-Length") || find_header(head_.headers, "Transfer-Encoding");
}

ssize_t TlsStream::write(const char* data, std::size_t size) {
  if (broken_) return -1;
  output_.append(data, size);
  if (output_.size() >= output_piece && !flush()) return -1;
  return static_cast<ssize_t>(size);
}

bool TlsStream::flush() {
  // A blocking socket takes everything at once, except when a signal comes in between.
  for (std::size_t sent = 0; sent < output_.size() && !broken_;) {
    const int count = send(output_.data() + sent, static_cast<int>(output_.size() - sent));
    broken_ = count <= 0;
    if (!broken_) sent += static_cast<std::size_t>(count);
  }
  output_.clear();
  return !broken_;
}

void TlsStream::close() {
  if (flush() && ssl_) SSL_shutdown(ssl_.get());
  ERR_clear_error();
  if (!ssl_) ::shutdown(socket_, SHUT_RDWR);
  broken_ = true;
}

void TlsStream::reset() {
  flush();
  // Connecting a TCP socket to no address at all makes Linux drop the connection with a reset at once; SO_LINGER would
  // do it only when the socket is closed, after the good-byes of the layers above.
  const sockaddr nowhere{AF_UNSPEC, {}};
  static_cast<void>(connect(socket_, &nowhere, sizeof nowhere));
  broken_ = true;
}

bool TlsStream::wait(std::chrono::milliseconds duration) {
  pollfd socket{socket_, POLLIN, 0};
  return flush() && poll(&socket, 1, static_cast<int>(duration.count())) == 0;
}

std::uint16_t TlsStream::client_port() const { return ntohs(address_of(socket_, getpeername).sin_port); }

void TlsStream::get_remote_ip_and_port(std::string& ip, int& port) const {
  split(address_of(socket_, getpeername), ip, port);
}

void TlsStream::get_local_ip_and_port(std::string& ip, int& port) const {
  split(address_of(socket_, getsockname), ip, port);
}

}  // namespace sim
