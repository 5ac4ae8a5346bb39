// Null arguments in every slot, and the entry points that only answer a status.
#include <array>
#include <functional>
#include <map>
#include <set>
#include <tuple>
#include <utility>

#include "src/api/entry_points.h"
#include "tests/api/loaded_library.h"

namespace {

// The arguments that each entry point cannot do without, by position from 0.
const std::map<std::string, std::set<std::size_t>> required_arguments = {
    {"claim", {0}},
    {"terminate", {}},
    {"open_server", {0, 1, 2, 3}},
    {"close_server", {}},
    {"get_server_prop", {0, 1}},
    {"get_server_prop_byname", {0, 1, 3}},
    {"open_object", {0, 1, 3}},
    {"close_object", {0}},
    {"create_object", {0, 1, 3}},
    {"delete_object", {0}},
    {"read_object", {0, 1, 4}},
    {"read_object_meta", {0, 1, 2}},
    {"write_object", {0, 1, 4}},
    {"write_object_meta", {0, 1, 2}},
    {"flush", {0}},
    {"get_object_prop", {0, 1}},
    {"get_object_prop_byname", {0, 1, 2}},
    {"open_object_list", {0, 1, 3}},
    {"list_object", {0, 1}},
    {"close_object_list", {0}},
    {"allow_snapshot", {0}},
    {"disallow_snapshot", {0}},
    {"create_snapshot", {0, 1, 2}},
    {"delete_snapshot", {0, 1, 2}},
    {"rename_snapshot", {0}},
    {"get_snapshot_diff", {0}},
    {"get_realpath_from_snappath", {0, 2, 3}},
    {"get_snappath_from_realpath", {0, 1, 2, 3}},
    {"discovery", {0, 1}},
    {"preprocess", {}},
    {"postprocess", {0, 1}},
    {"restore_preprocess", {}},
    {"restore_postprocess", {}},
    {"set_object_utimes", {0, 1}},
    {"recovery_preprocess", {}},
    {"recovery_postprocess", {}},
    {"get_app_metadata", {}},
    {"set_lastbackup_meta", {}},
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

class NullArguments : public api_test::LoadedLibraryTest {
 protected:
  // Calls the entry point with one required argument null after the other.
  template <typename... Arguments>
  void ExpectRefused(const std::string& name, std::uint32_t (*entry)(Arguments...)) {
    const std::set<std::size_t>& required = required_arguments.at(name);
    // This one says what it was asked before it looks whether that can be.
    const std::size_t lines = name == "get_snappath_from_realpath" ? 2 : 0;
    for (const std::size_t position : required) {
      log.clear();
      std::tuple<Arguments...> arguments{SomeArgument<Arguments>()...};
      ClearArgument(arguments, position, std::index_sequence_for<Arguments...>());
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

TEST_F(NullArguments, AreRefusedInEveryRequiredPlaceWithoutALine) {
  ASSERT_EQ(Open("azurestack:management.r.d1.d2"), AAPI_OK);
#define EXPECT_SLOT_REFUSED(name) ExpectRefused(#name, table.name);
  AZURESTACKPI_ENTRY_POINTS(EXPECT_SLOT_REFUSED)
#undef EXPECT_SLOT_REFUSED
}

using StatusOnly = api_test::LoadedLibraryTest;

struct StatusOnlyCase {
  const char* name;
  std::function<std::uint32_t()> call;
  std::uint32_t status;
  std::string log;
};

TEST_F(StatusOnly, AnswersAndLines) {
  ASSERT_EQ(Open("azurestack:management.r.d1.d2"), AAPI_OK);
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

TEST_F(StatusOnly, AWriteOfNoBytesIsRefused) {
  ASSERT_EQ(Open("azurestack:management.r.d1.d2"), AAPI_OK);
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

TEST_F(StatusOnly, AListShowsNoEntries) {
  ASSERT_EQ(Open("azurestack:management.r.d1.d2"), AAPI_OK);
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
