// Faults that a test asks of the proxy in front of the blob service.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <regex>
#include <string>
#include <variant>
#include <vector>

#include "sim/fault.h"

namespace azurite {

/// The service carries the request out, but the connection is reset in place of its answer.
struct LoseAnswer {};

/// The real answer with a single byte of its body per interval.
struct Trickle {
  std::chrono::milliseconds interval{20};
};

using sim::ReplaceBody;

/// Those of the simulator mean what they mean there.
using ProxyAction = std::variant<sim::AnswerWith, sim::TruncateBody, sim::ResetInBody, sim::ResetBeforeAnswer,
                                 LoseAnswer, Trickle, ReplaceBody>;

struct ProxyFault {
  static constexpr std::uint64_t forever = sim::Fault::forever;

  std::string method = {};  // empty for any
  /// ECMAScript regular expression, searched for anywhere in the target as received: write ^ and $ to bind it.
  std::string target = {};
  /// Likewise, searched for in each header's line "name: value" with the name in small letters; empty for any headers.
  std::string header = {};
  std::uint64_t first = 1;  // the first matching request that gets it, counted from 1 after it was added
  std::uint64_t times = 1;  // how many matching requests in a row get it
  ProxyAction action = {};
};

/// The faults in the order of their adding. A request counts for every fault it matches and gets the first that is due.
class ProxyFaultList {
 public:
  /// Throws std::regex_error.
  void add(ProxyFault fault);

  std::optional<ProxyAction> take(const sim::Request& request);

  /// One line for each fault that no request got.
  std::vector<std::string> unused() const;

  void clear() { entries_.clear(); }

 private:
  struct Entry {
    ProxyFault fault;
    std::regex target;
    std::regex header;
    std::uint64_t matches = 0;
    bool used = false;
  };

  static bool matches(const Entry& entry, const sim::Request& request);

  std::vector<Entry> entries_;
};

}  // namespace azurite
