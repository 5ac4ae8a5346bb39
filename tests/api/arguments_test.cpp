// Null arguments in every slot, and the entry points that only answer a status.
#include <array>
#include <functional>
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

struct StatusOnlyCase {
  const char* name;
  std::function<std::uint32_t()> call;
  std::uint32_t status;
  std::string log;
};

TEST_F(Arguments, EntryPointsThatOnlyAnswerAStatus) {
  auto* const object = reinterpret_cast<aapi_object_t*>(room.data());
  std::uint64_t length = 1;
  const std::string enter_exit = "3 @: enter\n3 @: exit\n";
  const std::string entering = "3 @: Entering\n";
  const std::string returning = "3 @: returning rc: 0\n";
  const std::vector<StatusOnlyCase> cases = {
      {"terminate", [&] { return table.terminate(); }, 0, ""},
      {"delete_object", [&] { return table.delete_object(server, "/s"); }, 0, "1 @: returning rc: 0\n"},
      {"read_object_meta", [&] { return table.read_object_meta(object, room.data(), &length); }, 0, ""},
      {"write_object_meta", [&] { return table.write_object_meta(object, room.data(), &length); }, 0, ""},
      {"flush", [&] { return table.flush(object); }, 0, ""},
      {"allow_snapshot", [&] { return table.allow_snapshot(server, nullptr); }, 95, enter_exit},
      {"disallow_snapshot", [&] { return table.disallow_snapshot(server, nullptr); }, 95, enter_exit},
      {"rename_snapshot", [&] { return table.rename_snapshot(server, nullptr, nullptr, nullptr); }, 95, enter_exit},
      {"get_snapshot_diff", [&] { return table.get_snapshot_diff(server, nullptr, nullptr, nullptr); }, 95, enter_exit},
      {"preprocess", [&] { return table.preprocess(nullptr, nullptr); }, 0, returning},
      {"restore_preprocess", [&] { return table.restore_preprocess(nullptr); }, 0, returning},
      {"restore_postprocess", [&] { return table.restore_postprocess(); }, 0, returning},
      {"recovery_preprocess", [&] { return table.recovery_preprocess(nullptr); }, 0, entering},
      {"recovery_postprocess", [&] { return table.recovery_postprocess(nullptr); }, 0, entering},
      {"get_app_metadata", [&] { return table.get_app_metadata(nullptr); }, 0, entering},
      {"set_lastbackup_meta", [&] { return table.set_lastbackup_meta(nullptr); }, 0, entering},
  };
  for (const StatusOnlyCase& given : cases) {
    log.clear();
    EXPECT_EQ(given.call(), given.status) << given.name;
    std::string expected = given.log;
    for (std::size_t at = 0; (at = expected.find('@', at)) != std::string::npos;) {
      expected.replace(at, 1, std::string("azurestackpi_") + given.name + "_v1");
    }
    EXPECT_EQ(log.text(), expected);
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
