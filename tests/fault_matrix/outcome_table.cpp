#include "tests/fault_matrix/outcome_table.h"

#include <sstream>

namespace fault_matrix {
namespace {

std::string Joined(const std::set<unsigned>& statuses) {
  std::string text;
  for (const unsigned status : statuses) {
    text.append(text.empty() ? "" : ", ").append(std::to_string(status));
  }
  return text.empty() ? "none" : text;
}

std::string RowText(const std::string& fault, const Outcome& row) {
  std::ostringstream text;
  text << "| " << fault << " | " << row.cases << " | " << row.whole << " | " << Joined(row.failures) << " | "
       << row.named << " | " << row.unnamed << " | " << row.cases - row.ended << " |\n";
  return text.str();
}

}  // namespace

void Outcome::Add(const Outcome& other) {
  cases += other.cases;
  ended += other.ended;
  whole += other.whole;
  failures.insert(other.failures.begin(), other.failures.end());
  named += other.named;
  unnamed += other.unnamed;
}

void OutcomeTable::Add(const std::string& fault, const Outcome& outcome) {
  if (rows_.count(fault) == 0) {
    order_.push_back(fault);
  }
  rows_[fault].Add(outcome);
}

std::string OutcomeTable::Text(const std::string& requests) const {
  std::string text = "### " + flow_ + ": " + requests +
                     "\n\n| fault | cases | all done | statuses of failures | left, named | left, not named | "
                     "crashes |\n|---|--:|--:|---|--:|--:|--:|\n";
  Outcome all;
  for (const std::string& fault : order_) {
    text += RowText(fault, rows_.at(fault));
    all.Add(rows_.at(fault));
  }
  return text + RowText("**all**", all) + "\n";
}

}  // namespace fault_matrix
