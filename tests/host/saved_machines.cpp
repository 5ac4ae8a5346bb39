#include "tests/host/saved_machines.h"

#include "host/sha256.h"

namespace host_test {

namespace {

constexpr std::uint64_t disk_size = 8U << 20U;
constexpr std::uint64_t data_size = 5U << 20U;
constexpr std::uint64_t sector = 512;

std::string store(const host::Restic& restic, const std::string& path, const std::string& bytes,
                  const std::vector<std::string>& tags) {
  host::ResticUpload upload(restic, path, tags);
  upload.write(bytes.data(), bytes.size());
  return restic.find(upload.finish())->id;
}

}  // namespace

std::string disk_stream(const std::string& footer) {
  const std::vector<std::uint64_t> head{72, disk_size, data_size + sector, 2,     440,
                                        0,  data_size, disk_size - sector, sector};
  std::string stream(reinterpret_cast<const char*>(head.data()), head.size() * sizeof head[0]);
  stream.append(440, '\0');
  for (std::uint64_t at = 0; at < data_size; ++at) stream += static_cast<char>(at * at >> 9U);
  stream += footer;
  stream.append(sector - footer.size(), '\0');
  return stream;
}

host::SavedDisk store_disk(const host::Restic& restic, const std::string& path, const std::string& stream,
                           const std::string& backup_id) {
  host::Sha256 digest;
  digest.update(stream.data(), stream.size());
  return {path,
          disk_size,
          stream.size(),
          disk_size - data_size - sector,
          digest.finish(),
          store(restic, path, stream, {host::disk_tag, host::backup_tag(backup_id)})};
}

host::Manifest manifest_of(const std::string& machine, const std::string& backup_id,
                           std::vector<host::SavedDisk> disks) {
  const std::string name = machine.substr(machine.rfind('/') + 1);
  const std::string configuration =
      R"({ "resources" : [ { "id" : "/subscriptions/s/resourceGroups/G/providers/Microsoft.Compute/virtualMachines/)" +
      name + R"(", "configuration" : {"tags":{"a\"b":"c\\d"}} } ] })";
  host::Manifest manifest{
      machine, "azurestack:fine.r1.stack.example", backup_id, "2026-01-31T12:00:00Z", false, {}, std::move(disks)};
  const std::string managed =
      manifest.disks.empty() || manifest.disks[0].path.find("ManagedDisks:") != std::string::npos ? "Yes" : "No";
  for (const std::string& entry :
       {"UseManagedDisk=" + managed, std::string("SubId=s"), std::string("StagingStorageAccount="),
        std::string("BootDiagnostics=Off"), std::string("Size=A1"), std::string("PowerState="), std::string("Vnet=net"),
        std::string("Subnet=default"), std::string("Key1=a\"b\\c")}) {
    manifest.objects.push_back({std::string(machine).append("/Metadata/").append(entry), "METADATA_FILE"});
  }
  manifest.objects.insert(manifest.objects.begin(), {machine + "/Metadata", std::nullopt});
  manifest.objects.push_back({machine + "/Metadata/VmName=" + name, configuration});
  return manifest;
}

std::string store_manifest(const host::Restic& restic, const host::Manifest& manifest, bool with_stream_tags) {
  std::vector<std::string> tags{host::manifest_tag, host::backup_tag(manifest.backup_id)};
  for (const host::SavedDisk& disk : manifest.disks) {
    if (with_stream_tags) tags.push_back(std::string(host::stream_tag_name) + "=" + disk.snapshot);
  }
  return store(restic, manifest.machine + host::manifest_name, host::manifest_text(manifest), tags);
}

}  // namespace host_test
