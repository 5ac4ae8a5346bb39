// How the storage client speaks to the service.
#pragma once

#include <cstdint>
#include <string>

namespace azurestoragewrapper {

/// Takes the client's log lines; level 1 detail, 2 warning, 3 flow, 4 error. text lives for the call only.
using log_callback = void (*)(std::uint32_t level, const char* text);

/// Called before pauses and between the steps of what can take long, with the caller's name; its result is not used.
using keepalive_callback = std::uint32_t (*)(const char* caller);

struct client_options {
  log_callback log = nullptr;
  keepalive_callback keepalive = nullptr;
  std::string api_version = "2015-04-05";  // x-ms-version: what every Azure Stack answers
  bool verify_tls = true;                  // of https addresses: certificate and host name
  std::string ca_file;                     // PEM file of the authorities to trust; empty: the system's
  std::string proxy;                       // "host:port" or an address; empty: what the environment says
  std::string proxy_credentials;           // "user:password" of the proxy
  long connect_timeout_seconds = 60;
  long stall_timeout_seconds = 60;  // a transfer slower than 1 KiB a second for this long is given up
  int requests_in_flight = 0;       // of a stream; 0: as many as the wait for answers makes worth it
  int most_repeats = 4;  // of a request that may be sent again; pauses of 1, 2, 4, 8 s or as the service asks
};

}  // namespace azurestoragewrapper
