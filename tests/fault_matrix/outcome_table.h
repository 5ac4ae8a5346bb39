// What the cases of a flow came to, as the table of docs/reliability.md.
#pragma once

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace fault_matrix {

/// Of one case, or of all cases of a fault.
struct Outcome {
  std::size_t cases = 0;             // begun
  std::size_t ended = 0;             // without an exception that came out of the plug-in
  std::size_t whole = 0;             // in which all was done in spite of the fault
  std::set<unsigned> failures = {};  // statuses other than 0
  std::size_t named = 0;             // things left in the cloud that a log line names
  std::size_t unnamed = 0;           // that none does

  void Add(const Outcome& other);
};

class OutcomeTable {
 public:
  explicit OutcomeTable(std::string flow) : flow_(std::move(flow)) {}

  void Add(const std::string& fault, const Outcome& outcome);

  /// Markdown: a heading with the flow, a row for each fault in the order of their first cases, and one for all.
  std::string Text(const std::string& requests) const;

 private:
  std::string flow_;
  std::vector<std::string> order_;
  std::map<std::string, Outcome> rows_;
};

}  // namespace fault_matrix
