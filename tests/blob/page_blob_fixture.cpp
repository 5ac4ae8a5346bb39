#include "tests/blob/page_blob_fixture.h"

#include <algorithm>
#include <regex>

#include "sim/shared_key.h"
#include "tests/azurite/strictness.h"

namespace page_blob_test {

using azurestoragewrapper::BlobAccess;
using azurestoragewrapper::BlobClient;
using azurestoragewrapper::BlobItem;

namespace {

constexpr std::int64_t kFarAway = 4'000'000'000;  // seconds since the epoch

std::string Host(const std::string& account, std::uint16_t port) {
  return account + ".blob.local.azurestack.localhost:" + std::to_string(port);
}

}  // namespace

std::vector<std::string>& KeepAlives() {
  static std::vector<std::string> callers;
  return callers;
}

std::uint32_t CountKeepAlive(const char* caller) {
  KeepAlives().emplace_back(caller);
  return 0;
}

PageBlobTest::PageBlobTest() {
  KeepAlives().clear();
  RenewProxy();
  service = std::make_unique<sim::BlobClient>(sim::BlobServer{"http", azurite::port()}, world.storage_accounts);
  service->create_container(account, container);
  EXPECT_EQ(Open(AadSetup()), azurestackpi::kOk);
}

PageBlobTest::~PageBlobTest() {
  EXPECT_EQ(proxy->unused_faults(), std::vector<std::string>{});
  for (const auto& [name, keys] : azurite::accounts()) {
    EXPECT_EQ(log.text().find(keys[0]), std::string::npos) << "the key of " << name << " is in the log";
  }
}

void PageBlobTest::Configure(const transport_test::Settings& settings) {
  transport_test::ServerSetup setup = AadSetup();
  setup.config.insert(settings.begin(), settings.end());
  EXPECT_EQ(Open(setup), azurestackpi::kOk);
}

std::string PageBlobTest::Address(const std::string& name) const {
  return "https://" + Host(account, proxy->port()) + "/" + container + "/" + name;
}

void PageBlobTest::MakeBlob(const std::string& name, std::int64_t size, const std::string& text) {
  service->create_page_blob(Blob(name), size);
  WriteText(name, text);
}

void PageBlobTest::WriteText(const std::string& name, const std::string& text) {
  std::string page = text;
  page.resize(512);
  service->write(Blob(name), 0, page);
}

BlobClient PageBlobTest::Client(const std::string& name, const std::string& of_account) {
  const std::string connection = "DefaultEndpointsProtocol=http;AccountName=" + of_account +
                                 ";AccountKey=" + azurite::key(of_account) +
                                 ";EndpointSuffix=local.azurestack.localhost:" + std::to_string(azurite::port());
  return {BlobAccess(connection, container, name), {}};
}

std::vector<BlobItem> PageBlobTest::Items(const std::string& prefix, bool snapshots) {
  BlobClient client = Client("", account);
  std::vector<BlobItem> items = azurestoragewrapper::list_blobs(client, prefix, "").items;
  std::erase_if(items, [&](const BlobItem& item) { return item.snapshot.empty() == snapshots; });
  std::sort(items.begin(), items.end(),
            [](const BlobItem& left, const BlobItem& right) { return left.snapshot < right.snapshot; });
  return items;
}

std::string PageBlobTest::TakeSnapshot(const std::string& name, const std::string& snapid, const std::string& snapkey) {
  // Snapshots of one millisecond would have one name; some requests take longer than that.
  for (int i = 0; i < 8; ++i) {
    static_cast<void>(Items(name));
  }
  BlobClient client = Client(name, account);
  azurestoragewrapper::Metadata metadata;
  if (!snapid.empty()) {
    metadata.emplace_back("snapid", snapid);
  }
  if (!snapkey.empty()) {
    metadata.emplace_back("snapkey", snapkey);
  }
  return azurestoragewrapper::snapshot_blob(client, metadata);
}

std::string PageBlobTest::AccessAddress(const std::string& name, const std::string& snapshot) {
  service->set_policies(account, container, {{"reader", kFarAway}});
  const std::string query =
      sim::policy_access_query({account, azurite::key(account)}, container + "/" + name, "reader");
  return "http://" + Host(account, proxy->port()) + "/" + container + "/" + name + "?" +
         (snapshot.empty() ? "" : "snapshot=" + snapshot + "&") + query;
}

std::vector<std::string> PageBlobTest::Requests(const std::string& pattern) {
  const std::vector<azurite::SeenRequest> all = proxy->requests();
  std::vector<std::string> found;
  for (std::size_t i = requests_seen_; i < all.size(); ++i) {
    const std::string line = all[i].method + " " + std::regex_replace(all[i].target, std::regex("^/" + container), "") +
                             " " + std::to_string(all[i].status);
    if (std::regex_search(line, std::regex(pattern))) {
      found.push_back(line);
    }
  }
  requests_seen_ = all.size();
  return found;
}

void PageBlobTest::Fail(const std::string& method, const std::string& target, azurite::ProxyAction action,
                        std::uint64_t first, std::uint64_t times) {
  proxy->add({.method = method, .target = target, .first = first, .times = times, .action = std::move(action)});
}

void PageBlobTest::RenewProxy() {
  proxy = std::make_unique<azurite::FaultProxy>(azurite::port());
  requests_seen_ = 0;
}

sim::AnswerWith PageBlobTest::Refusal(int status, const std::string& code) {
  return {.response = azurite::blob_error(status, code)};
}

}  // namespace page_blob_test
