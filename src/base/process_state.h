// Process-wide state, listed in one place. Every value of the plug-in that outlives a call is a ProcessValue with a
// name: created with its default, filled on first use by its owner, and put back to the default by ResetProcessState.
// No lock guards any of them: a host uses one server from one thread.
#pragma once

#include <string>
#include <vector>

namespace azurestackpi {

class ProcessValueBase {
 public:
  ProcessValueBase(const ProcessValueBase&) = delete;
  ProcessValueBase& operator=(const ProcessValueBase&) = delete;

 protected:
  explicit ProcessValueBase(const char* name);
  virtual ~ProcessValueBase();

 private:
  friend void ResetProcessState();
  friend std::vector<std::string> ProcessStateNames();
  virtual void Reset() = 0;

  const char* name_;
  ProcessValueBase* next_;
};

/// One process-wide value. Declare at namespace scope in the .cpp file of its owner.
template <typename Value>
class ProcessValue final : public ProcessValueBase {
 public:
  explicit ProcessValue(const char* name) : ProcessValueBase(name) {}
  Value& operator*() { return value_; }
  Value* operator->() { return &value_; }

 private:
  void Reset() override { value_ = Value{}; }

  Value value_{};
};

/// Puts every process-wide value back to what it was when the library was loaded. For tests.
void ResetProcessState();

/// The names of all process-wide values, for a reader and for tests.
std::vector<std::string> ProcessStateNames();

}  // namespace azurestackpi
