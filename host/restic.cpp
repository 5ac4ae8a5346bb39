#include "host/restic.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <ctime>
#include <limits>
#include <nlohmann/json.hpp>
#include <system_error>
#include <utility>

#include "host/child_streams.h"
#include "host/interrupt.h"
#include "host/printable.h"

namespace host {

namespace {

using Json = nlohmann::json;

constexpr const char* program = "restic";
constexpr const char* host_name = "azsbackup";  // all hosts write as one, so that backups are found whichever made them
constexpr int no_program = 127;
constexpr std::size_t longest_message = 600;
constexpr const char* lock_mark = "repository is already locked";
constexpr std::size_t copy_size = 1U << 20U;
constexpr const char* words_name = "azsbackup-restic";  // of the files that hold what restic says

[[noreturn]] void fail_system(const char* what) { throw std::system_error(errno, std::generic_category(), what); }

std::string without_password(const std::string& address) {
  const std::size_t scheme = address.find("://");
  if (scheme == std::string::npos) return address;
  const std::size_t start = scheme + 3;
  const std::size_t at = address.substr(0, address.find('/', start)).rfind('@');
  const std::size_t colon = address.find(':', start);
  if (at == std::string::npos || at < start || colon > at) return address;
  return address.substr(0, colon + 1) + "***" + address.substr(at);
}

bool is_ours(std::string_view variable) {
  constexpr std::array<std::string_view, 3> names{"RESTIC_REPOSITORY", "RESTIC_PASSWORD", "AZSBACKUP_"};
  return std::any_of(names.begin(), names.end(),
                     [&](std::string_view name) { return variable.substr(0, name.size()) == name; });
}

// What this program was started with may hold the keys of the repository's storage, so restic gets it.
std::vector<std::string> environment_for(const RepositoryAccess& access) {
  std::vector<std::string> variables;
  for (char** variable = environ; *variable != nullptr; ++variable) {
    if (!is_ours(*variable)) variables.emplace_back(*variable);
  }
  variables.push_back("RESTIC_REPOSITORY=" + access.address);
  variables.push_back(access.password_file.empty() ? "RESTIC_PASSWORD_COMMAND=" + access.password_command
                                                   : "RESTIC_PASSWORD_FILE=" + access.password_file);
  return variables;
}

std::vector<std::string> command(const std::vector<std::string>& arguments) {
  std::vector<std::string> words{program, "--quiet"};
  words.insert(words.end(), arguments.begin(), arguments.end());
  return words;
}

// Of long words both ends: it may print where in its code it failed, before what failed or behind it.
std::string ends_of(const std::string& words) {
  constexpr std::size_t half = longest_message / 2;
  return words.size() <= longest_message ? words : words.substr(0, half) + " ... " + words.substr(words.size() - half);
}

std::string replaced(std::string text, const std::string& what, const std::string& by) {
  if (what.empty() || what == by) return text;
  for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size())) {
    text.replace(at, what.size(), by);
  }
  return text;
}

// Behind the seconds of a time, ".123" or nothing; restic leaves zeros at its end out.
std::string_view fraction_of(std::string_view time) {
  const std::string_view rest = time.substr(std::min(time.size(), time.find('.')));
  return rest.substr(0, rest.find_first_not_of(".0123456789"));
}

ResticSnapshot snapshot_of(const Json& object) {
  ResticSnapshot snapshot{object.at("id"), object.at("time"), "", {}};
  const Json& paths = object.at("paths");
  if (paths.size() == 1) snapshot.path = paths.front();
  if (object.contains("tags")) snapshot.tags = object["tags"].get<std::vector<std::string>>();
  return snapshot;
}

}  // namespace

std::string ResticSnapshot::tag(std::string_view name) const {
  const std::vector<std::string> values = tags_named(name);
  return values.empty() ? "" : values.front();
}

std::vector<std::string> ResticSnapshot::tags_named(std::string_view name) const {
  const std::string mark = std::string(name) + "=";
  std::vector<std::string> values;
  for (const std::string& tag : tags) {
    if (tag.rfind(mark, 0) == 0) values.push_back(tag.substr(mark.size()));
  }
  return values;
}

std::int64_t seconds_of(const std::string& time) {
  constexpr std::int64_t latest = std::numeric_limits<std::int64_t>::max();
  std::tm parts{};
  const char* rest = ::strptime(time.c_str(), "%Y-%m-%dT%H:%M:%S", &parts);
  if (rest == nullptr) return latest;
  std::string_view zone = rest;
  zone.remove_prefix(std::min(zone.size(), zone.find_first_not_of(".0123456789")));
  if (::strptime(zone.data(), "%z", &parts) == nullptr) return latest;  // it takes "Z" and "+01:00"
  const std::int64_t offset = parts.tm_gmtoff;
  return std::int64_t{::timegm(&parts)} - offset;
}

bool is_earlier(const std::string& left, const std::string& right) {
  const std::int64_t left_seconds = seconds_of(left);
  const std::int64_t right_seconds = seconds_of(right);
  return left_seconds == right_seconds ? fraction_of(left) < fraction_of(right) : left_seconds < right_seconds;
}

Restic::Restic(RepositoryAccess access) : access_(std::move(access)), environment_(environment_for(access_)) {}

void Restic::open() const { run({"cat", "config"}); }

void Restic::init() const { run({"init", "--repository-version", "2"}); }

std::vector<ResticSnapshot> Restic::snapshots(const std::string& tag) const {
  return list({"snapshots", "--json", "--tag", tag});
}

std::optional<ResticSnapshot> Restic::find(const std::string& id) const {
  const auto found = list({"snapshots", "--json", "--", id});
  const bool is_it = found.size() == 1 && found.front().id.rfind(id, 0) == 0;
  return is_it ? std::optional(found.front()) : std::nullopt;
}

void Restic::dump(const ResticSnapshot& snapshot, const std::function<void(const char*, std::size_t)>& take) const {
  const FileDescriptor input = null_input();
  const FileDescriptor error = memory_file(words_name);
  Pipe pipe = make_pipe();
  ChildProcess child(command({"dump", "--", snapshot.id, snapshot.path}), environment_,
                     {input.get(), pipe.write.get(), error.get()});
  pipe.write.close();  // or the stream would never end
  std::vector<char> piece(copy_size);
  while (true) {
    check_interrupt();
    const ssize_t count = ::read(pipe.read.get(), piece.data(), piece.size());
    if (count == 0) break;
    if (count > 0) take(piece.data(), static_cast<std::size_t>(count));
    if (count < 0 && errno != EINTR) fail_system("cannot read from restic");
  }
  require_success(child.wait(), error);
}

void Restic::remove_stale_locks() const { run({"unlock"}); }

// A host that was killed leaves its lock behind, and a check wants the repository to itself.
void Restic::check() const {
  remove_stale_locks();
  run({"check"});
}

std::vector<std::string> Restic::superseded(const std::string& tag, const std::vector<std::string>& rules) const {
  std::vector<std::string> arguments{"forget", "--dry-run", "--no-lock", "--json", "--tag", tag, "--group-by", "paths"};
  arguments.insert(arguments.end(), rules.begin(), rules.end());
  const std::string text = run(arguments);
  if (text.empty()) return {};  // there is none of this tag
  try {
    std::vector<std::string> ids;
    for (const Json& group : Json::parse(text)) {
      for (const Json& snapshot : group.at("remove")) ids.push_back(snapshot.at("id"));
    }
    return ids;
  } catch (const Json::exception& failure) {
    throw ResticError(std::string("restic's answer to the keep rules cannot be read: ") + failure.what());
  }
}

void Restic::forget(const std::vector<std::string>& ids) const {
  if (ids.empty()) return;  // without an id restic would look at all
  remove_stale_locks();
  std::vector<std::string> arguments{"forget", "--"};
  arguments.insert(arguments.end(), ids.begin(), ids.end());
  run(arguments);
}

void Restic::prune() const {
  remove_stale_locks();
  run({"prune"});
}

std::string Restic::name() const { return without_password(access_.address); }

std::string Restic::run(const std::vector<std::string>& arguments) const {
  const FileDescriptor input = null_input();
  const FileDescriptor output = memory_file(words_name);
  const FileDescriptor error = memory_file(words_name);
  ChildProcess child(command(arguments), environment_, {input.get(), output.get(), error.get()});
  require_success(child.wait(), error);
  return content(output);
}

std::vector<ResticSnapshot> Restic::list(const std::vector<std::string>& arguments) const {
  const std::string text = run(arguments);
  try {
    std::vector<ResticSnapshot> snapshots;
    for (const Json& object : Json::parse(text)) snapshots.push_back(snapshot_of(object));
    std::sort(snapshots.begin(), snapshots.end(),
              [](const auto& left, const auto& right) { return is_earlier(left.time, right.time); });
    return snapshots;
  } catch (const Json::exception& failure) {
    throw ResticError(std::string("restic's list of snapshots cannot be read: ") + failure.what());
  }
}

void Restic::require_success(int exit_code, const FileDescriptor& error) const {
  if (exit_code == 0) return;
  if (exit_code == no_program) throw ResticMissing("the program restic cannot be started");
  const std::string words = replaced(content(error), access_.address, name());
  const std::string what = "restic failed (exit code " + std::to_string(exit_code) + "): " + printable(ends_of(words));
  if (words.find(lock_mark) != std::string::npos) throw RepositoryInUse(what);
  throw ResticError(what);
}

ResticUpload::ResticUpload(const Restic& restic, const std::string& path, const std::vector<std::string>& tags)
    : restic_(restic), output_(memory_file(words_name)), error_(memory_file(words_name)) {
  std::vector<std::string> arguments{"backup", "--json", "--stdin", "--stdin-filename", path, "--host", host_name};
  for (const std::string& tag : tags) arguments.insert(arguments.end(), {"--tag", tag});
  Pipe pipe = make_pipe();
  pipe_ = std::move(pipe.write);
  child_.emplace(command(arguments), restic.environment_, ChildStreams{pipe.read.get(), output_.get(), error_.get()});
}

void ResticUpload::write(const char* data, std::size_t size) {
  while (size > 0) {
    check_interrupt();
    const ssize_t written = ::write(pipe_.get(), data, size);
    if (written >= 0) {
      data += written;
      size -= static_cast<std::size_t>(written);
    } else if (errno == EPIPE) {
      restic_.require_success(child_->wait(), error_);
      throw ResticError("restic ended before the end of the stream");
    } else if (errno != EINTR) {
      fail_system("cannot write to restic");
    }
  }
}

std::size_t ResticUpload::pipe_size() const {
  const int size = ::fcntl(pipe_.get(), F_GETPIPE_SZ);
  if (size < 0) fail_system("cannot ask for the size of a pipe");
  return static_cast<std::size_t>(size);
}

std::string ResticUpload::finish() {
  pipe_.close();
  restic_.require_success(child_->wait(), error_);
  const std::string text = content(output_);
  try {
    const std::size_t summary = text.find("{\"message_type\":\"summary\"");
    if (summary == std::string::npos) throw ResticError("restic does not tell which snapshot it made");
    const Json told = Json::parse(text.substr(summary, text.find('\n', summary) - summary));
    added_ = told.at("data_added");
    return told.at("snapshot_id");
  } catch (const Json::exception& failure) {
    throw ResticError(std::string("restic's report cannot be read: ") + failure.what());
  }
}

}  // namespace host
