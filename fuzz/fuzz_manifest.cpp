// What the host reads back: manifests of a repository that may be anybody's, the events of a job, values to restore
// with.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "host/backup_events.h"
#include "host/errors.h"
#include "host/manifest.h"
#include "host/restore_changes.h"
#include "host/restore_plan.h"
#include "host/run_record.h"
#include "host/saved_machine.h"

namespace {

using namespace host;

// What is taken is written as it was read, and what restore would take lies within the machine's own path.
void ReadManifest(const std::string& text) {
  try {
    const Manifest manifest = parse_manifest(text);
    if (manifest_text(parse_manifest(manifest_text(manifest))) != manifest_text(manifest)) std::abort();
    check_manifest(manifest, manifest.machine);
    StoredStreams streams;
    for (const SavedDisk& disk : manifest.disks) streams[disk.snapshot] = {disk.snapshot, "", disk.path, {}};
    const RestorePlan plan = plan_restore(manifest, {{}, manifest.machine, manifest.backup_id}, {}, streams);
    for (const PlannedDisk& disk : plan.disks) {
      if (disk.path.find("/../") != std::string::npos) std::abort();
    }
  } catch (const ManifestError&) {
    return;  // right for nearly all texts
  }
}

void ReadRun(const std::string& text) {
  try {
    const RunRecord run = parse_run(text);
    if (run.end < run.begin) std::abort();
  } catch (const ManifestError&) {
    return;
  }
}

void ReadEvent(const std::string& text) {
  try {
    static_cast<void>(read_event(text));
  } catch (const EventError&) {
    return;
  }
}

void ReadChange(const std::string& text) {
  GivenChanges given;
  given.settings = {text};
  try {
    static_cast<void>(read_changes(given));
  } catch (const UsageError&) {
    return;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  ReadManifest(text);
  ReadRun(text);
  ReadEvent(text);
  ReadChange(text);
  return 0;
}
