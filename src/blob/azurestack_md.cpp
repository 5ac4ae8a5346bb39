#include "src/blob/azurestack_md.h"

#include <set>

#include "src/base/logging.h"
#include "src/base/text.h"
#include "src/blob/disk_snapshots.h"
#include "src/model/resource_calls.h"
#include "src/rest/authentication.h"
#include "src/rest/json_text.h"

namespace azurestackpi {
namespace {

constexpr const char* kApiVersion = "2017-03-30";
constexpr const char* kOperationTag = "Azure-AsyncOperation: ";
constexpr const char* kDefaultStorageType = "Standard_LRS";
constexpr const char* kAccessKey = "accessSAS";
constexpr const char* kAccessSeconds = "31536000";  // 365 days: the longest backup ends before
constexpr long kNotFound = 404;

std::vector<std::string> SnapshotHeaders() {
  return {"version: 4", "content-type: application/json", "accept: application/json", "charset=utf-8"};
}

std::vector<std::string> ListHeaders() {
  return {"Version: 4", "Content-Type: application/json", "Accept: application/json", "charset=utf-8"};
}

// What asks for the page behind the one that names this address. The parameter stands anywhere in the query, its "$"
// maybe encoded; empty when it is missing.
std::string Continuation(const std::string& next_link) {
  for (const std::string& parameter : SplitText(next_link.substr(next_link.find('?') + 1), '&')) {
    const std::size_t sign = parameter.find('=');
    const std::string name = parameter.substr(0, sign);
    if (sign != std::string::npos && sign + 1 < parameter.size() &&
        (EqualIgnoringCase(name, "$skiptoken") || EqualIgnoringCase(name, "%24skiptoken"))) {
      return "&$skiptoken=" + parameter.substr(sign + 1);
    }
  }
  return {};
}

}  // namespace

// What tells the calls on one snapshot apart.
struct azurestackMD::Call {
  const char* operation;  // as log lines name it
  const char* title;      // the same at the start of a line
  Status failure;
  HttpHeader method;
  const char* action = "";             // behind the snapshot's own path
  bool failure_names_snapshot = true;  // the line of a failure does
  bool needs_no_snapshot = false;      // what the call is for is so already when there is none
  bool wants_operation = false;        // the answer to keep is the finished operation's
};

azurestackMD::azurestackMD(const azs_rest_server_s& rest) : client_(MakeResourceManagerClient(rest)) {}

azurestackMD::azurestackMD(const azs_rest_server_s& rest, vm_managed_disk_t& disk, const char* snapshot_name,
                           const char* tag)
    : client_(MakeResourceManagerClient(rest)),
      disk_(&disk),
      snapshot_name_(getValue(snapshot_name)),
      tag_(getValue(tag)) {}

Status azurestackMD::CreateUrl(const std::string& sub_url, std::string& url) const {
  const FunctionLog log(__func__);
  const std::string& host = client_.RestServer().management_endpoint;
  if (const Status status = client_.CreateQueryURL(host.c_str(), &url, sub_url.c_str()); status != kOk) {
    log.error("Query Url formation failed rc: %d", static_cast<int>(status));
    return status;
  }
  log.detail("m_url: %s", url.c_str());
  return kOk;
}

void azurestackMD::ResetResponse() { AzureStackPi_HttpClient::ResetResponse(response_); }

// The lines around every call on one snapshot.
template <typename Work>
Status azurestackMD::OnDisk(const FunctionLog& log, const char* entry, Work work) {
  log.flow("%s", entry);
  const Status status = disk_ == nullptr ? static_cast<Status>(kInvalidArgument) : work();
  log.flow("rc = %d ", static_cast<int>(status));
  return status;
}

Status azurestackMD::Execute(const FunctionLog& log, const Call& call, const _buffer_s* body, EBlockType block_type) {
  if (body != nullptr) {
    log.flow("reqbody : %s", body->c_str());
  }
  std::string url;
  if (const Status status = SnapshotUrl(log, call, url); status != kOk) {
    log.error("failed to create rest api query :%d", static_cast<int>(status));
    return status;
  }
  const Status sent = Send(call, url, body, block_type);
  const long http_status = client_.GetHttpStatusCode();
  const bool gone = call.needs_no_snapshot && http_status == kNotFound;
  if (sent != kOk || (http_status >= 400 && !gone)) {
    const std::string which = call.failure_names_snapshot ? " " + snapshot_name_ : "";
    log.error("Failed to %s%s for %s disk", call.operation, which.c_str(), disk_->m_disk_id.c_str());
    return call.failure;
  }
  log.detail("%s for %s disk is complete", call.title, disk_->m_disk_id.c_str());
  return kOk;
}

Status azurestackMD::Send(const Call& call, const std::string& url, const _buffer_s* body, EBlockType block_type) {
  HttpRequest request;
  request.url = url;
  request.method = call.method;
  request.headers = SnapshotHeaders();
  request.body = body;
  request.block_type = block_type;
  request.want_async_response = call.wants_operation;
  ResetResponse();
  return client_.SendHttpRequest(request, response_);
}

Status azurestackMD::SnapshotUrl(const FunctionLog& log, const Call& call, std::string& url) const {
  const std::string& subscription = disk_->m_disk_subscription_id;
  const std::string& group = disk_->m_disk_resource_group;
  const std::string resource =
      disk_->m_vm_id + "_" + disk_->m_disk_kind + "_" + disk_->m_lun + "_" + snapshot_name_ + "_" + tag_;
  const std::string sub_url = "subscriptions/" + subscription + "/resourcegroups/" + group +
                              "/providers/microsoft.compute/snapshots/" + resource + call.action +
                              "?api-version=" + kApiVersion;
  log.flow("sub_url %s :%s", call.operation, sub_url.c_str());
  if (!IsPathSegment(subscription) || !IsPathSegment(group) || !IsPathSegment(resource)) {
    return kInvalidArgument;
  }
  return CreateUrl(sub_url, url);
}

Status azurestackMD::CreateBody(const FunctionLog& log, _buffer_s& body) const {
  std::string region;
  std::string domain;
  if (const Status status = parseAzureEndpoint(client_.RestServer().management_endpoint, region, domain);
      status != kOk) {
    return status;
  }
  if (disk_->m_storage_account_type.empty()) {
    disk_->m_storage_account_type = kDefaultStorageType;
    log.flow("Using default %s storage account type", kDefaultStorageType);
  }
  body = R"({"location": ")" + EscapedForJson(region) + R"(", "tags": {}, "sku": {"name": ")" +
         EscapedForJson(disk_->m_storage_account_type) +
         R"("}, "properties": {"creationData": {"createOption": "copy","sourceresourceid":")" +
         EscapedForJson(disk_->m_disk_id) + R"("}}})";
  return kOk;
}

Status azurestackMD::CreateSnapshot(std::string* async_url, EBlockType block_type) {
  const FunctionLog log(__func__);
  return OnDisk(log, "Enter azurestackMD::CreateSnapshot", [&] {
    _buffer_s body;
    if (const Status status = CreateBody(log, body); status != kOk) {
      return status;
    }
    const bool waits = block_type != kShortRequest;
    const Call call{.operation = "create snapshot",
                    .title = waits ? "Create snapshot" : "Initiate snapshot",
                    .failure = kSnapshotFailed,
                    .method = kPut,
                    .failure_names_snapshot = false};
    if (const Status status = Execute(log, call, &body, block_type); status != kOk) {
      return status;
    }
    const std::string address = waits ? std::string() : GetTagValueFromResponseHeader(response_.header, kOperationTag);
    if (async_url != nullptr && !address.empty()) {
      *async_url = address;
    }
    return static_cast<Status>(kOk);
  });
}

Status azurestackMD::CheckSnapshotStatus() {
  const FunctionLog log(__func__);
  log.flow("Entering");
  Status status = kInvalidArgument;
  if (disk_ != nullptr) {
    HttpRequest request;
    request.headers = SnapshotHeaders();
    status = client_.FollowOperation(request, kOperationTag + disk_->m_extra3 + "\r");
    if (status == kOk) {
      disk_->m_extra3.clear();
    }
  }
  log.flow("Exiting");
  return status;
}

Status azurestackMD::ExportSnapshot(std::string& sas_uri) {
  const FunctionLog log(__func__);
  return OnDisk(log, "Enter azurestackMD::ExportSnapshot", [&] {
    const _buffer_s body = std::string(R"({"access": "Read", "durationInSeconds": )") + kAccessSeconds + "}";
    const Call call{.operation = "export snapshot",
                    .title = "Export snapshot",
                    .failure = kExportFailed,
                    .method = kPost,
                    .action = "/beginGetAccess",
                    .wants_operation = true};
    const Status status = Execute(log, call, &body);
    return status == kOk ? TakeAccessAddress(log, sas_uri) : status;
  });
}

Status azurestackMD::TakeAccessAddress(const FunctionLog& log, std::string& sas_uri) const {
  const std::string address = GetSASURIFromResponseBody(response_.body, kAccessKey);
  if (address.empty()) {
    log.error("Failed to fetch %s tag from http response <%s>", kAccessKey, response_.body.c_str());
    return kNoAccessAddress;
  }
  sas_uri = address;
  log.flow("Found access SAS URI %s", sas_uri.c_str());
  return kOk;
}

Status azurestackMD::CancelExportSnapshot() {
  const FunctionLog log(__func__);
  // The name in this line is the export's: a revocation is told as the end of one.
  return OnDisk(log, "Enter azurestackMD::ExportSnapshot", [&] {
    const _buffer_s body;
    const Call call{.operation = "cancel export snapshot",
                    .title = "Cancel export snapshot",
                    .failure = kCancelExportFailed,
                    .method = kPost,
                    .action = "/endGetAccess",
                    .needs_no_snapshot = true};
    return Execute(log, call, &body);
  });
}

Status azurestackMD::DeleteSnapshot() {
  const FunctionLog log(__func__);
  return OnDisk(log, "Enter azurestackMD::DeleteSnapshot", [&] {
    const Call call{.operation = "delete snapshot",
                    .title = "Delete snapshot",
                    .failure = kDeleteSnapshotFailed,
                    .method = kDelete,
                    .needs_no_snapshot = true};
    return Execute(log, call, nullptr);
  });
}

Status azurestackMD::GetALLMDSnapshots(const std::string& subscription, const std::string& snapshot_name,
                                       std::vector<std::string>& ids) {
  const FunctionLog log(__func__);
  log.detail("Enter.");
  log.detail("List all snapshots of Subscription %s.", subscription.c_str());
  // Pages asked for. The first has no continuation, so a link without one is a way back as well.
  std::set<std::string> asked;
  for (std::string continuation; asked.insert(continuation).second;) {
    if (const Status status = GetPage(log, subscription, continuation); status != kOk) {
      return status;
    }
    std::string next_link;
    if (const Status status = ParseALLMDSnapshotList(response_.header, response_.body, snapshot_name, ids, next_link);
        status != kOk) {
      log.error("Parsing of snapshot list response failed with error %d", static_cast<int>(status));
      return status;
    }
    if (next_link.empty()) {
      return kOk;
    }
    continuation = Continuation(next_link);
  }
  log.error("The list of snapshots leads back to a page that was read. AAPI_Errno = %d",
            static_cast<int>(kInternalError));
  return kInternalError;
}

Status azurestackMD::GetPage(const FunctionLog& log, const std::string& subscription, const std::string& continuation) {
  HttpRequest request;
  const std::string sub_url = "subscriptions/" + subscription +
                              "/providers/Microsoft.Compute/snapshots?api-version=" + kApiVersion + continuation;
  const Status created =
      IsPathSegment(subscription) ? CreateUrl(sub_url, request.url) : static_cast<Status>(kInvalidArgument);
  if (created != kOk) {
    log.error("Failed to create Rest Api query");
    return created;
  }
  log.detail("m_url: %s", request.url.c_str());
  request.headers = ListHeaders();
  request.block_type = kLongRequest;
  ResetResponse();
  return client_.SendHttpRequest(request, response_);
}

Status azurestackMD::ParseALLMDSnapshotList(const std::string& header, const std::string& body,
                                            const std::string& snapshot_name, std::vector<std::string>& ids,
                                            std::string& next_link) {
  const FunctionLog log(__func__);
  const std::string key = (snapshot_name.empty() ? "" : "_" + snapshot_name) + "_" + kSnapshotTag;
  log.detail("Search Corvane created snapshot, search key = %s", key.c_str());
  if (const Status status = CheckHeader(header.c_str(), body.c_str(), "snapshots"); status != kOk) {
    log.detail("Response Header check failed !!");
    return status;
  }
  JsonPtr root;
  if (const Status status = OpenJson(log, body, root); status != kOk) {
    return status;
  }
  if (const json_t* const values = json_object_get(root.get(), "value"); json_is_array(values)) {
    log.flow("Total Snapshots found : %d", static_cast<int>(json_array_size(values)));
    for (std::size_t i = 0; i < json_array_size(values); ++i) {
      const std::string id = JsonStringOrEmpty(json_array_get(values, i), "id");
      log.detail("Snapshot ID = %s", id.c_str());
      if (id.ends_with(key)) {
        log.detail("Found Corvane created snapshot, Snapshot ID = %s", id.c_str());
        ids.push_back(id);
      }
    }
  }
  next_link = JsonStringOrEmpty(root.get(), "nextLink");
  if (!next_link.empty()) {
    log.detail("%s = %s", "nextLink", next_link.c_str());
  }
  return kOk;
}

std::string azurestackMD::GetTagValueFromResponseHeader(std::string_view header, std::string_view tag) {
  const std::size_t last_end = header.rfind('\r');
  if (last_end == std::string_view::npos && !header.empty() && !tag.empty()) {
    return {};
  }
  return azurestackpi::GetTagValueFromResponseHeader(header.substr(0, last_end), tag);
}

std::string azurestackMD::GetSASURIFromResponseBody(const std::string& body, const char* tag) {
  const FunctionLog log(__func__);
  if (body.empty() || tag == nullptr || *tag == '\0') {
    log.error("Empty body or tag value specified");
    return {};
  }
  JsonPtr root;
  if (OpenJson(log, body, root) != kOk) {
    return {};
  }
  const json_t* const output = json_object_get(json_object_get(root.get(), "properties"), "output");
  std::string value = JsonStringOrEmpty(output, tag);
  if (!value.empty()) {
    log.flow("Found %s value as %s", tag, value.c_str());
  }
  return value;
}

}  // namespace azurestackpi
