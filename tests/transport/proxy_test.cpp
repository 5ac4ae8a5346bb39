// Requests through a proxy: a real proxy process, with and without credentials.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/transport/open_server.h"

extern char** environ;

namespace transport_test {
namespace {

using azurestackpi::kOk;

sockaddr_in Loopback(std::uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

class Socket {
 public:
  Socket() : descriptor_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {}
  ~Socket() { close(descriptor_); }
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;

  bool Connect(std::uint16_t port) const {
    const sockaddr_in address = Loopback(port);
    return connect(descriptor_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
  }
  std::uint16_t BindToFreePort() const {
    sockaddr_in address = Loopback(0);
    socklen_t size = sizeof(address);
    EXPECT_EQ(bind(descriptor_, reinterpret_cast<const sockaddr*>(&address), size), 0);
    EXPECT_EQ(getsockname(descriptor_, reinterpret_cast<sockaddr*>(&address), &size), 0);
    return ntohs(address.sin_port);
  }

 private:
  int descriptor_;
};

/// A proxy that wants the user "proxy user" with a password, ended with the object.
class Proxy {
 public:
  Proxy(const test_support::TemporaryDirectory& folder, const std::string& user, const std::string& password)
      : port_(Socket().BindToFreePort()) {
    const std::string config = folder.write_file(
        "tinyproxy.conf", "Port " + std::to_string(port_) +
                              "\nListen 127.0.0.1\nTimeout 60\nAllow 127.0.0.1\nLogFile \"" + folder.path("proxy.log") +
                              "\"\nLogLevel Connect\nBasicAuth " + user + " " + password + "\n");
    std::string program = "tinyproxy";
    std::string option = "-d";
    std::string option_config = "-c";
    std::string config_argument = config;
    char* arguments[] = {program.data(), option.data(), option_config.data(), config_argument.data(), nullptr};
    EXPECT_EQ(posix_spawnp(&process_, "tinyproxy", nullptr, nullptr, arguments, environ), 0);
    // Ready when it answers; a connection that is refused comes back at once, so this asks again until then.
    int status = 0;
    while (!Socket().Connect(port_) && waitpid(process_, &status, WNOHANG) == 0) {
      sched_yield();
    }
  }
  ~Proxy() {
    kill(process_, SIGTERM);
    waitpid(process_, nullptr, 0);
  }
  Proxy(const Proxy&) = delete;
  Proxy& operator=(const Proxy&) = delete;

  std::string address() const { return "http://127.0.0.1:" + std::to_string(port_); }

 private:
  std::uint16_t port_;
  pid_t process_ = 0;
};

/// Both hosts by the address that the proxy can resolve, too: names under "localhost" are known to the client only.
class ProxyTest : public OpenServer {
 protected:
  ServerSetup ByAddress() const {
    ServerSetup setup = AadSetup();
    setup.server_name = "azurestack:" + Endpoint();
    setup.config["AAD_LOGIN_ENDPOINT"] = Endpoint();
    return setup;
  }
  std::string Endpoint() const { return "127.0.0.1:" + std::to_string(simulator.port()); }

  azurestackpi::Status SendByAddress() {
    Answer("/oauth2/token$", 200, {}, "{\"access_token\":\"a.b.c\",\"expires_in\":3600}");
    Answer("^/subscriptions", 200, {}, "{}");
    azurestackpi::HttpRequest request = Request();
    request.url = "https://" + Endpoint() + "/subscriptions";
    return Send(request);
  }

  const std::string password = "proxyPassword7";
  Proxy proxy{folder, "proxyuser", password};
};

TEST_F(ProxyTest, IsUsedWithItsCredentialsByTheKindOfTheCall) {
  ServerSetup setup = ByAddress();
  setup.config["CURL_VERBOSE"] = "true";
  for (const char* prefix : {"Internet", "Intranet"}) {
    setup.credentials[std::string(prefix) + "ProxyUrl"] = proxy.address();
    setup.credentials[std::string(prefix) + "ProxyUsername"] = "proxyuser";
    setup.credentials[std::string(prefix) + "ProxyPassword"] = password;
  }
  ASSERT_EQ(Open(setup), kOk);
  ASSERT_EQ(SendByAddress(), kOk) << log.text();
  EXPECT_TRUE(log.contains(3, "Using the Internet proxy : " + proxy.address()));
  EXPECT_TRUE(log.contains(3, "Using following creds for Intranet proxy : proxyuser:******"));
  EXPECT_TRUE(log.contains(1, "CONNECT 127.0.0.1"));
  EXPECT_EQ(response.header.rfind("HTTP/1.1 200 OK", 0), 0U) << "the proxy's own answer is left out";
  for (const std::string& secret : {password, std::string("cHJveHl1c2VyOnByb3h5UGFzc3dvcmQ3")}) {
    EXPECT_EQ(log.text().find(secret), std::string::npos) << secret;
  }
}

TEST_F(ProxyTest, ThePasswordInItsAddressIsNotLogged) {
  const std::string host = proxy.address().substr(7);
  for (const std::string& address : {"http://proxyuser:proxyPassword7@" + host, "proxyuser:proxyPassword7@" + host,
                                     "http://proxyuser:pro'xyPassword7@" + host, "http://u:pro/xyPassword7@" + host}) {
    ServerSetup setup = ByAddress();
    setup.credentials["InternetProxyUrl"] = address;
    ASSERT_EQ(Open(setup), kOk);
    static_cast<void>(Send(Request()));
    EXPECT_TRUE(log.contains(3, "Using the Internet proxy : "));
    EXPECT_EQ(log.text().find("xyPassword7"), std::string::npos) << address;
  }
}

}  // namespace
}  // namespace transport_test
