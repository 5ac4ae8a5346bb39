// Snapshots of managed disks: the calls to Resource Manager that make, export, find and delete them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "src/base/logging.h"
#include "src/model/vm_records.h"
#include "src/rest/http_client.h"

namespace azurestackpi {

/// Made for one call, by one thread. A snapshot stands in its disk's resource group and is named
/// "VM-ID_KIND_LUN_NAME_TAG", so that the same disk, name and tag lead to it again.
class azurestackMD {
 public:
  /// For listing only: every call on a snapshot gives 6601.
  explicit azurestackMD(const azs_rest_server_s& rest);

  /// disk: outlives the object. A null name or tag counts as an empty one.
  azurestackMD(const azs_rest_server_s& rest, vm_managed_disk_t& disk, const char* snapshot_name, const char* tag);

  /// The address of a path of the management endpoint. Returns 0 or the status of CreateQueryURL.
  Status CreateUrl(const std::string& sub_url, std::string& url) const;

  /// Forgets the last answer.
  void ResetResponse();

  /// Makes the snapshot as a copy of the disk; a disk without a storage account type gets "Standard_LRS", in its record
  /// too. kLongRequest waits for its completion. With kShortRequest async_url, when not null, receives the address that
  /// CheckSnapshotStatus wants in m_extra3; it is left alone when the answer names none. Returns 0, 6658, or 6601 when
  /// the disk's record makes no address.
  Status CreateSnapshot(std::string* async_url, EBlockType block_type);

  /// Waits for the end of the operation at the disk's m_extra3, which is emptied when it succeeded. Returns the
  /// operation's status, 0 when there is no address.
  Status CheckSnapshotStatus();

  /// Grants read access for a year. sas_uri receives the address to read from; who has it can read the disk. Returns 0,
  /// 6777 when the answer holds no address, 6778, or 6601 as above. After a failure HttpStatus tells whether access may
  /// have been granted all the same.
  Status ExportSnapshot(std::string& sas_uri);

  /// Revokes the access; a snapshot that does not exist has none. Returns 0, 6779, or 6601 as above.
  Status CancelExportSnapshot();

  /// HTTP status of the last request's answer, whatever became of the operation behind it; 0 when there was none.
  long HttpStatus() const { return client_.GetHttpStatusCode(); }

  /// Deletes the snapshot; one that does not exist counts as deleted. Returns 0, 6780, or 6601 as above.
  Status DeleteSnapshot();

  /// Appends the resource ids of this plug-in's snapshots in a subscription: of one backup, or of all when the name is
  /// empty. Returns 0; a status when a page could not be had or read; 6622 when the pages lead nowhere. ids then holds
  /// those of the pages before.
  Status GetALLMDSnapshots(const std::string& subscription, const std::string& snapshot_name,
                           std::vector<std::string>& ids);

  /// Reads one page of that list. next_link receives the address of the next page, empty on the last one. Returns 0,
  /// the status of CheckHeader, or 5 for a body that is not JSON.
  static Status ParseALLMDSnapshotList(const std::string& header, const std::string& body,
                                       const std::string& snapshot_name, std::vector<std::string>& ids,
                                       std::string& next_link);

  /// The value of a header whose line ends in "\r"; empty when there is none.
  static std::string GetTagValueFromResponseHeader(std::string_view header, std::string_view tag);

  /// The string at "properties"."output".tag of a finished operation's body; empty when there is none.
  static std::string GetSASURIFromResponseBody(const std::string& body, const char* tag);

 private:
  struct Call;

  template <typename Work>
  Status OnDisk(const FunctionLog& log, const char* entry, Work work);
  Status Execute(const FunctionLog& log, const Call& call, const _buffer_s* body, EBlockType block_type = kLongRequest);
  Status Send(const Call& call, const std::string& url, const _buffer_s* body, EBlockType block_type);
  Status SnapshotUrl(const FunctionLog& log, const Call& call, std::string& url) const;
  Status CreateBody(const FunctionLog& log, _buffer_s& body) const;
  Status TakeAccessAddress(const FunctionLog& log, std::string& sas_uri) const;
  Status GetPage(const FunctionLog& log, const std::string& subscription, const std::string& continuation);

  AzureStackPi_HttpClient client_;
  _Response response_;
  vm_managed_disk_t* disk_ = nullptr;  // not owned; null: for listing only
  std::string snapshot_name_;
  std::string tag_;
};

}  // namespace azurestackpi
