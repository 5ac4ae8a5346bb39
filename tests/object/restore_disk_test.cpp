// Disks given back through the entry table: every byte where it was, in a new blob, or nothing at all.
#include <array>
#include <cstring>

#include "src/object/restore_state.h"
#include "src/rest/json_text.h"
#include "tests/object/restore_fixture.h"

namespace backup_test {
namespace {

using namespace azurestackpi;

const Ranges kFewRanges{{512, Data(1024)}, {8192, Data(4096, 2)}, {65536 - 512, Data(512, 3)}};

TEST_F(RestoreTest, ADiskIsWrittenByteForByteWhateverTheHostWrites) {
  StartRestore();
  const std::string small = MakeImage(65536, kFewRanges);
  const std::string big = MakeImage(40 * kMiB, {{4096, Data(9 * kMiB + 512)}, {20 * kMiB, Data(8 * kMiB, 2)}});
  struct Case {
    std::uint64_t piece;
    const std::string& bytes;
  };
  const std::string empty = MakeImage(1024, {});
  const sim::Blob original = NewContainer("disk.vhd");
  blob_client.create_page_blob(original, 65536);
  for (const Case& c : {Case{1, small}, Case{512, small}, Case{100'003, small}, Case{100'003, big}, Case{kMiB, big},
                        Case{8 * kMiB, big}, Case{512, empty}}) {
    SCOPED_TRACE(std::to_string(c.bytes.size()) + " bytes in pieces of " + std::to_string(c.piece));
    clock.advance(1);
    ASSERT_EQ(Restore(PathOf(original), c.bytes, c.piece), kOk);
    EXPECT_EQ(info.size, 0U);
    sim::Blob restored = original;
    restored.name = "disk-RESTORE-" + std::to_string(clock.now()) + ".vhd";
    EXPECT_TRUE(ImageOfBlob(restored) == c.bytes);
    const RestoredDisk* const disk = FindRestoredDisk(PathOf(original));
    ASSERT_NE(disk, nullptr);
    EXPECT_TRUE(disk->complete);
    EXPECT_TRUE(disk->name.ends_with(restored.container + "/" + restored.name)) << disk->name;
  }
  EXPECT_TRUE(ImageOfBlob(original) == MakeImage(65536, {})) << "the disk that is there is not touched";
  // Neither is a disk that was itself restored, nor does it get a second suffix.
  sim::Blob again = original;
  again.name = "disk-RESTORE-1.vhd";
  clock.advance(1);
  ASSERT_EQ(Restore(PathOf(again), small), kOk);
  again.name = "disk-RESTORE-" + std::to_string(clock.now()) + ".vhd";
  EXPECT_TRUE(ImageOfBlob(again) == small);
}

std::string Changed(std::string image, std::size_t word, std::uint64_t value) {
  std::memcpy(image.data() + word * sizeof(value), &value, sizeof(value));
  return image;
}

TEST_F(RestoreTest, WhatNoDiskHasIsRefusedBeforeAnythingIsMade) {
  StartRestore();
  const sim::Blob original = NewContainer("disk.vhd");
  image = MakeImage(65536, kFewRanges);
  enum Word : std::size_t {
    kSize = 1,
    kCount = 3,
    kPadding = 4,
    kOffset1 = 5,
    kLength1 = 6,
    kOffset2 = 7,
    kLength3 = 10
  };
  struct Case {
    const char* what;
    std::string bytes;
  };
  const std::uint64_t whole = 65536 / 512;
  const std::array<Case, 13> cases{
      {{"a disk of half a sector", Changed(image, kSize, 65536 + 256)},
       {"more ranges than sectors", Changed(image, kCount, whole + 1)},
       {"a table as large as the memory", Changed(image, kCount, std::uint64_t{1} << 60U)},
       {"a table that is only announced", Changed(Changed(image, kCount, std::uint64_t{1} << 34U), kSize, 1ULL << 43U)},
       {"a disk larger than any", Changed(image, kSize, (1ULL << 43U) + 512)},
       {"too much padding", Changed(image, kPadding, 131073)},
       {"a range behind the disk", Changed(image, kLength3, 1024)},
       {"a range whose end overflows", Changed(image, kLength1, ~std::uint64_t{511})},
       {"a range without data", Changed(image, kLength1, 0)},
       {"overlapping ranges", Changed(image, kOffset2, 1024)},
       {"ranges in disorder", Changed(image, kOffset1, 32768)},
       {"a place between sectors", Changed(image, kOffset1, 500)},
       {"a length between sectors", Changed(image, kLength1, 1000)}}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    ASSERT_EQ(Ask(PathOf(original)), kNotFoundYet);
    const std::size_t requests = proxy.requests().size();
    EXPECT_EQ(Restore(PathOf(original), c.bytes, 100), kInvalidArgument);
    EXPECT_EQ(proxy.requests().size(), requests);
    EXPECT_FALSE(FindRestoredDisk(PathOf(original))->complete);
  }
  // A damaged entry is refused as it comes, however long the table is said to be.
  const std::string long_table = Changed(Changed(Changed(image, kCount, 1U << 30U), kSize, 1ULL << 40U), kOffset2, 600);
  EXPECT_EQ(Restore(PathOf(original), long_table.substr(0, (kOffset2 + 2) * sizeof(std::uint64_t)), 13),
            kInvalidArgument);
  EXPECT_EQ(Restore(PathOf(original), image + std::string(512, 'x')), kInvalidArgument) << "data behind the last range";
  EXPECT_EQ(BlobNames(original.container), Texts{});
}

TEST_F(RestoreTest, AStreamClosedEarlyLeavesNothingAndCanBeWrittenAgain) {
  StartRestore();
  const sim::Blob original = NewContainer("disk.vhd");
  image = MakeImage(65536, kFewRanges);
  const std::size_t data = image.size() - 1024 - 4096 - 512;
  for (const std::size_t end : {std::size_t{0}, std::size_t{39}, std::size_t{40}, std::size_t{70}, data - 1, data,
                                data + 100, data + 1024, image.size() - 1}) {
    SCOPED_TRACE(end);
    EXPECT_EQ(Restore(PathOf(original), image.substr(0, end)), kOperationFailed);
    EXPECT_TRUE(TellsError("was closed before its end"));
    EXPECT_EQ(BlobNames(original.container), Texts{});
    EXPECT_FALSE(FindRestoredDisk(PathOf(original))->complete);
    log.clear();
  }
  EXPECT_EQ(Restore(PathOf(original), image), kOk);
  EXPECT_EQ(vm_recovery_map().at("/" + subscription + "/Data_RG.1/DB-01").size(), 1U);
  EXPECT_EQ(BlobNames(original.container).size(), 1U);
  // What is there is never overwritten, nor deleted by another who wanted its name.
  std::string& name = FindRestoredDisk(PathOf(original))->name;
  const sim::Blob first{account, original.container, name.substr(name.rfind('/') + 1)};
  name.clear();  // the second try takes the first one's name
  clock.advance(std::stol(first.name.substr(first.name.rfind('-') + 1)) - clock.now());
  EXPECT_EQ(Restore(PathOf(original), MakeImage(512, {})), kInternalError);
  EXPECT_TRUE(TellsError("its first blob stays: "));
  EXPECT_EQ(BlobNames(original.container), Texts{first.name});
  EXPECT_TRUE(ImageOfBlob(first) == image);
}

TEST_F(RestoreTest, AHandleOfARestoreIsForWritingAndTellsWhatItHas) {
  StartRestore();
  const sim::Blob original = NewContainer("disk.vhd");
  const std::string vm = "/" + subscription + "/Data_RG.1/DB-01";
  struct Case {
    std::string path;
    Status status;
  };
  ASSERT_EQ(Ask(vm + "/Metadata/SubId=" + subscription), kNotFoundYet);
  for (const Case& c :
       {Case{vm + "/Metadata/Size=x", kOk}, Case{vm + "/Metadata/Vnet=net", kOk}, Case{PathOf(original), kOk},
        Case{PathOf(original) + "/", kOk}, Case{vm + "/a/b/c/d", kInvalidArgument}, Case{vm, kInvalidObject},
        Case{"", kInvalidObject}, Case{vm + "/Metadata/Foo=x", kInvalidObject},
        Case{PathOf(original) + "\xff", kInvalidArgument}, Case{vm + "/Metadata/Size=\xc3(", kInvalidArgument}}) {
    SCOPED_TRACE(c.path);
    for (const bool create : {false, true}) {
      aapi_object_t* object = nullptr;
      EXPECT_EQ(create ? table->create_object(server, c.path.c_str(), nullptr, &object)
                       : table->open_object(server, c.path.c_str(), 0, &object),
                c.status);
      if (object == nullptr) {
        continue;
      }
      std::array<char, 8> buffer{};
      std::uint64_t count = 0;
      EXPECT_EQ(table->read_object(object, buffer.data(), 1, 0, &count), kInvalidObject);
      EXPECT_EQ(table->get_object_prop(object, &info), kOk);
      EXPECT_EQ(info.object_type, static_cast<std::uint32_t>(AAPI_OBJECT_FILE));
      EXPECT_EQ(table->write_object(object, "x", 1, 0, &count), kOk);
      EXPECT_EQ(count, 1U);
      static_cast<void>(table->close_object(object));
    }
  }
  aapi_object_t* object = nullptr;
  const std::string header = MakeImage(65536, {}).substr(0, 40);
  ASSERT_EQ(table->create_object(server, PathOf(original).c_str(), nullptr, &object), kOk);
  std::uint64_t count = 0;
  ASSERT_EQ(table->write_object(object, header.data(), header.size(), 0, &count), kOk);
  EXPECT_EQ(table->get_object_prop(object, &info), kOk);
  EXPECT_EQ(info.size, 65536U);
  EXPECT_EQ(table->close_object(object), kOperationFailed);
}

TEST_F(RestoreTest, ADiskCountsByItsNewestBlobAndIsTakenBackWhenTheServerCloses) {
  StartRestore();
  const sim::Blob original = NewContainer("disk.vhd");
  const std::string path = PathOf(original);
  const std::string stream = MakeImage(65536, {{0, Data(4096)}});
  const auto create = [&] {
    aapi_object_t* object = nullptr;
    EXPECT_EQ(table->create_object(server, path.c_str(), nullptr, &object), kOk);
    return object;
  };
  const auto write = [&](aapi_object_t* object) {
    std::uint64_t count = 0;
    EXPECT_EQ(table->write_object(object, stream.data(), stream.size(), 0, &count), kOk);
  };
  aapi_object_t* const first = create();
  clock.advance(1);
  aapi_object_t* const second = create();
  write(first);
  EXPECT_EQ(table->close_object(first), kOk);
  EXPECT_FALSE(FindRestoredDisk(path)->complete) << "the machine would get the second one's blob";
  ASSERT_EQ(BlobNames(original.container).size(), 1U);
  EXPECT_TRUE(TellsError("its first blob stays: https://" + account)) << log.text();
  write(second);
  StartRestore();
  EXPECT_EQ(BlobNames(original.container).size(), 1U) << "written, but never closed";
}

// Names of data disks differ at their end, and a name is cut; a disk that was restored before loses its suffix.
TEST_F(RestoreTest, DisksOfOneSecondDoNotMeet) {
  StartRestore({{"STAGING_STORAGE_ACCOUNTS", account}});
  const sim::Blob first = NewContainer("disk.vhd");
  const sim::Blob second{first.account, first.container, "disk-RESTORE-5.vhd"};
  const std::string base(80 - own_name.size() - 1, 'n');
  Texts names;
  for (const std::string& path : {ManagedPath(base + "1"), ManagedPath(base + "2"), PathOf(first), PathOf(second)}) {
    ASSERT_EQ(Restore(path, ImageOf("web-01-os", {{{0, 8192}}})), kOk) << log.text();
    names.push_back(FindRestoredDisk(path)->name);
    EXPECT_LE(names.back().size() - names.back().rfind('/'), 81U);
  }
  EXPECT_NE(names[0], names[1]);
  EXPECT_NE(names[2], names[3]);
}

TEST_F(RestoreTest, AnImportWithoutCredentialsLeavesNoBlob) {
  StartRestore({{"STAGING_STORAGE_ACCOUNTS", account}});
  const std::string path = ManagedPath("os");
  ASSERT_EQ(Ask(path), kNotFoundYet);
  aapi_object_t* object = nullptr;
  ASSERT_EQ(table->create_object(server, path.c_str(), nullptr, &object), kOk);
  const std::string stream = ImageOf("web-01-os", {});
  std::uint64_t count = 0;
  ASSERT_EQ(table->write_object(object, stream.data(), stream.size(), 0, &count), kOk);
  EXPECT_EQ(BlobNames("vhds", own_name).size(), 1U);
  std::string credentials;
  for (const auto& [key, value] : AadSetup().credentials) {
    if (key != "IdentityProvider") {
      credentials.append(key).append("=").append(value).append("\n");
    }
  }
  folder.write_file("credentials", credentials);
  EXPECT_EQ(table->close_object(object), kParameterNotFound);
  EXPECT_TRUE(TellsError("the login's settings cannot be read")) << log.text();
  EXPECT_EQ(BlobNames("vhds", own_name), Texts{});
}

TEST_F(RestoreTest, AManagedDiskIsMadeOfItsBlobWhichThenGoes) {
  StartRestore({{"STAGING_STORAGE_ACCOUNTS", "nobody's " + account}});
  const std::string path = ManagedPath("os");
  const std::string stream = ImageOf("web-01-os", {{{0, 8192}}});
  ASSERT_EQ(Restore(path, stream), kOk);
  const RestoredDisk first = *FindRestoredDisk(path);
  EXPECT_TRUE(first.complete);
  EXPECT_EQ(first.name, "/subscriptions/" + subscription + "/resourceGroups/web-rg/providers/Microsoft.Compute/disks/" +
                            own_name + "os-RESTORE-" + std::to_string(1'700'000'000));
  ASSERT_EQ(Send(Request(first.name + "?api-version=2017-03-30")), kOk);
  EXPECT_EQ(http_status, 200);
  EXPECT_NE(response.body.find(R"("location": ")" + world.region), std::string::npos) << response.body;
  EXPECT_EQ(BlobNames("vhds", own_name), Texts{});

  // The name is the first query's, the place that of the machine's saved description.
  clock.advance(60);
  const std::string name_path = "/" + subscription + "/web-rg/web-01/Metadata/VmName=web-01";
  ASSERT_EQ(Restore(name_path, R"({"resources":[{"type":"Microsoft.Compute/virtualMachines","configuration":{)"
                               R"("id":"/subscriptions/s/resourceGroups/g/x","name":"web-01","location":"elsewhere",)"
                               R"("properties":{"vmId":"1","storageProfile":{"osDisk":{"osType":"Linux","name":"o",)"
                               R"("managedDisk":{"id":"/subscriptions/s/resourceGroups/g/disks/o"}}}}}}]})"),
            kOk);
  const std::size_t blob_requests = proxy.requests().size();
  ASSERT_EQ(Restore(path, stream), kInternalError) << "a disk that is there is left alone";
  EXPECT_TRUE(TellsError("is there already"));
  EXPECT_EQ(proxy.requests().size(), blob_requests) << "all of it was written before that was found";
  EXPECT_TRUE(FindRestoredDisk(path)->complete) << "it is what the first try made";
  EXPECT_EQ(FindRestoredDisk(path)->name, first.name);
  const std::string other = ManagedPath("data");
  simulator.clear_requests();
  static_cast<void>(Restore(other, stream));
  bool told = false;
  for (const sim::RecordedRequest& request : simulator.requests()) {
    told = told || (request.method == "PUT" && request.body.find(R"("location": "elsewhere")") != std::string::npos);
  }
  EXPECT_TRUE(told);

  simulator.clear_requests();
  EXPECT_EQ(Restore(ManagedPath("cut"), stream.substr(0, stream.size() - 1)), kOperationFailed);
  for (const sim::RecordedRequest& request : simulator.requests()) {
    EXPECT_NE(request.method, "PUT") << "half a disk was imported";
  }
  simulator.add_fault({"PUT", "/disks/", 1, 1, sim::AnswerWith{{.status = 409}}});
  EXPECT_EQ(Restore(ManagedPath("refused"), stream), kInternalError);
  EXPECT_EQ(BlobNames("vhds", own_name), Texts{});
}

// A disk that is not complete leaves no blob that no line names.
TEST_F(RestoreTest, WhatCannotBeDeletedIsNamed) {
  const std::string container = NewContainer("").container;
  StartRestore({{"STAGING_STORAGE_ACCOUNTS", account}});
  const sim::AnswerWith refusal{.response = {.status = 403}};
  proxy.add({.method = "DELETE", .times = azurite::ProxyFault::forever, .action = refusal});
  proxy.add(
      {.method = "PUT", .target = "comp=page", .first = 3, .times = azurite::ProxyFault::forever, .action = refusal});
  for (const std::string& path : {ManagedPath("-undeleted-"), PathOf({account, container, "disk.vhd"})}) {
    EXPECT_EQ(Restore(path, MakeImage(65536, kFewRanges)), kInternalError) << path;
    EXPECT_FALSE(FindRestoredDisk(path)->complete) << path;
  }
  const Texts left = BlobNames(container);
  EXPECT_EQ(left.size(), 1U);
  for (const Texts& names : {left, BlobNames("vhds", own_name + "-undeleted-")}) {
    for (const std::string& name : names) EXPECT_TRUE(TellsError(name) || log.contains(2, name)) << name;
  }
}

}  // namespace
}  // namespace backup_test
