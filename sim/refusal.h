// The way out of a route that cannot answer what was asked.
#pragma once

#include <stdexcept>
#include <string>
#include <utility>

namespace sim {

/// Thrown by a route: the gateway answers with Resource Manager's error of that status, code and message.
class Refusal : public std::runtime_error {
 public:
  /// `target` names the parameter that is to blame; most refusals have none.
  Refusal(int status, std::string code, const std::string& message, std::string target = "")
      : std::runtime_error(message), status_(status), code_(std::move(code)), target_(std::move(target)) {}

  int status() const { return status_; }
  const std::string& code() const { return code_; }
  const std::string& target() const { return target_; }

 private:
  int status_;
  std::string code_;
  std::string target_;
};

}  // namespace sim
