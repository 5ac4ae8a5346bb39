// The status words of the host framework: 0 for success, otherwise a code of the host's tables.
#pragma once

#include <cstdint>
#include <string>

namespace azurestackpi {

using Status = std::uint32_t;

enum : Status {
  kOk = 0,
  kNotFoundYet = 2,    // a restored object that does not exist so far: expected by the host
  kBadJson = 5,        // an answer that should be JSON is not
  kNotSupported = 95,  // the plug-in has no such operation
  kNoToken = 6011,     // the login authority gave no token; in neither table
  kInvalidArgument = 6601,
  kOutOfMemory = 6602,
  kVersionMismatch = 6608,
  kInvalidObject = 6609,
  kServerBusy = 6612,
  kNoMoreEntries = 6613,
  kOperationFailed = 6614,
  kSystemCallFailed = 6617,
  kNetworkFailure = 6619,
  kInternalError = 6622,
  kNotTrusted = 6625,
  kServerNameInvalid = 6626,
  kNotAuthorized = 6629,
  kServerUnavailable = 6630,
  kCannotCommunicate = 6646,
  kSnapshotFailed = 6658,
  kParameterNotFound = 6661,
  kConfigurationNotFound = 6662,
  kNoAccessAddress = 6777,  // of an exported snapshot
  kExportFailed = 6778,
  kCancelExportFailed = 6779,
  kDeleteSnapshotFailed = 6780,
  kNotExported = 6781,       // a snapshot whose access address was revoked or never asked for
  kStreamOpenFailed = 6782,  // of a managed disk, by an exception
  kSnapshotBlobNotFound = 6783,
  kAsyncNoStatus = 6784,
  kAsyncInProgress = 6785,
  kAsyncFailed = 6786,
  kAsyncCanceled = 6787,
  kAsyncUnknown = 6788,
  kConfigurationInvalid = 6789,
  kStorageAccountNotFound = 6792,
  kRecoveryFailed = 6793,
  kResourceNotCreated = 6794,
  kSelectionInvalid = 6795,
  kResourceNotFound = 6797,
};

/// The text of a status: exact for the codes this plug-in returns, a plain text that carries the number for the host's
/// shared codes (6600 to 6798 and 3200 to 3346), empty for every other number.
std::string StatusText(Status status);

/// A libcurl result other than 0 as a status, by its number.
Status MapCurlResult(int curl_result);

/// The outcome of an asynchronous operation as a status. Exact comparison: the caller lower-cases the text first.
Status MapAsyncStatus(const std::string& status_text);

}  // namespace azurestackpi
