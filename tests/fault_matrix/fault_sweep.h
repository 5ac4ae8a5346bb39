// A flow run once for each case of the fault matrix: each of its requests, times each fault, times once and for good.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tests/fault_matrix/matrix_fault.h"
#include "tests/fault_matrix/outcome_table.h"
#include "tests/object/restore_fixture.h"

namespace fault_matrix {

using backup_test::Texts;

/// A flow over the demonstration world, whose only storage account is one that no other program's tests use.
class FaultSweep : public backup_test::RestoreTest {
 protected:
  /// flow: "backup", of the account "faultsbackup".
  explicit FaultSweep(const std::string& flow);

  /// All cases in a long run (AZS_LONG), else every 37th: every fault is among them, and one request of two neighbours
  /// or more. AZS_FAULT_CASE names a single case by its number, whose log is printed. The table goes to the output and
  /// to the end of the file that AZS_FAULT_TABLE names.
  void Sweep();

  /// Once, before the first case.
  virtual void Prepare() {}
  /// Opens the server; no requests.
  virtual void StartFlow() = 0;
  /// The flow under the fault, up to its last call before the server is closed. Passes each status to Note.
  virtual void Run() = 0;
  /// With the fault gone: what a host does anyway before the next run.
  virtual void CleanUp() {}

  /// Which of the machines are done completely; one that is told to be done and is not is the flow's to complain of.
  virtual std::set<std::string> WholeMachines() = 0;
  /// Names of what there is in the cloud that was not there before and is no part of what was done completely.
  virtual Texts LeftOver() = 0;
  /// What was there before is as it was.
  virtual void CheckOriginals() {}
  /// After all that: makes room for the next case.
  virtual void MakeRoom() {}

  /// False, and remembered, when the status tells a failure.
  bool Note(azurestackpi::Status status);
  const std::set<azurestackpi::Status>& statuses() const { return statuses_; }

 private:
  struct Case {
    const MatrixFault* fault;
    bool blobs;
    std::size_t n;  // of the requests to that service, from 1
    bool for_good;
    std::string request;
  };

  std::vector<Case> AllCases() const;
  void RunUnharmed();
  void RunCase(const Case& tried);
  void RunFlow(const Case* tried);
  Outcome Judge(const Case* tried);
  Outcome JudgeLeftOver(const Case* tried);
  void AddFault(const Case& tried);
  bool DeniesWhatIsThere(const Case& tried) const;
  Texts ErrorLines() const;
  bool Names(const std::string& thing) const;
  void Publish() const;

  const std::string flow_;
  OutcomeTable table_;
  Texts management_requests_;  // of the unharmed run
  Texts blob_requests_;
  std::set<std::string> usual_errors_;  // lines of level 4 of the unharmed run, with numbers masked
  std::set<azurestackpi::Status> statuses_;
};

}  // namespace fault_matrix
