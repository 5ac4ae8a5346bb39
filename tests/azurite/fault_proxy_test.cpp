#include "tests/azurite/fault_proxy.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "tests/azurite/azurite_server.h"
#include "tests/azurite/signed_client.h"
#include "tests/azurite/strictness.h"

namespace azurite {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::Field;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

constexpr std::size_t mebibyte = 1024UL * 1024;
constexpr std::size_t blob_size = 8 * mebibyte;

/// Bytes that differ from place to place.
std::string pattern(std::size_t size) {
  std::string text(size, '\0');
  for (std::size_t i = 0; i < size; ++i) text[i] = static_cast<char>((i * 2654435761U) >> 13U);
  return text;
}

std::string range(std::size_t first, std::size_t size) {
  return "bytes=" + std::to_string(first) + "-" + std::to_string(first + size - 1);
}

/// A page blob of 8 MiB, the first 4 of which hold data, reached through a proxy.
class FaultProxyTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(direct_.send("PUT", container_, {{"restype", "container"}}).status, 201);
    const Texts headers{{"x-ms-blob-type", "PageBlob"}, {"x-ms-blob-content-length", std::to_string(blob_size)}};
    ASSERT_EQ(direct_.send("PUT", blob_, {}, headers).status, 201);
    ASSERT_EQ(put_page(direct_, 0, data_).status, 201);
  }

  ClientAnswer put_page(SignedClient& client, std::size_t first, const std::string& bytes) {
    return client.send("PUT", blob_, {{"comp", "page"}},
                       {{"x-ms-page-write", "update"}, {"x-ms-range", range(first, bytes.size())}}, bytes);
  }
  ClientAnswer get(SignedClient& client, std::size_t first, std::size_t size) {
    return client.send("GET", blob_, {}, {{"x-ms-range", range(first, size)}});
  }
  /// The first 512 bytes with one fault for them.
  ClientAnswer get_with(ProxyAction action) {
    proxy_.add({.method = "GET", .target = "^" + blob_ + "$", .action = std::move(action)});
    SignedClient fresh(proxy_.port(), "accttwo");
    return get(fresh, 0, 512);
  }

  const std::string container_ = "/" + new_container_name();
  const std::string blob_ = container_ + "/disk%20one.vhd";
  const std::string data_ = pattern(4 * mebibyte);
  FaultProxy proxy_{port()};
  SignedClient direct_{port(), "accttwo"};
  SignedClient client_{proxy_.port(), "accttwo"};
};

TEST_F(FaultProxyTest, PassesEverythingOnAndWritesItDown) {
  const std::string other = pattern(3 * mebibyte) + std::string(mebibyte, '\x7f');
  EXPECT_EQ(put_page(client_, 4 * mebibyte, other).status, 201);
  const ClientAnswer read = get(client_, 2 * mebibyte, 4 * mebibyte);
  EXPECT_EQ(read.status, 206);
  EXPECT_EQ(read.body, data_.substr(2 * mebibyte) + other.substr(0, 2 * mebibyte));
  EXPECT_THAT(read.head, HasSubstr("bytes 2097152-6291455/8388608"));
  const ClientAnswer properties = client_.send("HEAD", blob_);
  EXPECT_THAT(properties.head, AllOf(HasSubstr("200 OK"), HasSubstr("ength: 8388608"), HasSubstr("PageBlob")));
  const ClientAnswer pages = client_.send("GET", blob_, {{"comp", "pagelist"}});
  EXPECT_THAT(pages.body, HasSubstr("<Start>4194304</Start><End>8388607</End>"));
  EXPECT_EQ(client_.send("DELETE", blob_).status, 202);
  EXPECT_EQ(client_.send("HEAD", blob_).status, 404);

  const std::vector<SeenRequest> seen = proxy_.requests();
  ASSERT_THAT(seen, SizeIs(6));
  EXPECT_EQ(seen[0].method + " " + seen[0].target, "PUT " + blob_ + "?comp=page");
  EXPECT_EQ(seen[0].body_bytes, 4 * mebibyte);
  EXPECT_EQ(seen[5].status, 404);
  EXPECT_EQ(sim::find_header(seen[1].headers, "x-ms-range"), range(2 * mebibyte, 4 * mebibyte));
  EXPECT_EQ(proxy_.connections(), 1U) << "the connection is kept";
}

TEST_F(FaultProxyTest, AnswersAndBodiesGoWrong) {
  const ClientAnswer busy = get_with(sim::AnswerWith{.response = blob_error(503, "ServerBusy")});
  EXPECT_EQ(busy.status, 503);
  EXPECT_THAT(busy.body, HasSubstr("<Code>ServerBusy</Code>"));

  const ClientAnswer truncated = get_with(sim::TruncateBody{100});
  EXPECT_EQ(truncated.result, CURLE_PARTIAL_FILE);
  EXPECT_EQ(truncated.body, data_.substr(0, 100));

  const ClientAnswer cut = get_with(sim::ResetInBody{100});
  EXPECT_EQ(cut.result, CURLE_RECV_ERROR);
  EXPECT_EQ(cut.status, 206);

  EXPECT_EQ(get_with(sim::ResetBeforeAnswer{}).result, CURLE_RECV_ERROR);

  const ClientAnswer corrupted = get_with(CorruptByte{7});
  EXPECT_EQ(corrupted.status, 206);
  EXPECT_EQ(static_cast<char>(~corrupted.body.at(7)), data_[7]);
  EXPECT_EQ(corrupted.body.substr(8), data_.substr(8, 504));

  EXPECT_EQ(get_with(ReplaceBody{"<PageList/>"}).body, "<PageList/>");
  EXPECT_EQ(get_with(sim::Delay{std::chrono::milliseconds(1)}).body, data_.substr(0, 512));
  EXPECT_THAT(proxy_.unused_faults(), IsEmpty());
}

TEST_F(FaultProxyTest, CarriesOutWhatItDoesNotAnswer) {
  proxy_.add({.method = "PUT", .target = "comp=page", .action = LoseAnswer{}});
  const std::string other(512, '\x55');
  EXPECT_EQ(put_page(client_, 0, other).result, CURLE_RECV_ERROR);
  EXPECT_EQ(get(direct_, 0, 512).body, other);

  proxy_.add({.method = "PUT", .target = "comp=page", .action = sim::ResetBeforeAnswer{}});
  EXPECT_EQ(put_page(client_, 512, other).result, CURLE_RECV_ERROR);
  EXPECT_EQ(get(direct_, 512, 512).body, data_.substr(512, 512));
  EXPECT_THAT(proxy_.requests(), ElementsAre(Field(&SeenRequest::status, 0), Field(&SeenRequest::status, 0)));
}

TEST_F(FaultProxyTest, TricklesUntilTheClientGoes) {
  proxy_.add({.action = Trickle{std::chrono::milliseconds(1)}});
  client_.set_most_bytes(5);
  const ClientAnswer answer = get(client_, 0, 4 * mebibyte);
  EXPECT_EQ(answer.result, CURLE_WRITE_ERROR);
  EXPECT_GE(answer.body.size(), 5U);
  EXPECT_LT(answer.body.size(), 4 * mebibyte / 2) << "one byte at a time, until the client goes";
  EXPECT_TRUE(data_.starts_with(answer.body));
}

TEST_F(FaultProxyTest, CountsRequestsByMethodTargetAndHeader) {
  proxy_.add({.method = "GET",
              .header = "^x-ms-range: bytes=512-",
              .first = 2,
              .times = 2,
              .action = sim::AnswerWith{.response = blob_error(500, "InternalError")}});
  proxy_.add({.target = "comp=snapshot", .action = sim::ResetBeforeAnswer{}});
  std::vector<long> statuses;
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(get(client_, 0, 512).status, 206);
    statuses.push_back(get(client_, 512, 512).status);
  }
  EXPECT_THAT(statuses, ElementsAre(206, 500, 500, 206));
  EXPECT_THAT(proxy_.unused_faults(), ElementsAre(HasSubstr("comp=snapshot")));
}

TEST_F(FaultProxyTest, IsAsStrictAsTheRealService) {
  const ClientAnswer large = put_page(client_, 0, std::string(4 * mebibyte + 512, 'x'));
  EXPECT_EQ(large.status, 413);
  EXPECT_THAT(large.body, HasSubstr("<Code>RequestBodyTooLarge</Code>"));
  const ClientAnswer past_end = get(client_, blob_size, 512);
  EXPECT_EQ(past_end.status, 416);
  EXPECT_THAT(past_end.body, HasSubstr("<Code>InvalidRange</Code>"));
  const Texts difference{{"comp", "pagelist"}, {"prevsnapshot", "2026-11-22T20:03:35.2410000Z"}};
  EXPECT_EQ(client_.send("GET", blob_, difference).status, 501);

  EXPECT_THAT(client_.send("GET", container_ + "/none").head, Not(HasSubstr("x-ms-error-code")));
  client_.set_version("2017-07-29");
  EXPECT_THAT(client_.send("GET", container_ + "/none").head, HasSubstr("x-ms-error-code: BlobNotFound"));

  FaultProxy lenient(port(), FaultProxy::Strictness::lenient);
  SignedClient client(lenient.port(), "accttwo");
  EXPECT_EQ(get(client, blob_size, 512).status, 206);
}

}  // namespace
}  // namespace azurite
