// Machines that a restore session remembers, with all their disks restored.
#pragma once

#include <string>
#include <vector>

#include "src/model/vm_records.h"
#include "src/object/restore_state.h"
#include "tests/transport/open_server.h"

namespace recovery_test {

using azurestackpi::Status;
using Texts = std::vector<std::string>;

inline const std::string kHere = sim::demo_world().subscriptions.begin()->id;  // has networks, and accounts demo*1
inline const std::string kEmpty = (sim::demo_world().subscriptions.begin() + 1)->id;

/// The saved document of machine "web-01" of group "web-rg" of the subscription: OS disk "os", data disks "d2" with LUN
/// 2 and "d0" with LUN 0, all managed or all VHDs of "https://old.blob.x/vhds/". storage: its boot diagnostics'.
std::string SavedMachine(bool managed, const std::string& subscription = kHere, const std::string& storage = "");

azurestackpi::vm_details_t ParsedMachine(const std::string& document);

/// What its metadata objects say: as it was, in group "web-rg" with network "web-vnet" of group "net-rg", subnet
/// "front" and security group "web-nsg" of group "web-rg", deallocated, without boot diagnostics.
azurestackpi::vm_details_t Entry(bool managed, const std::string& subscription = kHere);

class RecoveryTest : public transport_test::OpenServer {
 protected:
  RecoveryTest();

  /// Remembers the machine of Entry with its data disks before its OS disk.
  void Remember(bool managed);
  azurestackpi::vm_details_t& Remembered();
  std::vector<azurestackpi::RestoredDisk>& Disks();

  /// set_object_utimes of the machine's last metadata object.
  Status Recover();

  /// Answers the next request of that method whose target matches.
  void Reply(const std::string& method, const std::string& target, int status, const std::string& body = "{}");

  /// Lets the next public address ("/pip"), network interface ("/nic") or machine be made.
  void MakeAddress();
  void MakeNic();
  void MakeVm();
  void MakeAll();

  /// "METHOD TYPE/NAME..." of the requests that make or change something, in order.
  Texts Changes() const;

  /// The body of the last request for such a change.
  std::string BodyOf(const std::string& change) const;

  const std::string vm_path = "/" + kHere + "/web-rg/web-01";
};

}  // namespace recovery_test
