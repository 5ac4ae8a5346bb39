// azsbackup backup as a whole: the program, the real plug-in, a simulated Azure Stack with its disks in a blob service,
// and a restic repository.
#include <gmock/gmock.h>

#include <algorithm>

#include "host/manifest.h"
#include "host/sha256.h"
#include "sim/client_files.h"
#include "sim/disk_content.h"
#include "sim/vhd_footer.h"
#include "tests/host/no_secret.h"
#include "tests/host/program.h"
#include "tests/sim/azurite_world.h"
#include "tests/support/read_file.h"
#include "tests/support/temporary_directory.h"

namespace {

using host_test::Outcome;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr std::int64_t gib = 1 << 30;
constexpr std::uint64_t alignment = 131'072;  // of the data in a disk's stream
const std::string subscription = "/4caa8431-21b4-4e0b-bca0-1542a5f11e23";

std::string bytes_of(const std::vector<std::uint64_t>& words) {
  return {reinterpret_cast<const char*>(words.data()), words.size() * sizeof words[0]};
}

// The stream of a disk as the world describes it, by nothing that the plug-in tells.
std::string stream_of(const std::string& disk_name) {
  std::vector<std::uint64_t> table;
  std::string data;
  const auto add = [&](std::int64_t offset, const std::string& bytes) {
    if (table.empty() || table[table.size() - 2] + table.back() != static_cast<std::uint64_t>(offset)) {
      table.insert(table.end(), {static_cast<std::uint64_t>(offset), 0});
    }
    table.back() += bytes.size();
    data += bytes;
  };
  for (const auto& [offset, size] : sim::data_ranges({}, gib)) add(offset, sim::disk_data(disk_name, offset, size));
  add(gib, sim::vhd_footer(disk_name, gib));
  const std::uint64_t metadata = 40 + 8 * table.size();
  const std::uint64_t padding = alignment - metadata % alignment;
  return bytes_of({metadata, gib + sim::vhd_footer_size, data.size(), table.size() / 2, padding}) + bytes_of(table) +
         std::string(padding, '\0') + data;
}

std::string sha256_of(const std::string& bytes) {
  host::Sha256 digest;
  digest.update(bytes.data(), bytes.size());
  return digest.finish();
}

class BackupSystem : public testing::Test {
 protected:
  BackupSystem() { sim::write_client_files(folder_.path("client"), cloud_, options_.world); }

  Outcome run(std::vector<std::string> arguments) const {
    arguments.insert(arguments.end(), {"--log-file", folder_.path("log"), "-vv"});
    return host_test::run_azsbackup(
        arguments, folder_.path("home"),
        {"AZSBACKUP_REPO=" + folder_.path("repository"), "AZSBACKUP_REPO_PASSWORD_FILE=" + password_,
         "AZSBACKUP_SERVER=" + cloud_.management_host(), "AZSBACKUP_CONFIG=" + folder_.path("client/azurestack.conf"),
         "AZSBACKUP_CREDENTIALS=" + folder_.path("client/credentials")});
  }
  // Snapshots of managed disks that were made, or deleted.
  std::ptrdiff_t snapshot_requests(const std::string& method) const {
    const auto requests = cloud_.requests();
    return std::count_if(requests.begin(), requests.end(), [&](const auto& request) {
      return request.method == method && request.status < 300 &&
             request.target.find("/snapshots/") != std::string::npos;
    });
  }
  std::vector<host::Manifest> manifests() const {
    std::vector<host::Manifest> manifests;
    for (const auto& entry : host::list_manifests(restic_)) manifests.push_back(host::load_manifest(restic_, entry));
    std::sort(manifests.begin(), manifests.end(), [](auto& left, auto& right) { return left.machine < right.machine; });
    return manifests;
  }

  const test_support::TemporaryDirectory folder_;
  const std::string password_ = folder_.write_file("password", "hunter2");
  const host::Restic restic_{{folder_.path("repository"), password_, ""}};
  const sim::Options options_ = sim_test::over_azurite();
  sim::Simulator cloud_{options_};
};

TEST_F(BackupSystem, StoresEveryByteAndLeavesNoSnapshot) {
  const Outcome outcome = run({"backup", subscription, "--init"});
  ASSERT_EQ(outcome.exit_code, 0) << outcome.output << outcome.error;
  const auto stored = manifests();
  ASSERT_EQ(stored.size(), 2U);
  EXPECT_EQ(stored[0].machine, subscription + "/Data_RG.1/DB-01");
  std::vector<std::string> digests;
  std::string texts = outcome.output + outcome.error + test_support::read_file(folder_.path("log"));
  for (const host::Manifest& manifest : stored) {
    for (const host::SavedDisk& disk : manifest.disks) digests.push_back(disk.sha256);
    texts += host::manifest_text(manifest);
  }
  EXPECT_THAT(digests, ElementsAre(sha256_of(stream_of("DB-01-os")), sha256_of(stream_of("web-01-os")),
                                   sha256_of(stream_of("web-01-data"))));
  EXPECT_GT(snapshot_requests("PUT"), 0);
  EXPECT_EQ(snapshot_requests("PUT"), snapshot_requests("DELETE"));
  host_test::expect_no_secret(texts, options_.world, cloud_.requests());
  EXPECT_EQ(run({"verify"}).exit_code, 0);
}

TEST_F(BackupSystem, ProtectsTheOtherMachineWhenADiskCannotBeExported) {
  sim::Response refused;
  refused.status = 409;
  refused.body = R"({"error":{"code":"Conflict","message":"not now"}})";
  cloud_.add_fault({.method = "POST",
                    .target = "eginGetAccess",
                    .times = sim::Fault::forever,
                    .action = sim::AnswerWith{refused, {}}});
  const Outcome outcome = run({"backup", subscription, "--init"});
  EXPECT_EQ(outcome.exit_code, 3) << outcome.output << outcome.error;
  EXPECT_THAT(outcome.output, HasSubstr("NOT PROTECTED: " + subscription + "/web-rg/web-01/ManagedDisks:"));
  EXPECT_EQ(cloud_.unused_faults(), std::vector<std::string>{});
  const auto stored = manifests();
  ASSERT_EQ(stored.size(), 1U);
  EXPECT_EQ(stored[0].machine, subscription + "/Data_RG.1/DB-01");
  EXPECT_EQ(snapshot_requests("PUT"), snapshot_requests("DELETE"));
}

}  // namespace
