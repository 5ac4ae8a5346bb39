// libcurl's easy interface under the host's prefix, with libcurl's semantics. The one header of the project outside
// storage/ that brings in curl; new handles of a thread share its live connections, DNS answers and TLS sessions.
#pragma once

#include <curl/curl.h>

CURLcode CVGSS_curl_global_init(long flags);

/// A new easy handle, attached to the calling thread's connection pool; null when out of memory. To be released by
/// CVGSS_curl_easy_cleanup on the same thread.
CURL* CVGSS_curl_easy_init();
void CVGSS_curl_easy_cleanup(CURL* handle);

CURLcode CVGSS_curl_easy_perform(CURL* handle);
const char* CVGSS_curl_easy_strerror(CURLcode code);

curl_slist* CVGSS_curl_slist_append(curl_slist* list, const char* text);
void CVGSS_curl_slist_free_all(curl_slist* list);

// Variadic in libcurl only to take any one value; here the value's type is kept, and libcurl checks nothing more.
template <typename Value>
CURLcode CVGSS_curl_easy_setopt(CURL* handle, CURLoption option, Value value) {
  return curl_easy_setopt(handle, option, value);
}
template <typename Value>
CURLcode CVGSS_curl_easy_getinfo(CURL* handle, CURLINFO info, Value* value) {
  return curl_easy_getinfo(handle, info, value);
}

namespace platform {

/// Closes the calling thread's idle connections and forgets its DNS answers and TLS sessions; those of other threads
/// end with their thread. For when a server is closed. Easy handles still alive keep what they use.
void drop_connections();

}  // namespace platform
