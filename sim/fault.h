// Faults that a test or an operator asks for: the n-th request of a kind is answered wrongly.
#pragma once

#include <chrono>
#include <cstdint>
#include <limits>
#include <optional>
#include <regex>
#include <string>
#include <variant>
#include <vector>

#include "sim/http_message.h"

namespace sim {

/// This answer in place of the real one; the request is not carried out. With a delivery it can be cut short too.
struct AnswerWith {
  Response response = {};
  Delivery delivery = {};
};

/// The real answer with its whole length declared, but only so many bytes of its body; then the connection is closed.
struct TruncateBody {
  std::uint64_t bytes = 0;
};

/// As TruncateBody, but the connection is reset.
struct ResetInBody {
  std::uint64_t bytes = 0;
};

/// The real answer's status and headers with another body, where an answer of that status may have one.
struct ReplaceBody {
  std::string body = {};
};

/// A reset in place of any answer; the request is not carried out. libcurl repeats a request by itself when a
/// connection that it had kept ends like this, so on such a connection it takes `times = 2` for the client to see the
/// failure.
struct ResetBeforeAnswer {};

/// As ResetBeforeAnswer, but the request is carried out: its client does not learn what became of it.
struct LoseAnswer {};

/// The real answer after a pause.
struct Delay {
  std::chrono::milliseconds duration{0};
};

/// The 401 for an invalid token, whatever the token; the request is not carried out.
struct RefuseToken {};

using FaultAction =
    std::variant<AnswerWith, TruncateBody, ResetInBody, ReplaceBody, ResetBeforeAnswer, LoseAnswer, Delay, RefuseToken>;

struct Fault {
  static constexpr std::uint64_t forever = std::numeric_limits<std::uint64_t>::max();

  std::string method = {};  // empty for any
  /// ECMAScript regular expression, searched for anywhere in the target as received: write ^ and $ to bind it.
  std::string target = {};
  std::uint64_t first = 1;  // the first matching request that gets it, counted from 1 after it was added
  std::uint64_t times = 1;  // how many matching requests in a row get it
  FaultAction action = {};
};

/// The faults in the order of their adding. A request counts for every fault it matches and gets the first that is due.
class FaultList {
 public:
  /// Throws std::invalid_argument when the pattern is no regular expression or a count is 0.
  void add(Fault fault);

  std::optional<FaultAction> take(const Request& request);

  /// One line for each fault that no request got.
  std::vector<std::string> unused() const;

  void clear() { entries_.clear(); }

 private:
  struct Entry {
    Fault fault;
    std::regex target;
    std::uint64_t matches = 0;
    bool used = false;
  };
  std::vector<Entry> entries_;
};

}  // namespace sim
