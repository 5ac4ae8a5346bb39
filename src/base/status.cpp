#include "src/base/status.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace azurestackpi {
namespace {

struct StatusRow {
  Status code;
  const char* text;
};

// Only the rows that this plug-in produces have a text of their own; both tables are ordered by code.
constexpr StatusRow aapi_errtostring[] = {
    {6600, "OK"},
    {6601, "One or more of the input parameters or arguments are invalid."},
    {6602, "Insufficient memory or inadequate resources available to complete the job."},
    {6608, "The version of Corvane does not match with the version of the plug-in libraries."},
    {6609, "The Corvane plug-in cannot complete the operation because the object is invalid."},
    {6610, "An internal error occurred in the Corvane processes."},
    {6612,
     "Unable to process the request because the server resources are either busy or unavailable. Retry the operation."},
    {6613, "no more entries"},
    {6614, "Failed to complete the operation."},
    {6617, "A system call failed."},
    {6619, "An error occurred because of a network connectivity issue."},
    {6622, "An internal error has occurred in the Corvane process."},
    {6625,
     "The backup host is either unauthorized to complete operation or it is unable to establish a connection with the "
     "application server."},
    {6626, "The server name is invalid."},
    {6629, "Unable to complete the operation. Failed to authorize the user or the server."},
    {6630,
     "Unable to process the request because the server resources are either busy or unavailable. Retry the operation."},
    {6646, "Unable to communicate with the server."},
    {6658, "Backup failed. Snapshot could not be created."},
    {6661, "Unable to find the configuration parameter."},
    {6662, "Unable to find the configuration file."},
    {6777, "Partial success - failed to parse SAS URI for managed disk snapshot."},
    {6778, "Partial success - the disk snapshot export failed."},
    {6779, "Partial success - the disk snapshot cancel export failed."},
    {6780, "Partial success - failed to delete managed disk snapshot."},
    {6781, "Partial success - invalid SAS URI returned when disk snapshot was exported."},
    {6782, "Partial success - the open object for disk operation failed."},
    {6783, "Partial success - failed to obtain the disk snapshot blob."},
    {6784, "The asynchronous operation returned an unknown failure."},
    {6785, "The asynchronous operation is in progress."},
    {6786, "The asynchronous operation failed."},
    {6787, "The asynchronous operation was canceled."},
    {6788, "The asynchronous operation returned an unknown error."},
    {6789, "The configuration is invalid for the specified resource."},
    {6790, "Invalid location specified."},
    {6791, "Failed to create the disk."},
    {6792, "Unable to find a storage account."},
    {6793, "Failed to recover the VM."},
    {6794, "Failed to create the resource."},
    {6795, "An invalid backup selection is specified in the policy."},
    {6797, "Unable to find the resource."},
};
constexpr Status kLastShared = 6798;

constexpr StatusRow aapi_errtostring2[] = {{3346, "Optional threshold is not specified."}};
constexpr Status kFirstShared2 = 3200;
constexpr Status kLastShared2 = 3346;

template <std::size_t N>
std::string RowText(const StatusRow (&table)[N], Status status) {
  const auto* row = std::lower_bound(std::begin(table), std::end(table), status,
                                     [](const StatusRow& left, Status code) { return left.code < code; });
  if (row != std::end(table) && row->code == status) {
    return row->text;
  }
  return "Status " + std::to_string(status) + " of the host framework.";
}

}  // namespace

std::string StatusText(Status status) {
  if (status == kOk) {
    return "OK";
  }
  if (status >= aapi_errtostring[0].code && status <= kLastShared) {
    return RowText(aapi_errtostring, status);
  }
  if (status >= kFirstShared2 && status <= kLastShared2) {
    return RowText(aapi_errtostring2, status);
  }
  return {};
}

Status MapCurlResult(int curl_result) {
  switch (curl_result) {
    case 6:  // host not resolved
    case 7:  // no connection
      return kServerNameInvalid;
    case 60:  // certificate not verified
      return kNotTrusted;
    default:
      return kInternalError;
  }
}

Status MapAsyncStatus(const std::string& status_text) {
  constexpr std::array<std::pair<const char*, Status>, 5> outcomes{{{"", kAsyncNoStatus},
                                                                    {"inprogress", kAsyncInProgress},
                                                                    {"succeeded", kOk},
                                                                    {"failed", kAsyncFailed},
                                                                    {"canceled", kAsyncCanceled}}};
  for (const auto& [text, status] : outcomes) {
    if (status_text == text) {
      return status;
    }
  }
  return kAsyncUnknown;
}

}  // namespace azurestackpi
