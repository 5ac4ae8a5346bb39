// What a host meets first: the exported names, the information record, the two tables.
#include <elf.h>
#include <gmock/gmock.h>

#include <array>
#include <cstring>
#include <set>

#include "src/api/entry_points.h"
#include "tests/api/loaded_library.h"
#include "tests/support/read_file.h"

namespace {

using api_test::LoadedLibrary;

std::vector<std::string> EntryPointNames() {
  std::vector<std::string> names;
#define ADD_NAME(name) names.emplace_back("azurestackpi_" #name "_v1");
  AZURESTACKPI_ENTRY_POINTS(ADD_NAME)
#undef ADD_NAME
  return names;
}

template <typename Record>
std::vector<Record> RecordsAt(const std::string& file, std::size_t offset, std::size_t count) {
  const std::string bytes = file.substr(offset, count * sizeof(Record));
  std::vector<Record> records(bytes.size() / sizeof(Record));
  std::memcpy(records.data(), bytes.data(), records.size() * sizeof(Record));
  return records;
}

// The names that a shared library defines for others.
std::set<std::string> ExportedNames(const std::string& path) {
  const std::string file = test_support::read_file(path);
  const Elf64_Ehdr header = RecordsAt<Elf64_Ehdr>(file, 0, 1).at(0);
  const auto sections = RecordsAt<Elf64_Shdr>(file, header.e_shoff, header.e_shnum);
  std::set<std::string> names;
  for (const Elf64_Shdr& section : sections) {
    if (section.sh_type == SHT_DYNSYM) {
      const std::size_t texts = sections.at(section.sh_link).sh_offset;
      for (const auto& symbol : RecordsAt<Elf64_Sym>(file, section.sh_offset, section.sh_size / sizeof(Elf64_Sym))) {
        if (symbol.st_shndx != SHN_UNDEF) {
          names.insert(file.c_str() + texts + symbol.st_name);
        }
      }
    }
  }
  return names;
}

TEST(Loading, ExportsTheInterfaceAndNothingElse) {
  std::vector<std::string> expected = EntryPointNames();
  expected.insert(expected.end(),
                  {"aapi_pgn_init", "create_wkld_file", "open_wkld_file", "close_wkld_file", "delete_wkld_file",
                   "wkldfile_write_record", "wkldfile_read_record", "execute_immediate_cmd", "create_out_dir"});
  EXPECT_THAT(ExportedNames(AZURESTACKPI_LIBRARY), testing::UnorderedElementsAreArray(expected));
}

using RecordBytes = std::array<char, 136>;

RecordBytes BytesOf(const aapi_plugin_info_t& info) {
  RecordBytes bytes;
  std::memcpy(bytes.data(), &info, sizeof(info));
  return bytes;
}

void Put(RecordBytes& record, std::size_t offset, const void* bytes, std::size_t size) {
  std::memcpy(record.data() + offset, bytes, size);
}

TEST(Loading, FillsTheInformationRecordByteForByte) {
  const LoadedLibrary library;
  for (const std::uint32_t version : {1u, 2u}) {
    aapi_plugin_info_t info;
    std::memset(&info, 0xee, sizeof(info));
    ASSERT_EQ(library.init(version, &info), 0u);
    const RecordBytes actual = BytesOf(info);
    RecordBytes expected{};
    const std::array<std::uint32_t, 5> words{1, 0, 2, 0, version};
    Put(expected, 0, &version, sizeof(version));
    Put(expected, 4, actual.data() + 4, 4);  // between the fields
    Put(expected, 8, actual.data() + 8, 8);  // the table, looked at below
    Put(expected, 16, "azurestack", 10);
    Put(expected, 48, "AzureStack Plugin", 17);
    Put(expected, 80, words.data(), sizeof(words));
    Put(expected, 100, "v1.0 2017_12 AzureStack Plugin", 30);
    Put(expected, 132, actual.data() + 132, 4);  // behind the last field
    EXPECT_EQ(actual, expected) << version;
  }
}

TEST(Loading, LeavesTheRecordAloneForAnotherVersion) {
  const LoadedLibrary library;
  for (const std::uint32_t version : {0u, 3u, 0xffffffffu}) {
    aapi_plugin_info_t info;
    std::memset(&info, 0xee, sizeof(info));
    const RecordBytes before = BytesOf(info);
    EXPECT_EQ(library.init(version, &info), AAPI_E_VERSION);
    EXPECT_EQ(BytesOf(info), before) << version;
  }
  EXPECT_EQ(library.init(2, nullptr), AAPI_E_INVALID_ARGUMENT);
}

TEST(Loading, BothTablesHoldTheEntryPointsInOrder) {
  const LoadedLibrary library;
  std::vector<void*> expected;
  for (const std::string& name : EntryPointNames()) {
    expected.push_back(library.symbol(name));
  }
  ASSERT_EQ(expected.size(), 38u);
  EXPECT_THAT(expected, testing::Each(testing::NotNull()));
  expected.resize(40);
  for (const std::uint32_t version : {1u, 2u}) {
    std::vector<void*> slots(40);
    std::memcpy(slots.data(), &library.table(version), sizeof(aapi_entry_points_t));
    EXPECT_EQ(slots, expected) << version;
  }
  EXPECT_NE(&library.table(1), &library.table(2));
}

}  // namespace
