#include "tests/azurite/azurite_server.h"

#include <curl/curl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace {

std::size_t append(const char* data, std::size_t size, std::size_t count, void* text) {
  static_cast<std::string*>(text)->append(data, size * count);
  return size * count;
}

TEST(AzuriteServer, KnowsItsAccountsAndAsksThemForASignature) {
  const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> curl(curl_easy_init(), curl_easy_cleanup);
  std::string body;
  curl_easy_setopt(curl.get(), CURLOPT_NOPROXY, "*");
  curl_easy_setopt(curl.get(), CURLOPT_WRITEFUNCTION, append);
  curl_easy_setopt(curl.get(), CURLOPT_WRITEDATA, &body);
  const auto answer = [&](const std::string& account) {
    const std::string url = "http://" + account + ".blob.localhost:" + std::to_string(azurite::port()) + "/" +
                            azurite::new_container_name() + "?restype=container";
    body.clear();
    curl_easy_setopt(curl.get(), CURLOPT_URL, url.c_str());
    EXPECT_EQ(curl_easy_perform(curl.get()), CURLE_OK);
    return body;
  };

  for (const auto& [account, keys] : azurite::accounts()) {
    EXPECT_THAT(answer(account), testing::HasSubstr("<Code>AuthorizationFailure</Code>")) << account;
  }
  EXPECT_THAT(answer("nobody"), testing::HasSubstr("<Code>ResourceNotFound</Code>"));
  EXPECT_NE(azurite::key("acctone"), azurite::key("accttwo"));
}

}  // namespace
