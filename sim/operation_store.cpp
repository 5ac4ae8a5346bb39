#include "sim/operation_store.h"

#include <utility>

#include "sim/random_text.h"

namespace sim {
namespace {

constexpr std::int64_t longest_seconds = 30;

}  // namespace

std::string OperationStore::add(Operation operation) {
  return operations_.emplace(new_guid(), std::move(operation)).first->first;
}

const Operation* OperationStore::poll(const std::string& id, std::int64_t now) {
  const auto found = operations_.find(id);
  if (found == operations_.end()) return nullptr;
  Operation& operation = found->second;
  if (operation.polls_left > 0 && in_progress(id, now)) {
    --operation.polls_left;
  } else if (!operation.ended) {
    operation.ended = now;
  }
  return &operation;
}

bool OperationStore::in_progress(const std::string& id, std::int64_t now) const {
  const auto found = operations_.find(id);
  if (found == operations_.end()) return false;
  const Operation& operation = found->second;
  return !operation.ended && now < operation.started + longest_seconds;
}

}  // namespace sim
