#include "host/status_text.h"

#include <aapi/aapi.h>

#include <algorithm>
#include <array>

namespace host {

namespace {

struct Entry {
  std::uint32_t status;
  const char* text;
  const char* advice;
};

constexpr const char* look_at_log = "Look at the log file; run again with -v or -vv for more of it.";
constexpr const char* name_form =
    "Give the Resource Manager's host name, such as management.REGION.DOMAIN: at least four labels in all.";
constexpr const char* selection_form =
    "Write a selection as /SUBSCRIPTION, /SUBSCRIPTION/GROUP or /SUBSCRIPTION/GROUP/MACHINE.";

constexpr const char* try_again = "Run the backup again; if it stays so, look at the log file (-v, -vv).";

constexpr std::array entries{
    Entry{2, "there is no such object, or no snapshot of the disk", try_again},
    Entry{5, "an answer that is not JSON", "Check that the server is an Azure Stack and that no proxy answers for it."},
    Entry{AAPI_E_UNSUPPORTED, "not supported by the plug-in", look_at_log},
    Entry{6011, "no token could be obtained", "Check the credentials store and the login host."},
    Entry{AAPI_E_INVALID_ARGUMENT, "an argument is invalid", look_at_log},
    Entry{AAPI_E_NO_MEMORY, "out of memory", "Free some memory and try again."},
    Entry{AAPI_E_INVALID_OBJECT, "the object is not one the plug-in serves", name_form},
    Entry{6610, "a selection names no subscription", selection_form},
    Entry{6612, "the server is busy", "Try again later."},
    Entry{6613, "the disk's snapshot is not there and cannot be taken", try_again},
    Entry{AAPI_E_OPERATION_FAILED, "the operation failed", look_at_log},
    Entry{6617, "the disk's data cannot be reached", try_again},
    Entry{6619, "the network failed", "Check the network and any proxy setting, then try again."},
    Entry{AAPI_E_INTERNAL, "an internal error", look_at_log},
    Entry{6625, "the server's certificate could not be verified", "Check CA_FILE_PATH in the configuration."},
    Entry{AAPI_E_SERVER_NAME, "the server name is invalid, or no such server can be reached", name_form},
    Entry{6629, "the authorization failed", "Check the credentials store and the role of the login."},
    Entry{6630, "the resource was not found or the server is busy", look_at_log},
    Entry{6646, "the server answered with an error", look_at_log},
    Entry{6658, "a snapshot could not be taken",
          "See the role of the login, and azsbackup snapshots for what is left."},
    Entry{6661, "a value is missing in the credentials store, or an account's key cannot be had",
          "Complete the credentials store, and see that the login may list the keys of storage accounts."},
    Entry{6662, "the credentials store cannot be opened", "Give the store with --credentials FILE."},
    Entry{6777, "the export of the disk's snapshot gives no address", try_again},
    Entry{
        6778, "the disk's snapshot cannot be exported",
        "Look at the log file. Workload files of a discovery without --snapshots need VM_SNAPSHOT_IN_DISCOVERY=false."},
    Entry{6779, "the export of the disk's snapshot could not be ended", "A later sweep takes it: azsbackup snapshots."},
    Entry{6780, "the disk's snapshot could not be deleted", "Run azsbackup snapshots --sweep later."},
    Entry{6781, "the disk's snapshot is not exported", try_again},
    Entry{6782, "the disk's data cannot be opened", try_again},
    Entry{6783, "the disk's snapshot cannot be found", try_again},
    Entry{6784, "an operation of Resource Manager gives no status", try_again},
    Entry{6785, "an operation of Resource Manager does not end", try_again},
    Entry{6786, "an operation of Resource Manager failed", try_again},
    Entry{6787, "an operation of Resource Manager was cancelled", try_again},
    Entry{6788, "an operation of Resource Manager ended in an unknown way", try_again},
    Entry{6789, "the target's subscription, a resource group or the disk's type is not there",
          "Choose what is there: --to, or --set with SubId, RgName, DiskRg, DiskType."},
    Entry{6792, "the target's storage account is not there",
          "Set STAGING_STORAGE_ACCOUNTS in the configuration, or --set StagingStorageAccount or StorageAccount."},
    Entry{6793, "Azure Stack did not take the machine", "If its name is taken, give another with --as."},
    Entry{6794, "the machine's network interface could not be made", "Check the network; --set Vnet, Subnet, Nsg."},
    Entry{6797, "a network is not there", "Choose one of the target subscription: --set Vnet, Subnet, Nsg."},
    Entry{6795, "a selection has not the form that the plug-in takes", selection_form},
};

const Entry* find(std::uint32_t status) {
  const auto* entry = std::find_if(entries.begin(), entries.end(), [&](const Entry& e) { return e.status == status; });
  return entry == entries.end() ? nullptr : entry;
}

}  // namespace

std::string status_text(std::uint32_t status) {
  const Entry* entry = find(status);
  const std::string number = "status " + std::to_string(status);
  return entry == nullptr ? number : std::string(entry->text) + " (" + number + ")";
}

std::string status_advice(std::uint32_t status) {
  const Entry* entry = find(status);
  return entry == nullptr ? look_at_log : entry->advice;
}

}  // namespace host
