// Two threads of a host, each with a disk of its own that was opened before they began.
#include <array>
#include <thread>

#include "tests/object/backup_fixture.h"

namespace backup_test {
namespace {

struct Reader {
  std::string path;
  std::uint64_t piece;
  aapi_object_t* object = nullptr;
  std::string bytes = {};
  Status status = azurestackpi::kOk;

  void Run(const aapi_entry_points_t& table) {
    std::string buffer(piece + 1, '\0');
    std::uint64_t count = 0;
    do {
      status = table.read_object(object, buffer.data(), piece, bytes.size(), &count);
      bytes.append(buffer, 0, count);
    } while (status == azurestackpi::kOk && count != 0);
  }
};

TEST_F(BackupTest, TwoThreadsReadADiskEach) {
  PrepareMachine(web, "42", {{"VM_SNAPSHOT_IN_DISCOVERY", "false"}});
  std::array<Reader, 2> readers{Reader{RecordWith("/web-01-os"), 100'003}, Reader{RecordWith("/web-01-data"), 512}};
  for (Reader& reader : readers) {
    ASSERT_EQ(Query(reader.path, "42"), azurestackpi::kOk);
    reader.object = OpenForReading(reader.path);
    ASSERT_NE(reader.object, nullptr);
  }
  std::thread other([&] { readers[1].Run(*table); });
  readers[0].Run(*table);
  other.join();
  for (Reader& reader : readers) {
    EXPECT_EQ(table->close_object(reader.object), azurestackpi::kOk);
    EXPECT_EQ(reader.status, azurestackpi::kOk);
    EXPECT_TRUE(reader.bytes == ImageOfDisk(reader.path.substr(reader.path.rfind('/') + 1))) << reader.path;
  }
  EXPECT_EQ(ManagedSnapshots(), Texts{});
}

}  // namespace
}  // namespace backup_test
