// The way out of a route that cannot answer what was asked.
#pragma once

#include <stdexcept>
#include <string>

namespace sim {

/// Thrown by a route: the gateway answers with Resource Manager's error of that status, code and message.
class Refusal : public std::runtime_error {
 public:
  Refusal(int status, std::string code, const std::string& message)
      : std::runtime_error(message), status_(status), code_(std::move(code)) {}

  int status() const { return status_; }
  const std::string& code() const { return code_; }

 private:
  int status_;
  std::string code_;
};

}  // namespace sim
