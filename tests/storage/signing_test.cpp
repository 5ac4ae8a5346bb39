// The bytes that are signed and sent. The signatures were computed apart from this code, by Python's hmac over the
// texts that the service documents; that the service takes them is shown by the tests against a real one.
#include <gtest/gtest.h>

#include <array>

#include "storage/azurestorage_exception.h"
#include "storage/blob_access.h"
#include "storage/wire.h"

namespace azurestoragewrapper {
namespace {

constexpr std::time_t kNow = 1795377697;  // Sun, 22 Nov 2026 20:01:37 GMT
const std::string kAccount =
    "DefaultEndpointsProtocol=http;AccountName=AcctOne;AccountKey=a2V5a2V5;EndpointSuffix=Local.example:8080";

std::string authorization(const SignedRequest& request) {
  for (const std::string& line : request.header_lines) {
    if (line.starts_with("Authorization: ")) return line.substr(15);
  }
  return {};
}

TEST(Signing, OfAnAccountsKey) {
  const BlobAccess access(kAccount, "c", "d e/ü.vhd");
  const SignedRequest plain = access.sign({.method = "HEAD"}, kNow, "2015-04-05");
  EXPECT_EQ(plain.url, "http://acctone.blob.local.example:8080/c/d%20e/%C3%BC.vhd");
  EXPECT_EQ(authorization(plain), "SharedKey acctone:YB99n4iSzuAsHBnqWe+goapOjp/NLJp9oxsSRj9JuGc=");

  const std::array<std::byte, 512> page{};
  const SignedRequest put = access.sign(put_pages_request(1024, page), kNow, "2015-04-05");
  EXPECT_EQ(put.url, "http://acctone.blob.local.example:8080/c/d%20e/%C3%BC.vhd?comp=page");
  EXPECT_EQ(authorization(put), "SharedKey acctone:XCZXt7uByj2Gal4yoLmN689QtoVclzVWtAFHak84AoM=");

  const SignedRequest of_snapshot =
      access.with_snapshot("2026-11-22T20:03:35.2410000Z").sign(get_range_request({0, 512}), kNow, "2015-04-05");
  EXPECT_EQ(of_snapshot.url,
            "http://acctone.blob.local.example:8080/c/d%20e/%C3%BC.vhd?snapshot=2026-11-22T20:03:35.2410000Z");
  EXPECT_EQ(authorization(of_snapshot), "SharedKey acctone:817kRa+GSgob6NVaGwD78sLA/C/uzPZ9tM70IPaeZMY=");

  const SignedRequest create = access.sign(
      {.method = "PUT", .headers = {{"x-ms-blob-type", "PageBlob"}}, .if_none_match = "*"}, kNow, "2017-04-17");
  EXPECT_EQ(authorization(create), "SharedKey acctone:Fp+9NtJKAsx815VRL7Xw2GAgM++ub0ECVdTGwSpe/Ng=");
}

TEST(Signing, AnAccessAddressIsSentAsItCame) {
  const BlobAccess access(
      "https://Acct.Blob.Local:444/c%20c/a%2Fb.vhd?snapshot=2026-11-22T20%3A03%3A35Z&sv=x&sig=a%2Bb%3D");
  EXPECT_EQ(access.container(), "c c");
  EXPECT_EQ(access.blob(), "a/b.vhd");
  EXPECT_EQ(access.snapshot(), "2026-11-22T20:03:35Z");
  EXPECT_EQ(access.uri(), "https://acct.blob.local:444/c%20c/a/b.vhd");
  const SignedRequest request = access.sign({.method = "GET", .query = {{"comp", "pagelist"}}}, kNow, "2015-04-05");
  EXPECT_EQ(
      request.url,
      "https://acct.blob.local:444/c%20c/a/b.vhd?comp=pagelist&snapshot=2026-11-22T20%3A03%3A35Z&sv=x&sig=a%2Bb%3D");
  EXPECT_EQ(request.header_lines, std::vector<std::string>{"x-ms-version: 2015-04-05"});
}

TEST(Signing, WhatIsNoAddressOrNoAccountIsRefusedWithoutItsSecret) {
  for (const char* const address : {"", "host", "/c/b", "ftp://h/c/b", "file:///c/b", "http://", "http://h",
                                    "http://h/c", "http://h/c/", "http://h:99999/c/b", "http://h/c\n/b?sig=secret"}) {
    EXPECT_THROW(BlobAccess access{address}, azurestorage_exception) << address;
  }
  for (const std::string& piece :
       std::vector<std::string>{"DefaultEndpointsProtocol=http;", "AccountName=AcctOne;", "AccountKey=a2V5a2V5;"}) {
    std::string text = kAccount;
    text.erase(text.find(piece), piece.size());
    EXPECT_THROW(BlobAccess(text, "c", "b"), azurestorage_exception) << text;
  }
  try {
    const BlobAccess access("DefaultEndpointsProtocol=http;AccountName=a;AccountKey=no*secret;EndpointSuffix=s", "c",
                            "b");
    FAIL();
  } catch (const azurestorage_exception& error) {
    EXPECT_EQ(std::string(error.what()).find("secret"), std::string::npos);
  }
}

}  // namespace
}  // namespace azurestoragewrapper
