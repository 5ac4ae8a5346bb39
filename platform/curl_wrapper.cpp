#include "platform/curl_wrapper.h"

#include <memory>
#include <new>
#include <vector>

namespace {

struct HandleDeleter {
  void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
};
struct ShareDeleter {
  void operator()(CURLSH* share) const { curl_share_cleanup(share); }
};
using Handle = std::unique_ptr<CURL, HandleDeleter>;
using Share = std::unique_ptr<CURLSH, ShareDeleter>;

// What the handles of one thread have in common. Each thread has its own, so no lock functions are needed or set.
struct ThreadPool {
  Share share;               // connections, DNS answers, TLS sessions
  std::vector<Handle> idle;  // ready for the next request: a handle's first request costs more than its later ones
};

constexpr std::size_t kMostIdleHandles = 3;  // a request, the poll of its operation, and a login between two polls

ThreadPool& thread_pool() {
  thread_local ThreadPool pool;
  return pool;
}

Share new_share() {
  Share share(curl_share_init());
  if (share) {
    for (const curl_lock_data kind : {CURL_LOCK_DATA_CONNECT, CURL_LOCK_DATA_DNS, CURL_LOCK_DATA_SSL_SESSION}) {
      curl_share_setopt(share.get(), CURLSHOPT_SHARE, kind);
    }
  }
  return share;
}

}  // namespace

CURLcode CVGSS_curl_global_init(long flags) { return curl_global_init(flags); }

CURL* CVGSS_curl_easy_init() {
  ThreadPool& pool = thread_pool();
  if (!pool.idle.empty()) {
    CURL* const handle = pool.idle.back().release();
    pool.idle.pop_back();
    return handle;
  }
  CURL* const handle = curl_easy_init();
  if (handle == nullptr) {
    return nullptr;
  }
  if (!pool.share) {
    pool.share = new_share();
  }
  if (pool.share) {
    curl_easy_setopt(handle, CURLOPT_SHARE, pool.share.get());
  }
  return handle;
}

void CVGSS_curl_easy_cleanup(CURL* handle) {
  Handle owned(handle);
  if (!owned) {
    return;
  }
  // Options go, callbacks and their data above all; connections and the share stay.
  curl_easy_reset(owned.get());
  ThreadPool& pool = thread_pool();
  if (pool.idle.size() < kMostIdleHandles) {
    try {
      pool.idle.push_back(std::move(owned));
    } catch (const std::bad_alloc&) {
      // Not kept, then.
    }
  }
}

CURLcode CVGSS_curl_easy_perform(CURL* handle) { return curl_easy_perform(handle); }

const char* CVGSS_curl_easy_strerror(CURLcode code) { return curl_easy_strerror(code); }

curl_slist* CVGSS_curl_slist_append(curl_slist* list, const char* text) { return curl_slist_append(list, text); }

void CVGSS_curl_slist_free_all(curl_slist* list) { curl_slist_free_all(list); }

namespace platform {

void drop_connections() {
  ThreadPool& pool = thread_pool();
  pool.idle.clear();
  // A share that a live handle still uses refuses to go; its connections then close with that handle's thread.
  if (pool.share && curl_share_cleanup(pool.share.get()) == CURLSHE_OK) {
    static_cast<void>(pool.share.release());
  }
}

}  // namespace platform
