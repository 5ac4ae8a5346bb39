// A plug-in small enough to see through, for the tests of the loader and of the program's frame. Compiled several
// times: FAKE_INIT_STATUS refuses the version, FAKE_EMPTY_SLOT leaves one entry point out. The first label of the
// server name, its kind, says how the property query ends: "works", or "fails" with 6614. For a discovery it says what
// becomes of the workload files: "torn" leaves one that breaks off, "short" none for the one machine that it counts,
// "silent" none and no count, "works" none since there is no machine. A name of fewer than four labels gives 6601 and
// still a handle, as the real one does.
//
// For a backup there are two machines, "first" (running) and "second", of one disk each. What is wrong with the first
// one is the kind, too: "fine" nothing, "breaks" a read of its disk fails in the middle, "early" it ends there without
// an error, "empty" the disk's size is 0, "locked" it cannot be opened, "signal" this process gets SIGTERM in the
// middle, "killed" SIGKILL; with "unset" the snapshots of its disks end in 6661, with "foreign" its configuration is
// another machine's. What is opened and closed, and the snapshots that are released or swept, are in the log at the
// error level.
//
// In a restore every call is in the log, at the error level, too. What is wrong with the machine "first" is the kind:
// "refused" its target, "unmade" that it cannot be made of its disks, "signal" and "killed" as above, in the middle of
// its disk. A disk that is closed before its stream's end gives 6614, as the real one does.
#include <aapi/aapi.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>

#ifndef FAKE_INIT_STATUS
#define FAKE_INIT_STATUS 0
#endif

struct aapi_pgn_server_handle_s {
  const aapi_session_def_v1_t* session;
  std::string kind;
  std::string snapshot;
};

struct aapi_object_s {
  std::string path;
  bool is_disk;
  bool has_fault;
  std::string bytes = {};  // to be read
  std::uint64_t position = 0;
  std::array<std::uint64_t, 5> header = {};  // of a stream that is written
};

namespace {

using Text = const char*;

constexpr std::uint64_t disk_size = 8 << 20;
constexpr std::uint64_t most_at_once = 1'000'003;  // fewer bytes than asked for are no end: the host comes again

aapi_server_t the_server;

bool is_kind(const std::string& kind) { return the_server.kind == kind; }

bool has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

void log(const std::string& line, std::uint32_t level = AAPI_LOG_ERROR) {
  the_server.session->log("tag", line.c_str(), level);
}

std::uint32_t claim(Text name) { return std::strncmp(name, "azurestack:", 11) == 0 ? AAPI_OK : AAPI_E_INVALID_OBJECT; }

std::uint32_t open_server(const aapi_session_def_v1_t* session, Text name, const aapi_credentials_v1_t* credentials,
                          aapi_server_t** out) {
  const std::string server = std::strchr(name, ':') + 1;
  the_server = {session, server.substr(0, server.find('.')), ""};
  *out = &the_server;
  log(credentials->text[0] == '\0' ? "opened without login" : "opened with login");
  return std::count(server.begin(), server.end(), '.') < 3 ? AAPI_E_INVALID_ARGUMENT : AAPI_OK;
}

std::uint32_t close_server(aapi_server_t*) {
  log("closed");
  return AAPI_OK;
}

// What is backed up.

// Header, one range, padding, data.
std::string disk_stream() {
  constexpr std::uint64_t data_size = 5 << 20;
  constexpr std::uint64_t padding = 456;
  const std::array<std::uint64_t, 7> head{56, disk_size, data_size, 1, padding, 0, data_size};
  std::string stream(reinterpret_cast<Text>(head.data()), sizeof head);
  stream.append(padding, '\0');
  for (std::uint64_t at = stream.size(); at < 56 + padding + data_size; ++at) stream += static_cast<char>(at * at >> 9);
  return stream;
}

// What the metadata object holds: the last of a machine its configuration.
std::string metadata_of(const std::string& path) {
  const std::size_t name = path.find("/VmName=");
  if (name == std::string::npos) return "METADATA_FILE";
  const bool is_foreign = is_kind("foreign") && has(path, "/first/");
  return R"({"resources":[{"id":"/subscriptions/s/resourceGroups/g/providers/Microsoft.Compute/virtualMachines/)" +
         (is_foreign ? "another" : path.substr(name + std::strlen("/VmName="))) + R"(","configuration":{}}]})";
}

std::uint32_t get_snappath_from_realpath(aapi_server_t*, Text snapshot, Text path, char* out, std::uint64_t size) {
  the_server.snapshot = snapshot;
  (void)std::snprintf(out, size, "%s", path);
  return AAPI_OK;
}

std::uint32_t query_machine_object(const std::string& path, aapi_object_info_v1_t& out) {
  const bool is_first = has(path, "/first/");
  out = {};
  out.object_type = AAPI_OBJECT_DIRECTORY;
  if (has(path, "/os.vhd")) {
    if (the_server.snapshot.empty()) return AAPI_E_INVALID_ARGUMENT;
    out.object_type = AAPI_OBJECT_FILE;
    out.size = is_first && is_kind("empty") ? 0 : disk_size;
  } else if (has(path, "/VmName=") || has(path, "/UseManagedDisk=")) {
    out.object_type = AAPI_OBJECT_FILE;
    out.size = metadata_of(path).size();
    if (is_first && is_kind("unset") && has(path, "=No")) return 6661;
  }
  return AAPI_OK;
}

std::uint32_t open_object(aapi_server_t*, Text path, std::uint32_t, aapi_object_t** out) {
  const bool is_disk = has(path, "/os.vhd");
  const bool has_fault = is_disk && has(path, "/first/");
  log(std::string("open ") + path);
  if (has_fault && is_kind("locked")) return 6781;
  auto object = std::make_unique<aapi_object_t>(
      aapi_object_t{path, is_disk, has_fault, is_disk ? disk_stream() : metadata_of(path)});
  if (has_fault && is_kind("early")) object->bytes.pop_back();
  *out = object.release();
  return AAPI_OK;
}

void meet_signal() {
  if (is_kind("signal")) (void)std::raise(SIGTERM);
  if (is_kind("killed")) (void)std::raise(SIGKILL);
}

std::uint32_t read_object(aapi_object_t* object, void* buffer, std::uint64_t length, std::uint64_t offset,
                          std::uint64_t* count) {
  *count = 0;
  if (offset != object->position) return AAPI_E_INVALID_ARGUMENT;
  if (object->has_fault && offset >= object->bytes.size() / 2) {
    meet_signal();
    if (is_kind("breaks")) return AAPI_E_OPERATION_FAILED;
  }
  *count = object->bytes.copy(static_cast<char*>(buffer), std::min(length, most_at_once), offset);
  if (!object->is_disk) static_cast<char*>(buffer)[*count] = '\0';
  object->position += *count;
  return AAPI_OK;
}

std::uint32_t delete_snapshot(aapi_server_t*, Text path, const aapi_snapshot_v1_t*) {
  log(std::string("release ") + path);
  return AAPI_OK;
}

std::uint32_t postprocess(aapi_server_t*, Text selections, Text snapshot) {
  log(std::string("sweep ") + selections);
  log("f: Delete Managed Disk stale snapshots of Subscriptions s .", AAPI_LOG_DETAIL);
  return snapshot[0] == '\0' ? AAPI_E_INVALID_ARGUMENT : AAPI_OK;
}

// What is restored.

bool is_restore() { return the_server.session->session_kind == AAPI_SESSION_RESTORE; }

bool is_disk_path(const std::string& path) {
  return std::count(path.begin(), path.end(), '/') == 6 && !has(path, "/Metadata/");
}

std::uint32_t ask_for(const std::string& path) {
  constexpr std::uint32_t not_there = 2;
  log("ask " + path);
  if (!is_disk_path(path)) return has(path, "/Metadata/") ? not_there : AAPI_OK;
  if (is_kind("refused") && has(path, "/first/")) {
    log("Failed to find subscription ID =s on Azure Stack. error=6789");
  } else {
    log("f: managed disk Id: /id" + path.substr(path.rfind('/')) + "-RESTORE-7", AAPI_LOG_FLOW);
  }
  return not_there;
}

std::uint32_t create_object(aapi_server_t*, Text path, const aapi_object_info_v1_t*, aapi_object_t** out) {
  const bool is_disk = is_disk_path(path);
  const bool has_fault = is_disk && has(path, "/first/");
  log(std::string("create ") + path);
  *out = nullptr;
  if (has_fault && is_kind("refused")) return 6789;
  *out = std::make_unique<aapi_object_t>(aapi_object_t{path, is_disk, has_fault}).release();
  return AAPI_OK;
}

std::uint32_t write_object(aapi_object_t* object, const void* buffer, std::uint64_t length, std::uint64_t offset,
                           std::uint64_t* count) {
  *count = 0;
  if (length == 0 || offset != object->position) return AAPI_E_INVALID_ARGUMENT;
  if (object->is_disk) {
    length = std::min(length, most_at_once);
    if (offset < sizeof object->header) {
      std::memcpy(reinterpret_cast<char*>(object->header.data()) + offset, buffer,
                  std::min(length, sizeof object->header - offset));
    } else if (object->has_fault) {
      meet_signal();
    }
  } else {
    log("write " + object->path + ": " + std::string(static_cast<Text>(buffer), length));
  }
  object->position += length;
  *count = length;
  return AAPI_OK;
}

// A stream ends where its header says: header, table, padding, data.
std::uint32_t close_object(aapi_object_t* closed) {
  const std::unique_ptr<aapi_object_t> object(closed);
  const auto& header = object->header;
  const std::uint64_t end = sizeof header + 16 * header[3] + header[4] + header[2];
  const bool is_short = is_restore() && object->is_disk && object->position != end;
  log((is_short ? "take back " : "close ") + object->path);
  return is_short ? AAPI_E_OPERATION_FAILED : AAPI_OK;
}

std::uint32_t set_object_utimes(aapi_server_t*, Text path) {
  log(std::string("make ") + path);
  if (!is_kind("unmade") || !has(path, "/first/")) return AAPI_OK;
  log("Failed to create the VM first.");
  return 6793;
}

std::uint32_t restore_postprocess() {
  log("end of the restore");
  return AAPI_OK;
}

// What is discovered.

bool has_machines() {
  const auto none = {"works", "fails", "torn", "short", "silent"};
  return std::none_of(none.begin(), none.end(), is_kind);
}

std::uint32_t get_object_prop_byname(aapi_server_t*, Text path, aapi_object_info_v1_t* out) {
  if (is_restore()) return ask_for(path);
  if (has_machines()) return query_machine_object(path, *out);
  *out = {};
  (void)std::printf("noise on output\n");
  (void)std::fprintf(stderr, "noise on error\n");
  log("a step", AAPI_LOG_FLOW);
  log("first line\nsecond line \033[31m");
  return is_kind("works") ? AAPI_OK : AAPI_E_OPERATION_FAILED;
}

void write_record(std::ostream& file, const std::string& text) {
  const std::uint64_t length = text.size() + 1;
  file.write(reinterpret_cast<Text>(&length), sizeof length);
  file.write(text.c_str(), static_cast<std::streamsize>(length));
}

std::ofstream new_file(const std::string& folder, int number, const std::string& snapshot) {
  std::ofstream file(folder + "/w." + std::to_string(number));
  for (const std::string& text : {"snapshot_name=" + snapshot, std::string("/s"), std::string("/s/g")}) {
    write_record(file, text);
  }
  return file;
}

void write_machine(std::ostream& file, const std::string& name, const std::string& power_state) {
  for (const std::string& object :
       {std::string(), std::string("/Metadata"), std::string("/Metadata/UseManagedDisk=No"),
        std::string("/acct.blob.r1.stack.example"), std::string("/acct.blob.r1.stack.example/vhds"),
        std::string("/acct.blob.r1.stack.example/vhds/os.vhd"), std::string("/Metadata/Size=A1"),
        "/Metadata/PowerState=" + power_state, "/Metadata/VmName=" + name}) {
    write_record(file, std::string("/s/g/").append(name).append(object));
  }
}

// The first line of the configuration may ask for two files.
bool wants_two_files() {
  std::string line;
  const Text path = the_server.session->config_path;
  if (path != nullptr) std::getline(std::ifstream(path), line);
  return line == "NO_OF_BACKUP_STREAMS_PER_NODE=2";
}

std::uint32_t discovery(aapi_server_t*, Text, Text, Text folder, Text, Text, Text snapshot) {
  if (has_machines()) {
    std::ofstream file = new_file(folder, 1, snapshot);
    write_machine(file, "first", "running");
    if (wants_two_files()) file = new_file(folder, 2, snapshot);
    write_machine(file, "second", "deallocated");
    log("run_scanner: Total VMs scanned: 2,", AAPI_LOG_DETAIL);
    return AAPI_OK;
  }
  if (is_kind("torn")) std::ofstream(std::string(folder) + "/w.1").write("\x20\0\0\0\0\0\0\0/s/g", 12);
  if (is_kind("silent")) {
    log("run_scanner: Failed to open azsbackup");
  } else {
    log(is_kind("works") ? "run_scanner: Total VMs scanned: 0," : "run_scanner: Total VMs scanned: 1,",
        AAPI_LOG_DETAIL);
  }
  return AAPI_OK;
}

}  // namespace

AAPI_EXPORT std::uint32_t aapi_pgn_init(std::uint32_t version, void*, aapi_plugin_info_t* info) {
  using Slot = void (*)();
  static aapi_entry_points_t entries;
  auto* const slots = reinterpret_cast<Slot*>(&entries);
  std::fill_n(slots, 38, [] {});
  entries.claim = claim;
  entries.terminate = [] { return AAPI_OK; };
  entries.open_server = open_server;
  entries.close_server = close_server;
  entries.discovery = discovery;
  entries.get_object_prop_byname = get_object_prop_byname;
  entries.get_snappath_from_realpath = get_snappath_from_realpath;
  entries.open_object = open_object;
  entries.read_object = read_object;
  entries.close_object = close_object;
  entries.delete_snapshot = delete_snapshot;
  entries.postprocess = postprocess;
  entries.create_object = create_object;
  entries.write_object = write_object;
  entries.set_object_utimes = set_object_utimes;
  entries.restore_postprocess = restore_postprocess;
#ifdef FAKE_EMPTY_SLOT
  slots[FAKE_EMPTY_SLOT - 1] = nullptr;
#endif
  info->interface_version = version;
  info->entry_points = &entries;
  std::strcpy(info->version_string, "fake 1");
  return FAKE_INIT_STATUS;
}
