// What a host selected, resolved into machines.
#pragma once

#include <deque>
#include <memory>
#include <string>

#include "src/base/server_handle.h"
#include "src/base/status.h"
#include "src/model/azurestack_rg.h"

namespace azurestackpi {

/// One selection and its machines.
struct ScanEntry {
  std::string subscription;
  std::unique_ptr<azurestackRG> machines;
};

/// Selections in the order in which they are scanned: the last one first.
using ScanList = std::deque<ScanEntry>;

/// Reads the machines of every selection ("/SUBSCRIPTION[/GROUP[/VM]]", separated by blanks) and puts it at the head of
/// the list; "VM_STATE" in the configuration keeps machines in another power state out. Returns 0, the status of a
/// credential that is missing (IdentityProvider, ClientId, and without ADFS TenantId and ClientSecret), 6795 for a
/// selection of another form, 6610 for one without a subscription, or why the machines could not be listed. The list
/// then holds the selections before that one.
Status create_azurestack_scanlist(ScanList& list, const aapi_pgn_server_handle_s& server,
                                  const std::string& selections);

}  // namespace azurestackpi
