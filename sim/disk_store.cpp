#include "sim/disk_store.h"

#include <algorithm>
#include <stdexcept>

#include "sim/blob_accounts.h"
#include "sim/disk_content.h"
#include "sim/form.h"
#include "sim/random_text.h"
#include "sim/shared_key.h"
#include "sim/vhd_footer.h"

namespace sim {
namespace {

constexpr std::int64_t gib = 1 << 30;

/// Calls `work` with the name and the description of every disk that is a VHD.
template <typename Work>
void for_each_vhd(const World& world, Work work) {
  for (const Subscription& subscription : world.subscriptions) {
    for (const auto& [group_name, group] : subscription.resource_groups) {
      for (const auto& [name, machine] : group.machines) {
        if (machine.os_disk.vhd) work(machine.os_disk);
        for (const MachineDisk& disk : machine.data_disks) {
          if (disk.vhd) work(disk);
        }
      }
    }
  }
}

}  // namespace

Blob DiskStore::data_blob(const std::string& container) { return {managed_disk_account, container, "abcd"}; }

DiskStore::DiskStore(const BlobServer& server, const World& world)
    : server_(server), accounts_(blob_accounts(world)), client_(server, accounts_) {}

DiskStore::~DiskStore() {
  try {
    for (const std::string& container : std::set<std::string>(containers_)) remove(container);
  } catch (const std::exception&) {
    // The blob server may have ended before; then there is nothing to tidy up.
  }
}

void DiskStore::fill(World& world) {
  if (!there_is_a_server()) return;
  for_each_vhd(world, [this](const MachineDisk& disk) {
    client_.create_container(disk.vhd->account, disk.vhd->container);
    fill_blob(*disk.vhd, disk.name, disk.size_gb, disk.content);
  });
  for (Subscription& subscription : world.subscriptions) {
    for (auto& [group_name, group] : subscription.resource_groups) {
      for (auto& [name, disk] : group.disks) {
        disk.container = new_container();
        fill_blob(data_blob(disk.container), name, disk.size_gb, disk.content);
      }
    }
  }
}

void DiskStore::fill_blob(const Blob& blob, const std::string& disk_name, std::int64_t size_gb,
                          const DiskContent& content) {
  const std::int64_t size = size_gb * gib;
  if (!client_.create_page_blob(blob, size + vhd_footer_size)) return;
  for (const ByteRange& range : data_ranges(content, size)) {
    client_.write(blob, range.offset, disk_data(disk_name, range.offset, range.size));
  }
  client_.write(blob, size, vhd_footer(disk_name, size));
}

std::string DiskStore::new_container() {
  std::string container = new_guid();
  client_.create_container(managed_disk_account, container);
  return *containers_.insert(std::move(container)).first;
}

std::int64_t DiskStore::vhd_size(const Blob& vhd) {
  if (!there_is_a_server()) return 0;
  const std::int64_t file_size = client_.size_of(vhd);
  const std::int64_t disk_size = file_size - vhd_footer_size;
  if (disk_size <= 0) throw std::invalid_argument("it is too small");
  const std::string flaw = fixed_vhd_flaw(client_.read(vhd, disk_size, vhd_footer_size), file_size);
  if (!flaw.empty()) throw std::invalid_argument(flaw);
  return disk_size;
}

std::string DiskStore::import(const Blob& vhd, std::int64_t size_gb) {
  if (!there_is_a_server()) return "";
  const std::int64_t disk_size = vhd_size(vhd);
  const std::int64_t size = size_gb * gib;
  if (disk_size > size) throw std::invalid_argument("it is larger than the disk");
  std::string container = new_container();
  copy(vhd, data_blob(container), disk_size, size);
  return container;
}

/// Reads and writes: the blob server's own copies go on sharing their ranges with the source.
void DiskStore::copy(const Blob& source, const Blob& destination, std::int64_t source_size, std::int64_t size) {
  constexpr std::int64_t piece = 4 << 20;
  client_.create_page_blob(destination, size + vhd_footer_size);
  for (const ByteRange& range : client_.ranges(source)) {
    const std::int64_t end = std::min(range.offset + range.size, source_size);
    for (std::int64_t at = range.offset; at < end; at += piece) {
      client_.write(destination, at, client_.read(source, at, std::min(piece, end - at)));
    }
  }
  client_.write(destination, size, vhd_footer(destination.container, size));
}

std::string DiskStore::snapshot(const std::string& container) {
  if (!there_is_a_server()) return "2018-03-19T01:21:26.0000000Z";
  // Snapshots are told apart by their time in milliseconds, which the blob server does not make unique. Of two with one
  // name it reads the first and deletes both, so that the second does no harm while a later one is asked for.
  std::string& last = last_snapshots_[container];
  std::string name = client_.create_snapshot(data_blob(container));
  while (name == last) name = client_.create_snapshot(data_blob(container));
  return last = name;
}

void DiskStore::remove_snapshot(const std::string& container, const std::string& snapshot) {
  if (there_is_a_server()) client_.delete_snapshot(data_blob(container), snapshot);
}

void DiskStore::remove(const std::string& container) {
  if (there_is_a_server()) client_.delete_container(managed_disk_account, container);
  containers_.erase(container);
  policies_.erase(container);
  last_snapshots_.erase(container);
}

std::string DiskStore::grant(const std::string& container, const std::string& snapshot, const ReadPolicy& policy) {
  policies_[container].push_back(policy);
  set_policies(container);
  const Blob blob = data_blob(container);
  const StorageAccount& account = accounts_.at(blob.account);
  const std::string port = there_is_a_server() ? ":" + std::to_string(server_.port) : "";
  return server_.scheme + "://" + blob.account + ".blob." + account.endpoint_suffix + port + "/" + container + "/" +
         blob.name + "?snapshot=" + percent_encoded(snapshot) + "&" +
         policy_access_query({blob.account, signing_key(account)}, container + "/" + blob.name, policy.id);
}

void DiskStore::withdraw(const std::string& container, const std::string& policy_id) {
  std::erase_if(policies_[container], [&policy_id](const ReadPolicy& policy) { return policy.id == policy_id; });
  set_policies(container);
}

void DiskStore::set_policies(const std::string& container) {
  if (there_is_a_server()) client_.set_policies(managed_disk_account, container, policies_[container]);
}

}  // namespace sim
