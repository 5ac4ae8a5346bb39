// Where a client gets its bearer token: the narrow interface between the HTTP client and the login.
#pragma once

#include <string>

#include "src/base/status.h"

namespace azurestackpi {

class TokenSource {
 public:
  virtual ~TokenSource() = default;

  /// The header line "Authorization: Bearer TOKEN"; empty when none can be had, with status set. force_renew asks the
  /// login authority even when a token is at hand.
  virtual std::string GetAuthToken(Status& status, bool force_renew) = 0;
};

}  // namespace azurestackpi
