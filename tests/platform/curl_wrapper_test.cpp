#include "platform/curl_wrapper.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

struct Return {
  void operator()(CURL* handle) const { CVGSS_curl_easy_cleanup(handle); }
};
using Handle = std::unique_ptr<CURL, Return>;

const char* Private(const Handle& handle) {
  const char* value = nullptr;
  CVGSS_curl_easy_getinfo(handle.get(), CURLINFO_PRIVATE, &value);
  return value;
}

// Handles are used again: nothing of a request, its credentials above all, may reach the next one.
TEST(CurlWrapper, AHandleUsedAgainHasForgottenItsOptions) {
  CURL* first = nullptr;
  {
    const Handle handle(CVGSS_curl_easy_init());
    first = handle.get();
    CVGSS_curl_easy_setopt(handle.get(), CURLOPT_PRIVATE, "request");
    ASSERT_STREQ(Private(handle), "request");
  }
  const Handle again(CVGSS_curl_easy_init());
  EXPECT_EQ(again.get(), first);
  EXPECT_EQ(Private(again), nullptr);
  const Handle other(CVGSS_curl_easy_init());
  EXPECT_NE(other.get(), again.get());
}

TEST(CurlWrapper, ConnectionsCanBeDroppedUnderALiveHandle) {
  const Handle live(CVGSS_curl_easy_init());
  platform::drop_connections();
  CVGSS_curl_easy_cleanup(nullptr);
  const Handle next(CVGSS_curl_easy_init());
  EXPECT_EQ(CVGSS_curl_easy_setopt(live.get(), CURLOPT_URL, "file:///dev/null"), CURLE_OK);
  EXPECT_EQ(CVGSS_curl_easy_perform(live.get()), CURLE_OK);
}

}  // namespace
