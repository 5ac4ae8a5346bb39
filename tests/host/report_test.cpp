// azsbackup report: who is protected, by a repository as backups leave it, and a page that holds what comes from
// outside.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>
#include <nlohmann/json.hpp>

#include "host/console.h"
#include "host/errors.h"
#include "host/protection.h"
#include "host/protection_page.h"
#include "host/prune_plan.h"
#include "host/run_record.h"
#include "host/text_file.h"
#include "tests/host/program.h"
#include "tests/host/saved_machines.h"
#include "tests/host/test_repository.h"
#include "tests/support/read_file.h"

namespace {

using host::Protection;
using nlohmann::json;
using testing::DoubleEq;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

constexpr std::int64_t day = 86'400;

TEST(ReportStrip, ShowsHowFullEachPartOfADiskIs) {
  const auto full = DoubleEq(1);
  const auto half = DoubleEq(0.5);
  const auto none = DoubleEq(0);
  EXPECT_THAT(host::strip_of({}, 4096, 4), ElementsAre(none, none, none, none));
  EXPECT_THAT(host::strip_of({{0, 4096}}, 4096, 4), ElementsAre(full, full, full, full));
  EXPECT_THAT(host::strip_of({{0, 512}, {1536, 1024}, {3584, 512}}, 4096, 4), ElementsAre(half, half, half, half));
  EXPECT_THAT(host::strip_of({{512, 512}}, 1024, 4), ElementsAre(none, none, full, full));
  EXPECT_THAT(host::strip_of({{0, 512}}, 1536, 2), ElementsAre(DoubleEq(512.0 / 768), none));
}

TEST(ReportPage, HoldsNoMarkupOfOthers) {
  const std::string hostile = "</title><script>alert(\"1\")</script>&'\x1b";
  host::ProtectionState state;
  state.now = 2'000'000'000;
  host::MachineState machine;
  machine.path = "/s/g/" + hostile;
  machine.protection = Protection::failed;
  machine.problem = machine.next = machine.backup_id = hostile;
  machine.time = 1;
  machine.disks.push_back({{machine.path + "/" + hostile, 4096, 1, 5000, "", ""}, {}, hostile});
  machine.runs.push_back({hostile, 1, false, 0, 0, 0, hostile, hostile});
  state.machines.push_back(machine);
  state.runs.push_back({hostile, 0, 0, 0, 1, 0, 0, hostile});
  const std::string page = host::protection_page(state, hostile);
  EXPECT_THAT(page, HasSubstr("&lt;script&gt;alert(&quot;1&quot;)&lt;/script&gt;&amp;&#39;\\x1b"));
  EXPECT_THAT(page, Not(HasSubstr("<script")));
}

TEST(ReportFile, TakesThePlaceOfAFileOnly) {
  const test_support::TemporaryDirectory folder;
  const std::string path = folder.write_file("page", "old");
  host::replace_file(path, "new");
  EXPECT_EQ(test_support::read_file(path), "new");
  std::filesystem::create_symlink(path, folder.path("link"));
  EXPECT_THROW(host::replace_file(folder.path("link"), "x"), host::UsageError);
  EXPECT_THROW(host::replace_file(folder.path(""), "x"), host::UsageError);
  EXPECT_THROW(host::replace_file("/dev/full", "x"), host::UsageError);
  EXPECT_THROW(host::replace_file(folder.path("absent/page"), "x"), std::system_error);
}

class Report : public host_test::RepositoryTest {
 protected:
  void protect(const std::string& machine, const std::string& backup_id) const {
    const auto disk = host_test::store_disk(restic_, machine + host_test::managed_disk,
                                            host_test::disk_stream("conectix"), backup_id);
    host_test::store_manifest(restic_, host_test::manifest_of(machine, backup_id, {disk}));
  }
  void record(const std::string& backup_id, std::vector<host::MachineResult> machines,
              std::vector<host::LeftOut> refused) const {
    constexpr std::int64_t after_all = 4'000'000'000;
    host::RunRecord run{after_all - 60, after_all, {}};
    run.outcome.backup_id = backup_id;
    run.outcome.machines = std::move(machines);
    run.outcome.discovery.refused = std::move(refused);
    host::store_run(restic_, run);
  }
  host::ProtectionState read(std::int64_t days_later) const {
    const host::Console console(2);
    host::Progress progress(console, true);
    const std::int64_t stored = host::seconds_of(restic_.snapshots(host::manifest_tag).back().time);
    return host::read_protection(restic_, {stored + days_later * day, day, 2}, progress);
  }
};

host::MachineResult result_of(const std::string& machine, const std::string& problem) {
  host::MachineResult result;
  result.machine = machine;
  result.is_protected = problem.empty();
  result.problem = problem;
  return result;
}

// Machine a is protected, b failed in a later run that was spread over two processes, c was refused and has no backup.
TEST_F(Report, TellsWhoIsProtected) {
  protect("/s/g/a", "100");
  protect("/s/g/b", "100");
  record("99", {result_of("/s/g/old", "is not told of: two runs are asked for")}, {});
  record("100", {result_of("/s/g/a", ""), result_of("/s/g/b", "")}, {});
  record("101", {result_of("/S/G/B", "the disk is \xff busy")}, {});
  record("101", {result_of("/s/g/a", "")}, {{"/s/g/c", "it has five disks"}});

  const host::ProtectionState state = read(0);
  ASSERT_EQ(state.machines.size(), 3U);
  const auto& [b, c, a] = std::tie(state.machines[0], state.machines[1], state.machines[2]);
  EXPECT_EQ(b.path, "/s/g/b");
  EXPECT_EQ(b.protection, Protection::failed);
  EXPECT_THAT(b.problem, HasSubstr("busy"));
  EXPECT_EQ(b.backup_id, "100");
  EXPECT_EQ(c.problem, "it has five disks");
  EXPECT_EQ(c.time, 0);
  EXPECT_EQ(a.protection, Protection::current);
  EXPECT_EQ(a.runs.size(), 2U);
  ASSERT_EQ(a.disks.size(), 1U);
  EXPECT_EQ(a.disks[0].ranges.size(), 2U);
  ASSERT_EQ(state.runs.size(), 2U);
  EXPECT_EQ(state.runs[1].protected_machines, 1U);
  EXPECT_EQ(state.runs[1].failed_machines, 2U);
  EXPECT_EQ(read(2).machines[0].protection, Protection::stale) << "a, which sorts first now that it is too old";

  const std::string page = folder_.path("page.html");
  EXPECT_EQ(run({"report", "--runs", "2", "--html", page}).exit_code, 3);
  EXPECT_THAT(test_support::read_file(page), HasSubstr("1 of 3 machines are protected"));
  const auto told = json::parse(run({"report", "--runs", "2", "--json"}).output);
  EXPECT_EQ(told["machines"].size(), 3U);
  EXPECT_EQ(told["exit_code"], 3);
}

// What cannot be read of one machine or one run is told there, and the rest as ever.
TEST_F(Report, TellsWhatIsDamaged) {
  protect("/s/g/a", "100");
  const auto disk = host_test::store_disk(restic_, "/s/g/b" + host_test::managed_disk,
                                          "no stream of a disk at all, but "
                                          "long enough for its header",
                                          "100");
  host_test::store_manifest(restic_, host_test::manifest_of("/s/g/b", "100", {disk}));
  for (const char* path : {"/run.json", "/s/g/c/manifest.json"}) {
    host::ResticUpload upload(restic_, path, {path[1] == 'r' ? host::run_tag : host::manifest_tag, "backup=100"});
    upload.write("{}", 2);
    upload.finish();
  }
  const host::ProtectionState state = read(0);
  ASSERT_EQ(state.machines.size(), 3U);
  EXPECT_THAT(state.machines[0].problem, HasSubstr("its stream is damaged"));
  EXPECT_THAT(state.machines[1].problem, HasSubstr("its newest backup is damaged"));
  EXPECT_EQ(state.machines[2].protection, Protection::current);
  ASSERT_EQ(state.runs.size(), 1U);
  EXPECT_THAT(state.runs[0].error, HasSubstr("cannot be read"));
  EXPECT_THAT(host::protection_page(state, "r"), HasSubstr("not known"));
}

TEST_F(Report, RecordsGoWithTheBackupsOfTheirTime) {
  record("1", {}, {});
  protect("/s/g/a", "2");
  record("2", {}, {});
  host::carry_out(restic_, host::plan_prune(restic_, {"--keep-last", "1"}, 0));
  const auto runs = host::list_runs(restic_);
  ASSERT_EQ(runs.size(), 1U);
  EXPECT_EQ(runs[0].tag("backup"), "2");
}

}  // namespace
