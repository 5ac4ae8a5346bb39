// The blob client gives up a transfer that is too slow for a minute, which curl measures by a clock of its own that no
// test can move. In this program, which is linked with "--wrap=curl_easy_setopt", it does so after a second.
#include <curl/curl.h>

#include <cstdarg>

extern "C" {

CURLcode __real_curl_easy_setopt(CURL* handle, CURLoption option, ...);

// Every option's value is a pointer or an integer of its size.
CURLcode __wrap_curl_easy_setopt(CURL* handle, CURLoption option, ...) {
  std::va_list values;
  va_start(values, option);
  const long value = option == CURLOPT_LOW_SPEED_TIME ? 1 : va_arg(values, long);
  va_end(values);
  return __real_curl_easy_setopt(handle, option, value);
}

}  // extern "C"
