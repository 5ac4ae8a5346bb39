#include "platform/curl_wrapper.h"

#include <memory>

namespace {

struct ShareDeleter {
  void operator()(CURLSH* share) const { curl_share_cleanup(share); }
};
using Share = std::unique_ptr<CURLSH, ShareDeleter>;

Share new_share() {
  Share share(curl_share_init());
  if (share) {
    // One share a thread: no lock functions are needed, and none are set.
    for (const curl_lock_data kind : {CURL_LOCK_DATA_CONNECT, CURL_LOCK_DATA_DNS, CURL_LOCK_DATA_SSL_SESSION}) {
      curl_share_setopt(share.get(), CURLSHOPT_SHARE, kind);
    }
  }
  return share;
}

Share& thread_share() {
  thread_local Share share;
  return share;
}

}  // namespace

CURLcode CVGSS_curl_global_init(long flags) { return curl_global_init(flags); }

CURL* CVGSS_curl_easy_init() {
  CURL* handle = curl_easy_init();
  if (handle == nullptr) {
    return nullptr;
  }
  Share& share = thread_share();
  if (!share) {
    share = new_share();
  }
  if (share) {
    curl_easy_setopt(handle, CURLOPT_SHARE, share.get());
  }
  return handle;
}

void CVGSS_curl_easy_cleanup(CURL* handle) { curl_easy_cleanup(handle); }

CURLcode CVGSS_curl_easy_perform(CURL* handle) { return curl_easy_perform(handle); }

const char* CVGSS_curl_easy_strerror(CURLcode code) { return curl_easy_strerror(code); }

curl_slist* CVGSS_curl_slist_append(curl_slist* list, const char* text) { return curl_slist_append(list, text); }

void CVGSS_curl_slist_free_all(curl_slist* list) { curl_slist_free_all(list); }

namespace platform {

void drop_connections() {
  Share& share = thread_share();
  // A share that a live handle still uses refuses to go; its connections then close with that handle's thread.
  if (share && curl_share_cleanup(share.get()) == CURLSHE_OK) {
    static_cast<void>(share.release());
  }
}

}  // namespace platform
