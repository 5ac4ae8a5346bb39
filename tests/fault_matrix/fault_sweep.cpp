#include "tests/fault_matrix/fault_sweep.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iostream>

#include "tests/fault_matrix/stall_time.h"

namespace fault_matrix {
namespace {

using namespace azurestackpi;

constexpr std::size_t kStride = 37;
// Of the plug-in's own requests to the blob service; the simulator is another client of it.
constexpr const char* kVersion = "2015-04-05";
constexpr const char* kOfPlugin = "^x-ms-version: 2015-04-05$";
constexpr std::uint64_t kForGood = sim::Fault::forever;

sim::World WorldOf(const std::string& account) {
  sim::World world = backup_test::SmallWorld();
  sim::StorageAccount own = world.storage_accounts.at("demodisks1");
  own.keys = azurite::accounts().at(account);
  world.storage_accounts = {{account, own}};
  world.operation_polls = 1;
  auto& groups = world.subscriptions[0].resource_groups;
  sim::Machine& db = groups["Data_RG.1"].machines["DB-01"];
  db.os_disk.vhd->account = db.boot_diagnostics->account = account;
  // A case costs milliseconds only with little data.
  db.os_disk.content = {{{8192, 4096}, {64 * backup_test::kMiB, 8192}}};
  groups["web-rg"].disks["web-01-os"].content = {{{0, 4096}, {backup_test::kMiB, 4096}}};
  return world;
}

std::string WithoutNumbers(const std::string& text) {
  std::string masked;
  for (const char byte : text) {
    const bool digit = byte >= '0' && byte <= '9';
    if (!digit || masked.empty() || masked.back() != '#') {
      masked.push_back(digit ? '#' : byte);
    }
  }
  return masked;
}

std::string Shown(const std::string& method, const std::string& target) {
  const std::size_t query = target.find('?');
  const std::size_t comp = target.find("comp=");
  return method + " " + target.substr(0, query) +
         (comp == std::string::npos ? "" : " " + target.substr(comp, target.find('&', comp) - comp));
}

// An answer without a body cannot trickle, and a disk's data are no text.
bool Applies(const MatrixFault& fault, bool blobs, const std::string& request) {
  const bool has_body = blobs && request.starts_with("GET");
  const bool is_data = has_body && request.find("comp=") == std::string::npos;
  return (!fault.blobs_only || has_body) && !(fault.of_texts && is_data);
}

// What the plug-in may return for a service's failure. Statuses of the host's own misuse are not among them, nor those
// of another flow's work.
bool IsLegal(const std::string& flow, Status status) {
  static const std::set<Status> always{kOk,
                                       kBadJson,
                                       kNoToken,
                                       kInvalidArgument,
                                       kServerBusy,
                                       kOperationFailed,
                                       kNetworkFailure,
                                       kInternalError,
                                       kServerNameInvalid,
                                       kNotAuthorized,
                                       kServerUnavailable,
                                       kCannotCommunicate,
                                       kAsyncNoStatus,
                                       kAsyncFailed,
                                       kAsyncCanceled,
                                       kAsyncUnknown};
  static const std::map<std::string, std::set<Status>> by_flow{
      {"discovery", {kSnapshotFailed}},
      {"backup",
       {kNotFoundYet, kParameterNotFound, kNoMoreEntries, kSystemCallFailed, kSnapshotFailed, kNoAccessAddress,
        kExportFailed, kCancelExportFailed, kDeleteSnapshotFailed, kNotExported, kSnapshotBlobNotFound,
        kConfigurationInvalid}},
      {"restore",
       {kParameterNotFound, kConfigurationInvalid, kStorageAccountNotFound, kRecoveryFailed, kResourceNotCreated,
        kResourceNotFound}}};
  return always.count(status) != 0 || by_flow.at(flow).count(status) != 0;
}

}  // namespace

FaultSweep::FaultSweep(const std::string& flow) : RestoreTest(WorldOf("faults" + flow)), flow_(flow), table_(flow) {}

bool FaultSweep::Note(Status status) {
  statuses_.insert(status);
  return status == kOk;
}

void FaultSweep::Sweep() {
  Prepare();
  RunUnharmed();
  const std::vector<Case> cases = AllCases();
  const char* const only = std::getenv("AZS_FAULT_CASE");
  const std::size_t first = only != nullptr ? std::strtoul(only, nullptr, 10) : 0;
  ASSERT_LT(first, cases.size());
  const std::size_t stride = only != nullptr ? cases.size() : std::getenv("AZS_LONG") != nullptr ? 1 : kStride;
  for (std::size_t i = first; i < cases.size(); i += stride) {
    const Case& tried = cases[i];
    SCOPED_TRACE(flow_ + ", case " + std::to_string(i) + ": " + tried.fault->name +
                 (tried.for_good ? ", for good from " : ", once, ") + (tried.blobs ? "blob request " : "request ") +
                 std::to_string(tried.n) + ", " + tried.request);
    RunCase(tried);
    if (only != nullptr) std::cout << log.text();
  }
  Publish();
}

std::vector<FaultSweep::Case> FaultSweep::AllCases() const {
  std::vector<Case> cases;
  for (const bool blobs : {false, true}) {
    const Texts& requests = blobs ? blob_requests_ : management_requests_;
    for (std::size_t n = 1; n <= requests.size(); ++n) {
      for (const MatrixFault& fault : MatrixFaults()) {
        if (!Applies(fault, blobs, requests[n - 1])) continue;
        for (const bool for_good : {false, true}) cases.push_back({&fault, blobs, n, for_good, requests[n - 1]});
      }
    }
  }
  return cases;
}

void FaultSweep::RunUnharmed() {
  const std::size_t before = proxy.requests().size();
  RunFlow(nullptr);
  for (const sim::RecordedRequest& request : simulator.requests()) {
    management_requests_.push_back(Shown(request.method, request.target));
  }
  const auto seen = proxy.requests();
  for (std::size_t i = before; i < seen.size(); ++i) {
    const bool of_plugin = sim::find_header(seen[i].headers, "x-ms-version") == kVersion;
    if (of_plugin) blob_requests_.push_back(Shown(seen[i].method, seen[i].target));
  }
  for (const std::string& line : ErrorLines()) usual_errors_.insert(line);
  ASSERT_EQ(statuses_, std::set<Status>{kOk}) << log.text();
  const Outcome outcome = Judge(nullptr);
  ASSERT_EQ(outcome.whole, 1U);
  ASSERT_EQ(outcome.named + outcome.unnamed, 0U);
  ASSERT_GT(management_requests_.size(), 10U);
}

void FaultSweep::RunCase(const Case& tried) {
  Outcome outcome;
  try {
    RunFlow(&tried);
    outcome = Judge(&tried);
    outcome.ended = 1;
  } catch (const std::exception& error) {
    ADD_FAILURE() << "an exception came out: " << error.what();
  }
  simulator.clear_faults();
  proxy.clear_faults();
  outcome.cases = 1;
  table_.Add(tried.fault->name, outcome);
}

// Each case begins like a process of its own: without a token, and with nothing known of the cloud.
void FaultSweep::RunFlow(const Case* tried) {
  table->close_server(server);
  server = nullptr;
  ResetProcessState();
  ClearLog();
  statuses_.clear();
  clock.advance(1);  // names carry the second
  std::optional<ShortStallTime> short_stall_time;
  if (tried != nullptr && tried->fault->blobs_only) short_stall_time.emplace();
  StartFlow();
  simulator.clear_requests();
  if (tried != nullptr) AddFault(*tried);
  Run();
  table->close_server(server);
  server = nullptr;
  if (tried != nullptr) {
    EXPECT_EQ(simulator.unused_faults(), Texts{});
    EXPECT_EQ(proxy.unused_faults(), Texts{});
  }
  simulator.clear_faults();
  proxy.clear_faults();
}

void FaultSweep::AddFault(const Case& tried) {
  // The first blob request of a flow goes over a connection made for it, on which libcurl repeats nothing.
  const std::uint64_t once = tried.blobs && tried.n == 1 ? 1 : tried.fault->once;
  const std::uint64_t times = tried.for_good ? kForGood : once;
  if (tried.blobs) {
    proxy.add({.header = kOfPlugin, .first = tried.n, .times = times, .action = tried.fault->blobs});
  } else {
    simulator.add_fault({"", "", tried.n, times, tried.fault->management});
  }
}

Outcome FaultSweep::Judge(const Case* tried) {
  for (const Status status : statuses_) EXPECT_TRUE(IsLegal(flow_, status)) << status;
  const Texts errors = ErrorLines();
  const bool told = std::any_of(errors.begin(), errors.end(),
                                [&](const std::string& line) { return usual_errors_.count(line) == 0; });
  const bool failed = statuses_ != std::set<Status>{kOk};
  EXPECT_TRUE(!failed || told) << "a failure without a line that tells why";
  const std::set<std::string> whole = WholeMachines();
  EXPECT_TRUE(failed || told || whole.size() == 2) << "a machine is missing, and nothing tells it";
  // Before the machines' own requests come those for both.
  const bool of_both = tried != nullptr && tried->request.find("/web-01") == std::string::npos &&
                       tried->request.find("/DB-01") == std::string::npos;
  EXPECT_TRUE(tried == nullptr || tried->for_good || of_both || !whole.empty())
      << "the fault was in one machine's request";
  CheckOriginals();
  Outcome outcome = JudgeLeftOver(tried);
  outcome.whole = whole.size() == 2 && !failed ? 1 : 0;
  outcome.failures = {statuses_.begin(), statuses_.end()};
  outcome.failures.erase(kOk);
  MakeRoom();
  return outcome;
}

Outcome FaultSweep::JudgeLeftOver(const Case* tried) {
  CleanUp();
  Outcome outcome;
  for (const std::string& thing : LeftOver()) {
    const bool named = Names(thing);
    ++(named ? outcome.named : outcome.unnamed);
    EXPECT_TRUE(named || (tried != nullptr && DeniesWhatIsThere(*tried))) << thing << " is left, and no line names it";
  }
  return outcome;
}

// A service that answers a deletion with "there is none" is believed, for that is what became of the first of two.
bool FaultSweep::DeniesWhatIsThere(const Case& tried) const { return std::string(tried.fault->name) == "404"; }

Texts FaultSweep::ErrorLines() const {
  Texts lines;
  for (const test_support::LogLine& line : log.lines()) {
    if (line.level >= 4) lines.push_back(WithoutNumbers(line.text));
  }
  return lines;
}

bool FaultSweep::Names(const std::string& thing) const { return log.contains(4, thing) || log.contains(2, thing); }

void FaultSweep::Publish() const {
  const std::string text =
      table_.Text(std::to_string(management_requests_.size()) + " requests to Resource Manager and the login, " +
                  std::to_string(blob_requests_.size()) + " to the blob service");
  std::cout << text;
  if (const char* const file = std::getenv("AZS_FAULT_TABLE"); file != nullptr) {
    std::ofstream(file, std::ios::app) << text;
  }
}

}  // namespace fault_matrix
