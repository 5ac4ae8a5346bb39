// curl measures a transfer's speed by a clock of its own that no test can move. This program is linked with
// "--wrap=curl_easy_setopt", so that the option for it passes here.
#include "tests/fault_matrix/stall_time.h"

#include <curl/curl.h>

#include <cstdarg>

namespace {

bool is_short = false;

}  // namespace

namespace fault_matrix {

ShortStallTime::ShortStallTime() { is_short = true; }
ShortStallTime::~ShortStallTime() { is_short = false; }

}  // namespace fault_matrix

extern "C" {

CURLcode __real_curl_easy_setopt(CURL* handle, int option, ...);

// Every option's value is a pointer or an integer of its size.
CURLcode __wrap_curl_easy_setopt(CURL* handle, int option, ...) {
  std::va_list values;
  va_start(values, option);
  const long value = is_short && option == CURLOPT_LOW_SPEED_TIME ? 1 : va_arg(values, long);
  va_end(values);
  return __real_curl_easy_setopt(handle, option, value);
}

}  // extern "C"
