#include "bench/nginx_server.h"

#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "bench/descriptor.h"
#include "bench/range_server.h"

namespace bench {
namespace {

// The module that makes nginx take x-ms-range for Range without a second hop.
constexpr const char* kModule = "/usr/lib/nginx/modules/ngx_http_headers_more_filter_module.so";
constexpr const char* kProgram = "/usr/sbin/nginx";

void WriteConfiguration(const std::string& folder, std::uint16_t port) {
  std::ofstream(folder + "/nginx.conf") << "load_module " << kModule << ";\n"
                                        << "daemon off;\nmaster_process off;\npid " << folder << "/pid;\n"
                                        << "error_log stderr warn;\nevents {}\n"
                                        << "http {\n  access_log off;\n  sendfile on;\n  tcp_nopush on;\n"
                                        << "  keepalive_requests 1000000000;\n  client_body_temp_path " << folder
                                        << "/body;\n  server {\n    listen 127.0.0.1:" << port << ";\n    root "
                                        << folder << "/files;\n    more_set_input_headers 'Range: $http_x_ms_range';\n"
                                        << "    add_header x-ms-blob-type PageBlob;\n  }\n}\n";
}

}  // namespace

NginxServer::NginxServer(std::uint64_t size) : port_(FreePort()) {
  if (!std::filesystem::exists(kProgram) || !std::filesystem::exists(kModule)) {
    throw std::runtime_error("nginx is missing: apt-get install nginx-light libnginx-mod-http-headers-more-filter");
  }
  const std::string file = folder_.path() + "/files/account/container/disk.vhd";
  std::filesystem::create_directories(folder_.path() + "/files/account/container");
  std::ofstream(file).close();
  std::filesystem::resize_file(file, size);
  // Started by root, nginx reads its files as another user.
  std::filesystem::permissions(folder_.path(), std::filesystem::perms(0755));
  WriteConfiguration(folder_.path(), port_);
  process_ = std::make_unique<ChildProcess>(
      std::vector<std::string>{kProgram, "-p", folder_.path(), "-c", folder_.path() + "/nginx.conf"});
  AwaitPort(port_, "nginx");
}

std::string NginxServer::address() const { return AddressAt(port_); }

}  // namespace bench
