#include "src/blob/page_blob_connection.h"

#include <algorithm>
#include <stdexcept>

#include "src/base/logging.h"
#include "src/base/text.h"
#include "src/blob/storage_failure.h"
#include "src/config/config.h"
#include "src/model/azurestack_storagekeys.h"
#include "storage/encoding.h"

namespace azurestackpi {
namespace {

constexpr const char* kHostBytes = "abcdefghijklmnopqrstuvwxyz0123456789.-:";
constexpr std::string_view kBlobLabel = ".blob.";

[[noreturn]] void Refuse(const char* reason) { throw std::invalid_argument(reason); }

bool IsControl(char byte) { return (byte >= 0 && byte < ' ') || byte == '\x7f'; }

// The host, lower case. It becomes part of a connection string and of requests, so it may hold nothing but a host's
// bytes.
std::string HostOf(const std::string& uri, std::size_t& end) {
  const std::size_t slash = uri.find('/');
  if (slash == std::string::npos || uri.compare(slash, 2, "//") != 0) {
    Refuse("no // in front of a host");
  }
  const std::size_t begin = slash + 2;
  end = uri.find('/', begin);
  if (end == std::string::npos) {
    Refuse("no container");
  }
  std::string host = ToLower(uri.substr(begin, end - begin));
  if (host.find_first_not_of(kHostBytes) != std::string::npos) {
    Refuse("the host is none");
  }
  return host;
}

void SplitHost(const std::string& host, azurestackpi_connection& connection) {
  const std::size_t dot = host.find('.');
  if (dot == 0 || dot == std::string::npos || host.compare(dot, kBlobLabel.size(), kBlobLabel) != 0) {
    Refuse("the host is no storage account's blob service");
  }
  connection.m_storage_account = host.substr(0, dot);
  connection.m_endpoint_suffix = host.substr(dot + kBlobLabel.size());
  if (connection.m_storage_account.find_first_of("-:") != std::string::npos || connection.m_endpoint_suffix.empty()) {
    Refuse("the host is no storage account's blob service");
  }
}

// Throws std::invalid_argument for an address of another form.
azurestackpi_connection SplitAddress(const std::string& uri) {
  azurestackpi_connection connection;
  std::size_t end_of_host = 0;
  SplitHost(HostOf(uri, end_of_host), connection);
  const std::size_t container = end_of_host + 1;
  const std::size_t slash = uri.find('/', container);
  if (slash == std::string::npos || slash == container || slash + 1 == uri.size()) {
    Refuse("no blob in a container");
  }
  connection.m_container_name = uri.substr(container, slash - container);
  connection.m_vhd_name = azurestoragewrapper::percent_decode(uri.substr(slash + 1));
  if (std::any_of(connection.m_vhd_name.begin(), connection.m_vhd_name.end(), IsControl)) {
    Refuse("the blob's name holds control characters");
  }
  return connection;
}

Status LookUpKey(const std::string& account, std::string& key) {
  // A host may begin with a disk that it knows from an earlier job: nothing has asked for the subscriptions then.
  const Status status = azurestack_storagekeys::createInstance(AzureStackPi_Config::getInstance().GetServerDef());
  return status == kOk ? azurestack_storagekeys::getInstance()->getStorageKey(account, key) : status;
}

Status Connect(const FunctionLog& log, const std::string& uri, azurestackpi_connection& connection) {
  try {
    connection = SplitAddress(uri);
  } catch (const std::invalid_argument& failure) {
    log.exception("Invalid URI Exception thrown: %s", failure.what());
    return kInvalidArgument;
  }
  const std::string& account = connection.m_storage_account;
  const std::string& suffix = connection.m_endpoint_suffix;
  log.detail("got end point suffix as  : %s", suffix.c_str());
  std::string key;
  if (const Status status = LookUpKey(account, key); status != kOk) {
    log.error("return status %d : %s for given Storage account %s", static_cast<int>(status),
              StatusText(status).c_str(), account.c_str());
    return status;
  }
  connection.m_connection_string = MakeConnectionString(account, key, suffix);
  log.detail("storage acc: %s", account.c_str());
  log.detail("container  : %s", connection.m_container_name.c_str());
  log.detail("vhd name   : %s", connection.m_vhd_name.c_str());
  log.detail("connection : constructed ! ");
  return kOk;
}

void SetProxy(AzureStackPi_Config& config, azurestoragewrapper::client_options& options) {
  if (config.GetCredsVal("IntranetProxyUrl", options.proxy, true) != kOk) {
    options.proxy.clear();
    return;
  }
  std::string user;
  std::string password;
  if (config.GetCredsVal("IntranetProxyUsername", user, true) == kOk &&
      config.GetCredsVal("IntranetProxyPassword", password, true) == kOk) {
    options.proxy_credentials.append(user).append(":").append(password);
  }
}

}  // namespace

Status GetConnection(const std::string& uri, azurestackpi_connection* connection) {
  const FunctionLog log(__func__);
  if (connection == nullptr) {
    log.error("Invalid conn: %p", static_cast<void*>(connection));
    return kInvalidArgument;
  }
  const Status status = CatchStorageFailures(log, {}, [&] { return Connect(log, uri, *connection); });
  log.flow("Leaving: rc = %d", static_cast<int>(status));
  return status;
}

std::string MakeConnectionString(const std::string& account, const std::string& key, const std::string& suffix) {
  const std::string wanted = AzureStackPi_Config::getInstance().ConfValueOr("STORAGE_ENDPOINT_PROTOCOL", "http");
  std::string text = "DefaultEndpointsProtocol=";
  text.append(EqualIgnoringCase(wanted, "https") ? "https" : "http");
  return text.append(";AccountName=")
      .append(account)
      .append(";AccountKey=")
      .append(key)
      .append(";EndpointSuffix=")
      .append(suffix);
}

azurestoragewrapper::client_options StorageOptions(aapi_keepalive_fn keepalive) {
  AzureStackPi_Config& config = AzureStackPi_Config::getInstance();
  azurestoragewrapper::client_options options;
  options.log = AzureStorageWrapperLog;
  options.keepalive = keepalive;
  options.api_version = config.ConfValueOr("STORAGE_API_VERSION", options.api_version);
  options.verify_tls = config.ValidatePeer();
  options.ca_file = options.verify_tls ? config.CaFile() : std::string();
  SetProxy(config, options);
  return options;
}

}  // namespace azurestackpi
