// Snapshots that answer as a test tells them to, and keep what they were asked for.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "src/base/logging.h"
#include "src/blob/disk_snapshots.h"

namespace discovery_test {

class ScriptedSnapshots final : public azurestackpi::DiskSnapshots {
 public:
  using Status = azurestackpi::Status;

  Status CreateManagedDiskSnapshot(aapi_pgn_server_handle_s& /*server*/, const std::string& snapshot_name,
                                   const std::string& tag, azurestackpi::vm_managed_disk_t& disk,
                                   std::string* async_url, azurestackpi::EBlockType block_type) override {
    const bool waits = block_type == azurestackpi::kLongRequest && async_url == nullptr;
    return Answer("create " + disk.m_disk_id, " " + snapshot_name + " " + tag + (waits ? " wait" : ""));
  }
  Status CreateSnapshot(const std::string& uri, const std::string& snapshot_name, const std::string& tag,
                        aapi_keepalive_fn keepalive) override {
    return Answer("create " + uri, " " + snapshot_name + " " + tag + Alive(keepalive));
  }
  Status DeleteSnapshot(const std::string& uri, const std::string& snapshot_name, const std::string& tag,
                        aapi_keepalive_fn keepalive) override {
    return Answer("delete " + uri, " " + snapshot_name + " " + tag + Alive(keepalive));
  }

  /// The disks that were to be snapshotted, separated by blanks.
  std::string Names() const {
    std::string names;
    for (const std::string& call : calls) {
      const std::size_t begin = call.find(' ');
      names += call.substr(begin, call.find(' ', begin + 1) - begin);
    }
    return names.substr(names.empty() ? 0 : 1);
  }

  /// What the calls for a disk ("create DISK", "delete DISK") return, one after the other; 0 when used up.
  std::map<std::string, std::vector<Status>> answers;
  std::vector<std::string> calls;

 private:
  static std::string Alive(aapi_keepalive_fn keepalive) {
    return keepalive == azurestackpi::send_keepalive_callback ? " alive" : "";
  }
  Status Answer(const std::string& call, const std::string& arguments) {
    calls.push_back(call + arguments);
    std::vector<Status>& script = answers[call];
    if (script.empty()) {
      return azurestackpi::kOk;
    }
    const Status status = script.front();
    script.erase(script.begin());
    return status;
  }
};

}  // namespace discovery_test
