#include "host/discover_findings.h"

#include <aapi/aapi.h>
#include <gmock/gmock.h>

namespace {

using host::DiscoveryFindings;
using host::ExitCode;
using testing::HasSubstr;

const std::string refusal = "GetVmDetails: VM /s/g/m is not protected: ";
const std::string answer =
    R"(SendHttpRequest: Returning rc: 0, response: {"error":{"code":"Forbidden","message":"no role"}}, HTTP/1.1 403)";
const std::string api_error = "CheckHeader: Error calling AzureStack API (vm). AAPI_Errno = 6646";

TEST(DiscoveryFindings, TellRefusedAndUnlistedApart) {
  const DiscoveryFindings findings = host::read_discovery_findings({
      {AAPI_LOG_ERROR, refusal + "it has 5 data disks"},
      {AAPI_LOG_ERROR, refusal + "told again by another selection"},
      {AAPI_LOG_ERROR, "ParseResourceGroups: Failed to fetch all VMs in RG a. retval b. retval 6629 "},
      {AAPI_LOG_ERROR, "ParseResourceGroups: A resource group is listed without a name; its VMs are not protected"},
      {AAPI_LOG_ERROR, "ParseALLVMResponse: Next Page Exists at https://h/g/vms?$skiptoken=x"},
      {AAPI_LOG_ERROR, "ParseResourceGroups: The answer holds no list"},
      {AAPI_LOG_ERROR, "ParseALLVMResponse: A part of the list cannot be read"},
      {AAPI_LOG_DETAIL, "run_scanner: Disk of 30 GB: /s/g/m/h/c/b"},
      {AAPI_LOG_DETAIL, "run_scanner: Disk of x GB: /s/g/m/h/c/c"},
  });
  ASSERT_EQ(findings.refused.size(), 1U);
  EXPECT_EQ(findings.refused[0].what, "/s/g/m");
  EXPECT_EQ(findings.refused[0].why, "it has 5 data disks");
  ASSERT_EQ(findings.unlisted.size(), 5U);
  EXPECT_EQ(findings.unlisted[0].what, "resource group a. retval b");
  EXPECT_THAT(findings.unlisted[0].why, HasSubstr("6629"));
  EXPECT_THAT(findings.unlisted[2].why, HasSubstr(": https://h/g/vms"));
  EXPECT_EQ(findings.unlisted[2].why.find("skiptoken"), std::string::npos);
  EXPECT_THAT(findings.unlisted[4].why, HasSubstr("a part of the answer"));
  EXPECT_EQ(findings.disk_sizes, (std::map<std::string, std::uint64_t>{{"/s/g/m/h/c/b", 30}}));
}

// An answer is quoted with the machine that it was given for, and with no other.
TEST(DiscoveryFindings, QuoteTheAnswerBehindARefusal) {
  const DiscoveryFindings findings = host::read_discovery_findings({
      {AAPI_LOG_ERROR, answer},
      {AAPI_LOG_ERROR, api_error},
      {AAPI_LOG_ERROR, "GetVmDetails: Failed to fetch the network properties for vm sound"},
      {AAPI_LOG_ERROR, "ParseVMResponse: one more line"},
      {AAPI_LOG_ERROR, "GetVmDetails: VM /s/g/1 is not protected: it has 5 data disks"},
      {AAPI_LOG_ERROR, answer},
      {AAPI_LOG_ERROR, api_error},
      {AAPI_LOG_ERROR, "GetVmDetails: VM /s/g/2 is not protected: status 6646"},
  });
  ASSERT_EQ(findings.refused.size(), 2U);
  EXPECT_EQ(findings.refused[0].why, "it has 5 data disks");
  EXPECT_EQ(findings.refused[1].why, "status 6646 (Forbidden: no role)");
}

// A server's answer stands within lines; what it says must not pass for the plug-in's own words.
TEST(DiscoveryFindings, IgnoreWhatServersSay) {
  const DiscoveryFindings findings = host::read_discovery_findings({
      {AAPI_LOG_ERROR, "CheckHeader: content: " + refusal + "x"},
      {AAPI_LOG_ERROR, "CheckHeader: content: run_scanner: Total VMs scanned: 3,"},
      {AAPI_LOG_DETAIL, "GetVmDetails: Total VMs scanned: 3,"},
      {AAPI_LOG_ERROR, "CheckHeader: Next Page Exists at x"},
  });
  EXPECT_TRUE(findings.refused.empty());
  EXPECT_TRUE(findings.unlisted.empty());
  EXPECT_EQ(findings.written, std::nullopt);
}

TEST(DiscoveryEvidence, IsKeptBelowErrors) {
  EXPECT_TRUE(host::is_discovery_evidence("Discover: Failed to create directory x"));
  EXPECT_FALSE(host::is_discovery_evidence("GetVmDetails: Contents of response body: " + refusal));
}

TEST(JudgeDiscovery, SaysWhatToDo) {
  struct Case {
    std::uint32_t status;
    std::vector<std::string> lines;
    ExitCode code;
    std::vector<std::string> words;
  };
  const std::vector<Case> cases = {
      {6795, {}, ExitCode::usage, {"/SUBSCRIPTION/GROUP/MACHINE"}},
      {6610, {}, ExitCode::usage, {"no subscription", "/SUBSCRIPTION"}},
      {6646, {answer, "CheckHeader: header: HTTP/1.1 403 Forbidden", api_error}, ExitCode::failed, {"no role", "role"}},
      {256, {"PrepareWorkers: Failed to create directory /x\033y"}, ExitCode::failed, {"/x\\x1by", "TMPDIR"}},
      {6661, {"f: Failed to read value of ClientId, return"}, ExitCode::login, {"ClientId", "--credentials"}},
      {6662, {}, ExitCode::login, {"--credentials"}},
  };
  for (const Case& given : cases) {
    const host::Finding finding = host::judge_discovery(given.status, given.lines, "management.r1.stack.example");
    EXPECT_EQ(finding.code, given.code) << given.status;
    for (const auto& word : given.words) EXPECT_THAT(finding.what + "\n" + finding.next, HasSubstr(word));
  }
}

}  // namespace
