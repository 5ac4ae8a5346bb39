// Connections to page blobs and their snapshots against the blob service.
#include "src/blob/page_blob_snapshots.h"

#include <gtest/gtest.h>

#include "src/blob/azure_disk_snapshots.h"
#include "src/blob/disk_layout.h"
#include "src/blob/disk_read_stream.h"
#include "src/blob/disk_write_stream.h"
#include "src/blob/page_blob_connection.h"
#include "tests/blob/page_blob_fixture.h"

namespace page_blob_test {
namespace {

using namespace azurestackpi;
using azurestoragewrapper::BlobItem;
using transport_test::Settings;
using Texts = std::vector<std::string>;

constexpr const char* kSnapshotRequest = "^PUT .*comp=snapshot";
constexpr const char* kListRequest = "^GET .*comp=list";

class PageBlobSnapshotsTest : public PageBlobTest {
 protected:
  // The text at the beginning of what a stream reads.
  std::string TextOf(disk_read_stream* reader) {
    std::string text(64, '\0');
    std::size_t count = 0;
    EXPECT_EQ(Read(reader, text.data(), text.size(), count), kOk);
    EXPECT_EQ(CloseReadStream(&reader), kOk);
    return text.c_str();
  }
};

// Addresses.

TEST_F(PageBlobSnapshotsTest, AddressesThatAreNoneAreRefusedBeforeAnythingIsAsked) {
  const std::size_t before = simulator.requests().size();
  azurestackpi_connection connection;
  for (const char* address : {"",
                              "/",
                              "https:",
                              "https://",
                              "https:/demodisks1.blob.x/c/b",
                              "demodisks1.blob.x/c/b",
                              "https://demodisks1.blob.x",
                              "https://demodisks1.blob.x/",
                              "https://demodisks1.blob.x/c",
                              "https://demodisks1.blob.x/c/",
                              "https://demodisks1.blob.x//b",
                              "https:///c/b",
                              "https://.blob.x/c/b",
                              "https://demodisks1/c/b",
                              "https://demodisks1.file.x/c/b",
                              "https://demodisks1.blob./c/b",
                              "https://a;b.blob.x/c/b",
                              "https://demodisks1.blob.x;EndpointSuffix=y/c/b",
                              "https://me@demodisks1.blob.x/c/b",
                              "https://demodisks1:80.blob.x/c/b",
                              "https://demodisks1.blob.x/c/a%0ab"}) {
    log.clear();
    EXPECT_EQ(GetConnection(address, &connection), kInvalidArgument) << address;
    EXPECT_TRUE(log.contains(5, "Invalid URI Exception thrown: ")) << address;
  }
  EXPECT_EQ(GetConnection("https://demodisks1.blob.x/c/b", nullptr), kInvalidArgument);
  EXPECT_TRUE(log.contains(4, "Invalid conn: "));
  EXPECT_EQ(simulator.requests().size(), before);
}

TEST_F(PageBlobSnapshotsTest, AddressesAreTakenApart) {
  struct Row {
    const char* address;
    const char* suffix;
    const char* container;
    const char* name;
  };
  for (const Row& row : {Row{"https://demodisks1.blob.local.azurestack.external/vhds/a.vhd",
                             "local.azurestack.external", "vhds", "a.vhd"},
                         Row{"http://demodisks1.blob.x:8443/c/folder/b", "x:8443", "c", "folder/b"},
                         Row{"HTTPS://DemoDisks1.Blob.Local/Vhds/A.vhd", "local", "Vhds", "A.vhd"},
                         Row{"https://demodisks1.blob.x/c/a%20b%2Fc%C3%A9.vhd", "x", "c", "a b/c\xc3\xa9.vhd"},
                         Row{"https://demodisks1.blob.x/c/a b+c", "x", "c", "a b+c"},
                         Row{"https://demodisks1.blob.x/c/50%.vhd%4", "x", "c", "50%.vhd%4"}}) {
    azurestackpi_connection connection;
    ASSERT_EQ(GetConnection(row.address, &connection), kOk) << row.address;
    EXPECT_EQ(connection.m_storage_account, "demodisks1");
    EXPECT_EQ(connection.m_endpoint_suffix, row.suffix);
    EXPECT_EQ(connection.m_container_name, row.container);
    EXPECT_EQ(connection.m_vhd_name, row.name);
    EXPECT_EQ(connection.m_connection_string, "DefaultEndpointsProtocol=http;AccountName=demodisks1;AccountKey=" +
                                                  azurite::key("demodisks1") + ";EndpointSuffix=" + row.suffix);
  }
  azurestackpi_connection connection;
  EXPECT_EQ(GetConnection("https://unknown1.blob.x/c/b", &connection), kParameterNotFound);
  EXPECT_TRUE(log.contains(4,
                           "return status 6661 : Unable to find the configuration parameter. for given Storage "
                           "account unknown1"));
}

TEST_F(PageBlobSnapshotsTest, TheClientSpeaksAsConfigured) {
  transport_test::ServerSetup setup = AadSetup();
  setup.config.insert({{"STORAGE_ENDPOINT_PROTOCOL", "HTTPS"}, {"STORAGE_API_VERSION", "2017-04-17"}});
  setup.credentials.insert({{"IntranetProxyUrl", "http://proxy:3128"},
                            {"IntranetProxyUsername", "me"},
                            {"IntranetProxyPassword", "proxy password"}});
  ASSERT_EQ(Open(setup), kOk);
  azurestoragewrapper::client_options options = StorageOptions(CountKeepAlive);
  EXPECT_EQ(options.api_version, "2017-04-17");
  EXPECT_TRUE(options.verify_tls);
  EXPECT_EQ(options.ca_file, simulator.ca_file());
  EXPECT_EQ(options.proxy, "http://proxy:3128");
  EXPECT_EQ(options.proxy_credentials, "me:proxy password");
  EXPECT_EQ(MakeConnectionString("a", "k", "s").substr(0, 31), "DefaultEndpointsProtocol=https;");

  setup = AadSetup();
  setup.config.erase("CA_FILE_PATH");
  ASSERT_EQ(Open(setup), kOk);
  options = StorageOptions(nullptr);
  EXPECT_EQ(options.api_version, "2015-04-05");
  EXPECT_FALSE(options.verify_tls);
  EXPECT_EQ(options.ca_file + options.proxy + options.proxy_credentials, "");
}

// Which snapshots are meant.

TEST_F(PageBlobSnapshotsTest, TheNewestOfABackupIsReadAndNoOtherIsTouched) {
  const std::string name = "disk with blank.vhd";
  const std::string encoded = "disk%20with%20blank.vhd";
  MakeBlob(name);
  MakeBlob(name + ".bak");
  TakeSnapshot(name + ".bak", "one");
  ASSERT_EQ(Create(encoded, "one"), kOk);
  WriteText(name, "second");
  TakeSnapshot(name, "one");
  WriteText(name, "third");
  TakeSnapshot(name, "two");
  TakeSnapshot(name, "one", "OTHERKEY");
  TakeSnapshot(name, "", "");
  WriteText(name, "fourth");

  disk_read_stream* reader = nullptr;
  ASSERT_EQ(OpenReadStream(Address(encoded), "one", kTag, &reader, server, false), kOk);
  EXPECT_EQ(TextOf(reader), "second");
  EXPECT_TRUE(log.contains(1, "Blob NAME    :  " + name));
  EXPECT_TRUE(log.contains(1, "Snapshot URI :  http://demodisks1.blob.local.azurestack.localhost"));
  EXPECT_TRUE(log.contains(3, "Found the snapshot blob for vhd : "));

  ASSERT_EQ(Delete(encoded, "one"), kOk);
  Texts left;
  for (const BlobItem& item : Items(name)) {
    std::string metadata = item.name == name ? "" : "bak:";
    for (const auto& [field, value] : item.metadata) {
      metadata += value + " ";
    }
    left.push_back(metadata);
  }
  EXPECT_EQ(left, (Texts{"bak:one BDAZSNAP ", "two BDAZSNAP ", "one OTHERKEY ", ""}));
  EXPECT_EQ(Delete(encoded, "one"), kOk) << "none is left: nothing to do";

  EXPECT_EQ(DeleteBlob(Address(encoded), CountKeepAlive), kOk) << "with its snapshots";
  EXPECT_EQ(Items(name, false).size(), 1U);
  EXPECT_EQ(DeleteBlob(Address(encoded), CountKeepAlive), kOk);
  EXPECT_EQ(Delete(encoded, "two"), kOk) << "the blob is gone";
  std::string elsewhere = Address("b");
  elsewhere.replace(elsewhere.find(container), container.size(), "no-such-container");
  EXPECT_EQ(DeleteSnapshot(elsewhere, "two", kTag, nullptr), kOk) << "the container is gone";
  EXPECT_EQ(DeleteBlob(elsewhere, nullptr), kOk);
}

TEST_F(PageBlobSnapshotsTest, WithoutAnIdAgeDecides) {
  struct Row {
    Settings settings;
    std::int64_t minutes;
    const char* logged;
  };
  MakeBlob("disk.vhd");
  for (const Row& row :
       {Row{{}, 1440, "snap_cleanup_session_min:1440(1440)"},
        Row{{{"SNAPSHOT_CLEANUP_MIN", "1450"}}, 1450, "snap_cleanup_session_min:1450(1450)"},
        Row{{{"SNAPSHOT_CLEANUP_MIN", "a day"}}, 1440, "snap_cleanup_session_min:1440(a day)"},
        Row{{{"SNAPSHOT_CLEANUP_MIN", "-1"}}, 1440, "snap_cleanup_session_min:1440(-1)"},
        Row{{{"SNAPSHOT_CLEANUP_MIN", "99999999999999999999"}}, 0, "snap_cleanup_session_min:35791394"}}) {
    Configure(row.settings);
    ASSERT_EQ(Create("disk.vhd", "one"), kOk);
    ASSERT_EQ(Fetch("disk.vhd", "one", false, false), kOk);
    const std::time_t taken = snapshot_->snapshot_time();
    const auto wait_until = [&](std::int64_t age) { clock.advance(taken + age - clock.now()); };
    wait_until(-60);
    EXPECT_EQ(Delete("disk.vhd", ""), kOk);
    wait_until(row.minutes * 60 - 1);
    EXPECT_EQ(Delete("disk.vhd", ""), kOk);
    EXPECT_EQ(Snapshots("disk.vhd"), 1U) << "younger than " << row.logged;
    wait_until(row.minutes * 60);
    EXPECT_EQ(Delete("disk.vhd", ""), kOk);
    EXPECT_EQ(Snapshots("disk.vhd"), row.minutes == 0 ? 1U : 0U) << row.logged;
    EXPECT_TRUE(log.contains(1, row.logged)) << row.logged;
    EXPECT_EQ(Delete("disk.vhd", "one"), kOk);
  }
}

TEST_F(PageBlobSnapshotsTest, ASweepVisitsEveryAccountOfASubscription) {
  const std::string subscription = world.subscriptions[0].id;
  const auto described = [&](const std::string& name) {
    return R"({"id":"/subscriptions/)" + subscription + "/resourcegroups/Data_RG.1/providers/Microsoft.Storage/" +
           "storageaccounts/" + name + R"(","properties":{"primaryEndpoints":{"blob":"https://)" + name +
           ".blob.local.azurestack.localhost:" + std::to_string(proxy->port()) + "/\"}}}";
  };
  Answer("/storageAccounts/\\?", 200, {},
         "{\"value\":[" + described("aanokey") + "," + described("demodiag1") + "," + described("demodisks1") + "]}", 1,
         sim::Fault::forever);
  MakeBlob("one.vhd");
  ASSERT_EQ(Create("one.vhd", container), kOk);
  TakeSnapshot("one.vhd", "other");
  account = "demodiag1";
  service->create_container(account, container);
  MakeBlob("two.vhd");
  TakeSnapshot("two.vhd", container);
  TakeSnapshot("two.vhd", "other");

  Fail("GET", "^/\\?comp=list", Refusal(403, "AuthorizationFailure"), 1, 1);
  EXPECT_EQ(DeleteAllUnmanagedDiskStaleSnapshots(*server, subscription, container), kInternalError)
      << "an account that fails does not keep the next from being swept";
  EXPECT_EQ(Snapshots("two.vhd"), 2U);
  account = "demodisks1";
  EXPECT_EQ(Snapshots("one.vhd"), 1U);
  account = "demodiag1";
  EXPECT_TRUE(log.contains(4, "for given Storage account aanokey"));
  EXPECT_TRUE(log.contains(1,
                           "connection_string  = DefaultEndpointsProtocol=http;AccountName=demodiag1;AccountKey="
                           "******;EndpointSuffix=local.azurestack.localhost:"));
  EXPECT_TRUE(log.contains(3, "Entering: connection_string: DefaultEndpointsProtocol=http;"));
  Fail("GET", "^/" + container + "\\?", Refusal(404, "ContainerNotFound"), 1, 1);
  EXPECT_EQ(DeleteAllUnmanagedDiskStaleSnapshots(*server, subscription, container), kOk) << "it went meanwhile";
  EXPECT_EQ(Snapshots("two.vhd"), 2U);
  EXPECT_EQ(DeleteAllUnmanagedDiskStaleSnapshots(*server, subscription, container), kOk);
  EXPECT_EQ(Snapshots("two.vhd"), 1U);
}

// Taking and finding.

TEST_F(PageBlobSnapshotsTest, AttemptsAndPauses) {
  struct Row {
    const char* what;
    Settings settings;
    int attempts;
    Status expected;
  };
  MakeBlob("disk.vhd");
  for (const Row& row : {Row{"nothing set", {}, 4, kParameterNotFound},
                         Row{"too few", {{"SNAPSHOT_RETRY_COUNT", "0"}}, 4, kParameterNotFound},
                         Row{"a number", {{"SNAPSHOT_RETRY_COUNT", "7"}}, 8, kParameterNotFound},
                         Row{"too many", {{"SNAPSHOT_RETRY_COUNT", "50"}}, 13, kParameterNotFound},
                         Row{"no number", {{"SNAPSHOT_RETRY_COUNT", "many"}}, 4, kParameterNotFound},
                         Row{"asynchronous set", {{"ASYNC_SNAPSHOT_SUPPORT", "no"}}, 4, kOk}}) {
    Configure(row.settings);
    RenewProxy();
    Fail("PUT", "comp=snapshot", Refusal(503, "ServerBusy"));
    clock.clear_pauses();
    KeepAlives().clear();
    log.clear();
    EXPECT_EQ(Create("disk.vhd", "one"), row.expected) << row.what;
    const auto attempts = static_cast<std::size_t>(row.attempts);
    EXPECT_EQ(Requests(kSnapshotRequest).size(), attempts) << row.what;
    EXPECT_EQ(clock.pauses(), std::vector<std::int64_t>(attempts, 30)) << row.what << ": also after the last one";
    EXPECT_EQ(KeepAlives(), Texts(attempts, "CreateSnapshot")) << row.what;
    EXPECT_TRUE(log.contains(1, "retry count : " + std::to_string(row.attempts))) << row.what;
    EXPECT_TRUE(log.contains(4, "could be taken in " + std::to_string(row.attempts) + " attempts")) << row.what;
  }
  EXPECT_EQ(Snapshots("disk.vhd"), 0U);
}

TEST_F(PageBlobSnapshotsTest, WhatWillNotPassIsTriedOnce) {
  MakeBlob("disk.vhd");
  Configure({{"ASYNC_SNAPSHOT_SUPPORT", "true"}});
  Fail("PUT", "comp=snapshot", Refusal(403, "AuthorizationFailure"), 1, 1);
  clock.clear_pauses();
  log.clear();
  EXPECT_EQ(Create("disk.vhd", "one"), kInternalError);
  EXPECT_EQ(clock.pauses(), std::vector<std::int64_t>{});
  EXPECT_TRUE(log.contains(4, "CreateSnapshot:  Exception thrown: ")) << log.text();
  EXPECT_TRUE(log.contains(4, " . Retryable: 0 "));
  EXPECT_TRUE(log.contains(5, "CreateSnapshot: Exception thrown: "));
  EXPECT_EQ(Create("disk.vhd", "one"), kOk);
  Fail("DELETE", "snapshot=", Refusal(403, "AuthorizationFailure"), 1, 1);
  EXPECT_EQ(Delete("disk.vhd", "one"), kInternalError);
  EXPECT_EQ(Snapshots("disk.vhd"), 1U);
}

TEST_F(PageBlobSnapshotsTest, ASnapshotIsLookedAtUnlessAsynchronousOnesAreOn) {
  MakeBlob("disk.vhd");
  for (const auto& [settings, looks] :
       std::vector<std::pair<Settings, std::size_t>>{{{}, 0},
                                                     {{{"ASYNC_SNAPSHOT_SUPPORT", ""}}, 0},
                                                     {{{"ASYNC_SNAPSHOT_SUPPORT", "TR"}}, 0},
                                                     {{{"ASYNC_SNAPSHOT_SUPPORT", "no"}}, 1},
                                                     {{{"ASYNC_SNAPSHOT_SUPPORT", "true!"}}, 1}}) {
    Configure(settings);
    RenewProxy();
    EXPECT_EQ(Create("disk.vhd", "one"), kOk);
    EXPECT_EQ(Requests("^HEAD .*snapshot=").size(), looks) << (settings.empty() ? "" : settings.begin()->second);
  }
}

TEST_F(PageBlobSnapshotsTest, FlagsOfALookUp) {
  struct Row {
    bool create;
    bool at_once;
    bool there;
    std::size_t looks;
    std::size_t taken;
    Status expected;
  };
  MakeBlob("disk.vhd");
  int round = 0;
  for (const Row& row :
       {Row{true, false, true, 1, 0, kOk}, Row{true, true, true, 1, 0, kOk}, Row{false, true, true, 1, 1, kOk},
        Row{false, false, true, 1, 0, kOk}, Row{true, false, false, 61, 1, kOk}, Row{true, true, false, 2, 1, kOk},
        Row{false, true, false, 1, 1, kOk}, Row{false, false, false, 60, 0, kSnapshotBlobNotFound}}) {
    const std::string id = "round-" + std::to_string(++round);
    if (row.there) {
      TakeSnapshot("disk.vhd", id);
    }
    RenewProxy();
    clock.clear_pauses();
    KeepAlives().clear();
    EXPECT_EQ(Fetch("disk.vhd", id, row.create, row.at_once), row.expected) << id;
    EXPECT_EQ(snapshot_ != nullptr, row.expected == kOk) << id;
    const std::size_t failed_looks = row.looks - (row.expected == kOk ? 1 : 0);
    const std::size_t pauses = row.looks < 60 ? 0 : 59;
    EXPECT_EQ(clock.pauses(), std::vector<std::int64_t>(pauses, 1)) << id << " after " << failed_looks;
    EXPECT_EQ(KeepAlives().size(), pauses) << id;
    const Texts requests = Requests("comp=(list|snapshot)");
    const auto takes = static_cast<std::size_t>(std::count_if(
        requests.begin(), requests.end(), [](const std::string& line) { return line.starts_with("PUT"); }));
    EXPECT_EQ(requests.size() - takes, row.looks) << id;
    EXPECT_EQ(takes, row.taken) << id;
  }
  EXPECT_TRUE(log.contains(4, "with snapkey : BDAZSNAP snapid : round-8"));
}

TEST_F(PageBlobSnapshotsTest, LooksAreBounded) {
  MakeBlob("disk.vhd");
  for (const auto& [value, looks] :
       std::vector<std::pair<std::string, std::size_t>>{{"0", 60}, {"90", 90}, {"500", 120}, {"x", 60}}) {
    Configure({{"SNAPSHOT_FETCH_RETRY_COUNT", value}});
    RenewProxy();
    EXPECT_EQ(Fetch("disk.vhd", "none", false, false), kSnapshotBlobNotFound);
    EXPECT_EQ(Requests(kListRequest).size(), looks) << value;
  }
}

TEST_F(PageBlobSnapshotsTest, AnExportedDiskIsReadByItsAddress) {
  MakeBlob("disk.vhd", 8192, "as exported");
  const std::string address = AccessAddress("disk.vhd", TakeSnapshot("disk.vhd", "one"));
  WriteText("disk.vhd", "later");
  disk_read_stream* reader = nullptr;
  ASSERT_EQ(OpenReadStream(address, "one", kTag, &reader, server, true), kOk) << log.text();
  EXPECT_EQ(reader->layout.header.display_size, 8192U);
  EXPECT_EQ(reader->layout.header.allocated_size, 512U);
  EXPECT_EQ(reader->layout.header.metadata_size, 56U);
  EXPECT_EQ(reader->layout.header.padding, 131072U - 56U);
  EXPECT_EQ(TextOf(reader), "as exported");
  EXPECT_EQ(log.text().find(address.substr(address.find("sig=") + 4)), std::string::npos);

  for (const auto& [bad, expected] :
       std::vector<std::pair<std::string, Status>>{{"", kInvalidArgument},
                                                   {"ftp://demodisks1.blob.x/c/b?sig=x", kInvalidArgument},
                                                   {"https", kInvalidArgument},
                                                   {AccessAddress("disk.vhd", "") + "x", kInternalError},
                                                   {AccessAddress("none.vhd", ""), kSnapshotBlobNotFound}}) {
    EXPECT_EQ(FetchManagedDiskSnapshot(server, bad, CountKeepAlive, snapshot_), expected) << bad;
    EXPECT_EQ(snapshot_, nullptr) << bad;
    EXPECT_EQ(OpenReadStream(bad, "one", kTag, &reader, server, true), kNoMoreEntries) << bad;
    EXPECT_EQ(reader, nullptr) << bad;
  }
  EXPECT_TRUE(log.contains(4, "Snapshot access SAS uri should not empty ret: 6601 "));
  EXPECT_TRUE(log.contains(4, "Invalid access SAS URI encountered"));
}

TEST_F(PageBlobSnapshotsTest, SizesAndPageListsThatCannotBeHad) {
  MakeBlob("disk.vhd", 8192);
  std::uint64_t size = 0;
  EXPECT_EQ(GetVhdSize(Address("disk.vhd"), size), kOk);
  EXPECT_EQ(size, 8192U);
  EXPECT_EQ(GetVhdSize(Address("none.vhd"), size), kNotFoundYet);
  EXPECT_EQ(size, 0U);
  EXPECT_TRUE(log.contains(4, "GetVhdSizeByBlobRef: Failed to download page ranges. rc : 2"));
  EXPECT_EQ(GetVhdSize("no address", size), kInvalidArgument);

  TakeSnapshot("disk.vhd", "one");
  Fail("GET", "comp=pagelist", Refusal(403, "AuthorizationFailure"), 1, 1);
  disk_read_stream* reader = nullptr;
  EXPECT_EQ(OpenReadStream(Address("disk.vhd"), "one", kTag, &reader, server, false), kNotFoundYet);
  ASSERT_NE(reader, nullptr) << "the stream itself is open";
  EXPECT_TRUE(log.contains(4, "Failed to download page ranges for http://demodisks1."));
  EXPECT_EQ(reader->layout.header.number_of_ranges, 0U);
  EXPECT_EQ(TextOf(reader), "first");
}

TEST_F(PageBlobSnapshotsTest, ABlobThatIsThereIsNotWrittenOver) {
  MakeBlob("disk.vhd");
  disk_write_stream* writer = nullptr;
  EXPECT_EQ(OpenWriteStream(Address("disk.vhd"), 4096, &writer), kInternalError);
  EXPECT_EQ(writer, nullptr);
  EXPECT_EQ(service->read(Blob("disk.vhd"), 0, 5), "first");
  EXPECT_EQ(OpenWriteStream("no address", 4096, &writer), kInvalidArgument);
}

}  // namespace
}  // namespace page_blob_test
