#include "src/blob/managed_disk_import.h"

#include "platform/clock.h"
#include "src/base/logging.h"
#include "src/blob/page_blob_snapshots.h"
#include "src/blob/storage_failure.h"
#include "src/config/config.h"
#include "src/model/azurestack_storagekeys.h"
#include "src/model/resource_calls.h"
#include "src/rest/json_text.h"

namespace azurestackpi {
namespace {

constexpr const char* kApiVersion = "2017-03-30";
constexpr std::uint32_t kUncleanLevel = 2;  // something is left behind, and nothing failed
constexpr int kBytesToGiB = 30;             // bits

// What one import is about.
struct Import {
  const std::string& vhd_uri;
  const std::string& location;
  std::uint64_t vhd_size;  // bytes
  const md_metadata& target;
};

Status PrepareCalls(const std::string& server_name, aapi_pgn_server_handle_s& server, azs_rest_server_s& rest) {
  std::string provider;
  const Status status = AzureStackPi_Config::getInstance().GetCredsVal("IdentityProvider", provider);
  return status == kOk ? DescribeServer(server_name, server, rest) : status;
}

// The id of the account that holds the VHD, without the "/" that other ids begin with; empty when it is not known.
std::string StagingAccountId(const aapi_pgn_server_handle_s& server, const std::string& account) {
  if (account.empty() || azurestack_storagekeys::createInstance(&server) != kOk) {
    return {};
  }
  azurestack_storagekeys& accounts = *azurestack_storagekeys::getInstance();
  std::string subscription;
  std::string group;
  if (const storage_account_metadata_t* const exact = accounts.FindAccount(account)) {
    subscription = exact->m_subscription_id;
    group = exact->m_resource_group;
  } else {
    accounts.retrieve_subid_rg_for_sta(account, subscription, group);
  }
  return subscription.empty() ? std::string()
                              : "subscriptions/" + subscription + "/resourceGroups/" + group +
                                    "/providers/Microsoft.Storage/storageAccounts/" + account;
}

std::string ImportBody(const Import& import, const std::string& account_id) {
  const std::string& type = import.target.getDiskStaType();
  const std::string tier = type.substr(0, type.find('_'));
  return R"({  "location": ")" + EscapedForJson(import.location) +
         R"(","properties": {"creationData": {"createOption": "Import", "storageAccountId" : ")" +
         EscapedForJson(account_id) + R"(", "sourceUri" : ")" + EscapedForJson(import.vhd_uri) +
         R"("}, "diskSizeGB" : ")" + std::to_string(import.vhd_size >> kBytesToGiB) + R"("}, "sku" : {"name" : ")" +
         EscapedForJson(type) + R"(", "tier" : ")" + EscapedForJson(tier) + R"("}})";
}

std::string DiskPath(const md_metadata& target) {
  return "subscriptions/" + target.getSubId() + "/resourceGroups/" + target.getDiskRgName() +
         "/providers/Microsoft.Compute/disks/" + target.getUniqDiskName() + "/?api-version=" + kApiVersion;
}

Status DiskUrl(const FunctionLog& log, const Import& import, ResourceCalls& calls) {
  const md_metadata& target = import.target;
  const std::string sub_url = DiskPath(target);
  log.flow("sub_url :%s and vhd size %lu", sub_url.c_str(), import.vhd_size);
  const bool whole = IsPathSegment(target.getSubId()) && IsPathSegment(target.getDiskRgName()) &&
                     IsPathSegment(target.getUniqDiskName());
  if (!whole || calls.CreateUrl(sub_url) != kOk) {
    log.error("No address can be made for the managed disk %s; its temporary vhd %s stays",
              import.target.getUniqDiskId().c_str(), import.vhd_uri.c_str());
    return kInternalError;
  }
  log.flow("q_url :%s and vhd size %lu", calls.url().c_str(), import.vhd_size);
  return kOk;
}

void LogDiskIsThere(const FunctionLog& log, const std::string& disk_id) {
  log.error("The managed disk %s is there already and is left as it is", disk_id.c_str());
}

// Nothing that exists is overwritten: a PUT would change the disk of that name.
Status CheckDiskIsNew(const FunctionLog& log, const std::string& disk_id, ResourceCalls& calls) {
  const ResourceCalls::Presence presence = calls.Look();
  if (presence == ResourceCalls::Presence::kAbsent) {
    return kOk;
  }
  if (presence == ResourceCalls::Presence::kThere) {
    LogDiskIsThere(log, disk_id);
  } else {
    log.error("It cannot be told whether the managed disk %s is there already: %s", disk_id.c_str(),
              calls.WhyFailed().c_str());
  }
  return kInternalError;
}

Status ImportDisk(const FunctionLog& log, const aapi_pgn_server_handle_s& server, const Import& import,
                  ResourceCalls& calls) {
  const std::string disk_id = import.target.getUniqDiskId();
  const std::string account_id = StagingAccountId(server, import.target.getStagingStavalue());
  if (account_id.empty()) {
    log.error("The managed disk %s cannot be made: its staging storage account \"%s\" is not found", disk_id.c_str(),
              import.target.getStagingStavalue().c_str());
    return kInternalError;
  }
  if (const Status status = CheckDiskIsNew(log, disk_id, calls); status != kOk) {
    return status;
  }
  const _buffer_s body = ImportBody(import, account_id);
  log.flow("reqbody :%s", body.c_str());
  const Status sent = calls.Send(kPut, &body, kLongRequest, Redirect::kFollow);
  log.flow("sent http request");
  const long answer = calls.HttpStatus();
  if (sent != kOk || (answer != 200 && answer != 201 && answer != 202)) {
    log.error("The managed disk %s could not be made: %s", disk_id.c_str(), calls.WhyNotMade().c_str());
    return kInternalError;
  }
  platform::clock().sleep(1);  // the service may go on reading the VHD for a moment
  return kOk;
}

void DeleteVhd(const FunctionLog& log, const std::string& vhd_uri) {
  log.flow("Deleting temporary vhd created [%s].", vhd_uri.c_str());
  if (DeleteBlob(vhd_uri, send_keepalive_callback) != kOk) {
    LogMsg(getGlobalSessionDef(), kUncleanLevel, log.function(), "Failed to delete temporary vhd created [%s].",
           vhd_uri.c_str());
  }
}

Status ImportThenDelete(const FunctionLog& log, const std::string& server_name, const Import& import) {
  aapi_pgn_server_handle_s server;
  azs_rest_server_s rest;
  if (const Status status = PrepareCalls(server_name, server, rest); status != kOk) {
    log.error("The managed disk %s cannot be made: the login's settings cannot be read: %d",
              import.target.getUniqDiskId().c_str(), static_cast<int>(status));
    DeleteVhd(log, import.vhd_uri);
    return status;
  }
  ResourceCalls calls(rest);
  if (const Status status = DiskUrl(log, import, calls); status != kOk) {
    return status;
  }
  const Status status = CatchStorageFailures(log, {}, [&] { return ImportDisk(log, server, import, calls); });
  DeleteVhd(log, import.vhd_uri);
  return status;
}

}  // namespace

bool IsManagedDiskThere(const std::string& server_name, const md_metadata& target) {
  const FunctionLog log(__func__);
  aapi_pgn_server_handle_s server;
  azs_rest_server_s rest;
  if (PrepareCalls(server_name, server, rest) != kOk) {
    return false;
  }
  ResourceCalls calls(rest);
  const bool there = calls.CreateUrl(DiskPath(target)) == kOk && calls.Look() == ResourceCalls::Presence::kThere;
  if (there) {
    LogDiskIsThere(log, target.getUniqDiskId());
  }
  return there;
}

Status azurestack_convertblob_to_manageddisk(const std::string& server_name, const std::string& object_path,
                                             const std::string& vhd_uri, const std::string& location,
                                             std::uint64_t vhd_size, const md_metadata& target) {
  const FunctionLog log(__func__);
  log.flow("Enter");
  log.flow("server name is %s", server_name.c_str());
  log.detail("path is %s", object_path.c_str());
  log.flow("Restore time diskname is %s", target.getUniqDiskName().c_str());
  const Status status = ImportThenDelete(log, server_name, {vhd_uri, location, vhd_size, target});
  log.flow("Exiting");
  return status;
}

}  // namespace azurestackpi
