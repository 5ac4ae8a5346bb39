// The bearer tokens that the login authorities have given out.
#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>

namespace sim {

/// What a token says about itself; written into its middle part as a real one does.
struct TokenClaims {
  std::string audience;
  std::string issuer;
  std::string client_id;
  std::string tenant_id;
};

class TokenStore {
 public:
  enum class State { valid, expired, unknown };

  /// A new token of some 1,200 characters in the form of a JSON web token; its signature is random bytes.
  std::string issue(const TokenClaims& claims, std::int64_t now, std::int64_t lifetime_seconds);

  State state(const std::string& token, std::int64_t now) const;

  /// The moment a token given out here ends; 0 for an unknown one.
  std::int64_t expiry(const std::string& token) const;

  /// All tokens given out so far become unknown.
  void revoke_all() { expiries_.clear(); }

 private:
  std::unordered_map<std::string, std::int64_t> expiries_;
};

}  // namespace sim
