#include "src/base/process_state.h"

namespace azurestackpi {
namespace {

// A function's static is there before the first ProcessValue of any file, whatever their order.
ProcessValueBase*& ListHead() {
  static ProcessValueBase* head = nullptr;
  return head;
}

}  // namespace

ProcessValueBase::ProcessValueBase(const char* name) : name_(name), next_(ListHead()) { ListHead() = this; }

ProcessValueBase::~ProcessValueBase() {
  for (ProcessValueBase** link = &ListHead(); *link != nullptr; link = &(*link)->next_) {
    if (*link == this) {
      *link = next_;
      return;
    }
  }
}

void ResetProcessState() {
  for (ProcessValueBase* value = ListHead(); value != nullptr; value = value->next_) {
    value->Reset();
  }
}

std::vector<std::string> ProcessStateNames() {
  std::vector<std::string> names;
  for (const ProcessValueBase* value = ListHead(); value != nullptr; value = value->next_) {
    names.emplace_back(value->name_);
  }
  return names;
}

}  // namespace azurestackpi
