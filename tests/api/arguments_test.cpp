// Null arguments in every slot, and the entry points that only answer a status.
#include <array>
#include <map>
#include <tuple>
#include <utility>

#include "src/api/entry_points.h"
#include "tests/api/loaded_library.h"

namespace {

// The arguments that each entry point cannot do without, by position from 0; entry points that are not here take any.
const std::map<std::string, std::string> required_arguments = {
    {"claim", "0"},
    {"open_server", "0123"},
    {"get_server_prop", "01"},
    {"get_server_prop_byname", "013"},
    {"open_object", "013"},
    {"close_object", "0"},
    {"create_object", "013"},
    {"delete_object", "0"},
    {"read_object", "014"},
    {"read_object_meta", "012"},
    {"write_object", "014"},
    {"write_object_meta", "012"},
    {"flush", "0"},
    {"get_object_prop", "01"},
    {"get_object_prop_byname", "012"},
    {"open_object_list", "013"},
    {"list_object", "01"},
    {"close_object_list", "0"},
    {"allow_snapshot", "0"},
    {"disallow_snapshot", "0"},
    {"create_snapshot", "012"},
    {"delete_snapshot", "012"},
    {"rename_snapshot", "0"},
    {"get_snapshot_diff", "0"},
    {"get_realpath_from_snappath", "023"},
    {"get_snappath_from_realpath", "0123"},
    {"discovery", "01"},
    {"postprocess", "01"},
    {"set_object_utimes", "01"},
};

// Room that any pointer of a refused call may point to.
alignas(std::max_align_t) std::array<char, 4096> room{};

template <typename Argument>
Argument SomeArgument() {
  if constexpr (std::is_pointer_v<Argument>) {
    return reinterpret_cast<Argument>(room.data());
  } else {
    return 1;
  }
}

class Arguments : public api_test::LoadedLibraryTest {
 protected:
  Arguments() { EXPECT_EQ(Open("azurestack:management.r.d1.d2"), AAPI_OK); }

  // Calls the entry point with one required argument null after the other.
  template <typename... Types>
  void ExpectRefused(const std::string& name, std::uint32_t (*entry)(Types...)) {
    const auto required = required_arguments.find(name);
    // This one says what it was asked before it looks whether that can be.
    const std::size_t lines = name == "get_snappath_from_realpath" ? 2 : 0;
    for (const char position : required == required_arguments.end() ? std::string() : required->second) {
      log.clear();
      std::tuple<Types...> arguments{SomeArgument<Types>()...};
      ClearArgument(arguments, static_cast<std::size_t>(position - '0'), std::index_sequence_for<Types...>());
      EXPECT_EQ(std::apply(entry, arguments), AAPI_E_INVALID_ARGUMENT) << name << " without argument " << position;
      EXPECT_EQ(log.lines().size(), lines) << name << ": " << log.text();
    }
  }

 private:
  template <typename Tuple, std::size_t... Positions>
  static void ClearArgument(Tuple& arguments, std::size_t position, std::index_sequence<Positions...> /*all*/) {
    const bool found = ((Positions == position && Clear(std::get<Positions>(arguments))) || ...);
    ASSERT_TRUE(found) << "no pointer at " << position;
  }
  template <typename Argument>
  static bool Clear(Argument& argument) {
    argument = {};
    return std::is_pointer_v<Argument>;
  }
};

TEST_F(Arguments, NullIsRefusedInEveryRequiredPlaceWithoutALine) {
#define EXPECT_SLOT_REFUSED(name) ExpectRefused(#name, table.name);
  AZURESTACKPI_ENTRY_POINTS(EXPECT_SLOT_REFUSED)
#undef EXPECT_SLOT_REFUSED
}

TEST_F(Arguments, EntryPointsThatOnlyAnswerAStatus) {
  auto* const object = reinterpret_cast<aapi_object_t*>(room.data());
  std::uint64_t length = 1;
  constexpr std::uint32_t not_supported = 95;
  const std::vector<std::tuple<const char*, std::uint32_t, std::uint32_t>> answers = {
      {"terminate", table.terminate(), AAPI_OK},
      {"delete_object", table.delete_object(server, "/s"), AAPI_OK},
      {"read_object_meta", table.read_object_meta(object, room.data(), &length), AAPI_OK},
      {"write_object_meta", table.write_object_meta(object, room.data(), &length), AAPI_OK},
      {"flush", table.flush(object), AAPI_OK},
      {"allow_snapshot", table.allow_snapshot(server, nullptr), not_supported},
      {"disallow_snapshot", table.disallow_snapshot(server, nullptr), not_supported},
      {"rename_snapshot", table.rename_snapshot(server, nullptr, nullptr, nullptr), not_supported},
      {"get_snapshot_diff", table.get_snapshot_diff(server, nullptr, nullptr, nullptr), not_supported},
      {"preprocess", table.preprocess(nullptr, nullptr), AAPI_OK},
      {"restore_preprocess", table.restore_preprocess(nullptr), AAPI_OK},
      {"restore_postprocess", table.restore_postprocess(), AAPI_OK},
      {"recovery_preprocess", table.recovery_preprocess(nullptr), AAPI_OK},
      {"recovery_postprocess", table.recovery_postprocess(nullptr), AAPI_OK},
      {"get_app_metadata", table.get_app_metadata(nullptr), AAPI_OK},
      {"set_lastbackup_meta", table.set_lastbackup_meta(nullptr), AAPI_OK}};
  for (const auto& [name, answer, expected] : answers) {
    EXPECT_EQ(answer, expected) << name;
  }
}

TEST_F(Arguments, AWriteOfNoBytesIsRefused) {
  log.clear();
  std::uint64_t written = 7;
  auto* const object = reinterpret_cast<aapi_object_t*>(room.data());
  EXPECT_EQ(table.write_object(object, room.data(), 0, 512, &written), AAPI_E_INVALID_ARGUMENT);
  EXPECT_EQ(written, 0u);
  EXPECT_EQ(log.text(),
            "1 azurestackpi_write_object_v1: lenght: 0, offset: 512\n"
            "4 azurestackpi_write_object_v1: invalid length: 0. AAPI_Errno = 6601\n"
            "3 azurestackpi_write_object_v1: returning rc: 6601\n");
}

TEST_F(Arguments, AListShowsNoEntries) {
  aapi_object_list_t* list = nullptr;
  ASSERT_EQ(table.open_object_list(server, "/s", 0, &list), AAPI_OK);
  log.clear();
  aapi_object_info_v1_t entry{};
  EXPECT_EQ(table.list_object(list, &entry), AAPI_E_NO_MORE_ENTRIES);
  EXPECT_EQ(table.list_object(list, &entry), AAPI_E_NO_MORE_ENTRIES);
  EXPECT_TRUE(log.contains(AAPI_LOG_ERROR, "no more entries"));
  EXPECT_EQ(table.close_object_list(list), AAPI_OK);
}

}  // namespace
