// A simulated Azure Stack in this process: Resource Manager and both login authorities behind one TLS port.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "sim/disk_digest.h"
#include "sim/fault.h"
#include "sim/http_message.h"
#include "sim/world.h"

namespace sim {

struct Options {
  std::uint16_t port = 0;  // 0: any free one
  /// Where the certificate authority is kept, and found again by a later simulator. Empty: a private directory that is
  /// removed at the end.
  std::filesystem::path tls_dir;
  World world = demo_world();
  /// Port on 127.0.0.1 of the server that holds the blobs. It must know the accounts of azurite_accounts(world). The
  /// simulator puts the disks there when it starts, and writes the port into the addresses that it tells clients. 0:
  /// there are no blobs, and addresses have no port, so that it is the one that https stands for.
  std::uint16_t blob_port = 0;
  /// "http" or "https": how the blob server is spoken to. Addresses of exported snapshots have it; those of storage
  /// accounts and VHDs are always of https, as an Azure Stack tells them.
  std::string blob_scheme = "http";
  /// The record forgets its oldest request beyond this many, so that a long run does not fill the memory.
  std::size_t record_limit = 100'000;
};

struct RecordedRequest : Request {
  int status = 0;  // what was answered; 0 when the connection was cut before any answer
};

/// Listens on 127.0.0.1 from its construction to its destruction. All members may be called from any thread, while
/// requests are served.
class Simulator {
 public:
  /// Throws std::runtime_error (or a class derived from it) when the port is taken, tls_dir cannot be used or the blob
  /// server does not take the disks.
  explicit Simulator(Options options = {});

  /// Cuts open connections and returns when nothing of the simulator runs any more.
  ~Simulator();

  Simulator(const Simulator&) = delete;
  Simulator& operator=(const Simulator&) = delete;

  std::uint16_t port() const;

  /// Hosts with their port: "management.local.azurestack.localhost:8443". curl takes every name under "localhost" for
  /// the loopback interface.
  std::string management_host() const;
  std::string aad_host() const;
  std::string adfs_host() const;

  /// The PEM file of the authority that a client must trust.
  std::filesystem::path ca_file() const;

  /// Every well-formed request (up to Options::record_limit) since the start or the last clear_requests(), in the order
  /// of the answers, secrets included. Those of the control end point are left out.
  std::vector<RecordedRequest> requests() const;
  void clear_requests();

  /// Connections so far that got through their TLS handshake.
  std::size_t connections() const;

  /// Throws std::invalid_argument when the fault's pattern is no regular expression or a count is 0.
  void add_fault(Fault fault);

  /// Ends all faults, used or not.
  void clear_faults();

  /// One line for each fault that no request got: a test that ends with one has not tested what it meant to.
  std::vector<std::string> unused_faults() const;

  /// Method, host and target of each request that no route was found for: a client that asks for what does not exist.
  std::vector<std::string> unknown_requests() const;

  /// What the cloud holds now, secrets included: what requests made, changed and deleted since the start.
  World world() const;

  /// The same as JSON text without secrets; see state_json.
  std::string state() const;

  /// What a disk holds now, named by a managed disk's id or a VHD's address. Throws std::invalid_argument when it names
  /// neither or there is no blob server, BlobError when the blob is not there.
  DiskDigest disk_digest(const std::string& disk) const;

  /// Makes all tokens given out so far invalid.
  void revoke_tokens();

  /// Moves the simulator's clock forward; tokens expire by it.
  void advance_time(std::int64_t seconds);

 private:
  class Implementation;
  std::unique_ptr<Implementation> implementation_;
};

}  // namespace sim
