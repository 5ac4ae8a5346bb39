#include "sim/token_store.h"

#include <nlohmann/json.hpp>

#include "sim/base64.h"
#include "sim/random_text.h"

namespace sim {

std::string TokenStore::issue(const TokenClaims& claims, std::int64_t now, std::int64_t lifetime_seconds) {
  const nlohmann::ordered_json header = {{"typ", "JWT"}, {"alg", "RS256"}, {"x5t", random_base64url(20)}};
  const nlohmann::ordered_json payload = {{"aud", claims.audience},
                                          {"iss", claims.issuer},
                                          {"iat", now},
                                          {"nbf", now},
                                          {"exp", now + lifetime_seconds},
                                          {"aio", random_base64url(230)},
                                          {"appid", claims.client_id},
                                          {"oid", new_guid()},
                                          {"tid", claims.tenant_id},
                                          {"uti", random_base64url(16)},
                                          {"ver", "1.0"}};
  std::string token = base64url(header.dump()) + "." + base64url(payload.dump()) + "." + random_base64url(256);
  expiries_.emplace(token, now + lifetime_seconds);
  return token;
}

TokenStore::State TokenStore::state(const std::string& token, std::int64_t now) const {
  const std::int64_t end = expiry(token);
  if (end == 0) return State::unknown;
  return now < end ? State::valid : State::expired;
}

std::int64_t TokenStore::expiry(const std::string& token) const {
  const auto found = expiries_.find(token);
  return found == expiries_.end() ? 0 : found->second;
}

}  // namespace sim
