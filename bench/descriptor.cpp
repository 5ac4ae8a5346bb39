#include "bench/descriptor.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <cerrno>
#include <chrono>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>

namespace bench {
namespace {

sockaddr_in LoopbackAddress(std::uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

Descriptor NewSocket() { return Checked(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket"); }

void Check(int result, const char* what) {
  if (result < 0) throw std::system_error(errno, std::generic_category(), what);
}

}  // namespace

Descriptor Checked(int descriptor, const char* what) {
  Check(descriptor, what);
  return Descriptor(descriptor);
}

Listener::Listener() : socket(NewSocket()) {
  sockaddr_in address = LoopbackAddress(0);
  socklen_t size = sizeof address;
  auto* const plain = reinterpret_cast<sockaddr*>(&address);
  Check(bind(socket.get(), plain, size), "bind");
  Check(listen(socket.get(), SOMAXCONN), "listen");
  Check(getsockname(socket.get(), plain, &size), "getsockname");
  port = ntohs(address.sin_port);
}

Descriptor Connect(std::uint16_t port) {
  Descriptor connection = NewSocket();
  const sockaddr_in address = LoopbackAddress(port);
  Check(connect(connection.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), "connect");
  return connection;
}

void SendAtOnce(int socket) {
  const int on = 1;
  setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

void AwaitPort(std::uint16_t port, const char* name) {
  for (int i = 0; i < 1000; ++i) {
    try {
      Connect(port);
      return;
    } catch (const std::system_error&) {
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
  }
  throw std::runtime_error(std::string(name) + " does not answer");
}

std::uint16_t FreePort() { return Listener().port; }

}  // namespace bench
