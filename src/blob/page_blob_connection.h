// The way from the address of an unmanaged disk to its page blob.
#pragma once

#include <string>

#include "aapi/aapi.h"
#include "src/base/status.h"
#include "storage/client_options.h"

namespace azurestackpi {

/// Where a page blob is, and the right to it: the connection string holds the account's key, so it lives no longer than
/// the call that needs it and is logged nowhere.
struct azurestackpi_connection {
  std::string m_storage_account;    // lower case
  std::string m_container_name;     // as in the address
  std::string m_vhd_name;           // percent-escapes decoded; may hold slashes
  std::string m_endpoint_suffix;    // lower case, with the address's port
  std::string m_connection_string;  // of the account
};

/// Takes "SCHEME://ACCOUNT.blob.SUFFIX/CONTAINER/BLOB" apart and asks for the account's key. The address's scheme does
/// not matter. Returns 0; 6601 before anything is asked for when connection is null or the address is of another form;
/// or the status of the look-up of the key.
Status GetConnection(const std::string& uri, azurestackpi_connection* connection);

/// The connection string of an account, by the protocol that "STORAGE_ENDPOINT_PROTOCOL" names: https, or else http.
std::string MakeConnectionString(const std::string& account, const std::string& key, const std::string& suffix);

/// How the storage client is to speak: version, TLS, proxy and log by the configuration. keepalive may be null.
azurestoragewrapper::client_options StorageOptions(aapi_keepalive_fn keepalive);

}  // namespace azurestackpi
