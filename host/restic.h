// The repository: a restic repository, kept by the restic program. Its address and its password go to restic through
// the environment, since arguments can be seen by every user of the machine.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "host/child_process.h"
#include "host/file_descriptor.h"

namespace host {

/// restic could not do what was asked. The text is restic's own words, without a password, fit for a terminal.
class ResticError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Another process works on the repository; nothing is wrong with it.
class RepositoryInUse : public ResticError {
 public:
  using ResticError::ResticError;
};

/// There is no program restic to start.
class ResticMissing : public ResticError {
 public:
  using ResticError::ResticError;
};

struct RepositoryAccess {
  std::string address;           // a directory, "sftp:...", "rest:https://...", ...: as restic takes it
  std::string password_file;     // exactly one of these two is given
  std::string password_command;  // split into words and run by restic itself
};

struct ResticSnapshot {
  std::string id;    // 64 hexadecimal digits
  std::string time;  // as restic writes it, RFC 3339
  std::string path;  // of the one file in it
  std::vector<std::string> tags;

  /// The value of the tag "NAME=VALUE"; empty: there is none.
  std::string tag(std::string_view name) const;
  /// The values of all such tags.
  std::vector<std::string> tags_named(std::string_view name) const;
};

/// The seconds since the epoch of a time as restic writes it, RFC 3339; a text that is none counts as the latest
/// possible time, so that nothing looks old because of it.
std::int64_t seconds_of(const std::string& time);

/// Which of two such times was first, whatever time zones they are told in.
bool is_earlier(const std::string& left, const std::string& right);

/// All members throw ResticError when restic fails, Interrupted, and std::system_error.
class Restic {
 public:
  explicit Restic(RepositoryAccess access);

  /// Fails unless there is a repository and the password opens it.
  void open() const;
  /// Makes a new repository (version 2, which compresses).
  void init() const;

  /// Those that carry this tag, oldest first.
  std::vector<ResticSnapshot> snapshots(const std::string& tag) const;
  /// The one with this id, which may be shortened; none: there is none.
  std::optional<ResticSnapshot> find(const std::string& id) const;

  /// Hands the bytes of a snapshot's file to take, in order. When it fails, what was handed out is not the whole.
  void dump(const ResticSnapshot& snapshot, const std::function<void(const char*, std::size_t)>& take) const;

  /// Removes locks whose owner is gone: a process of this host that has ended, or one that has not renewed its lock for
  /// half an hour.
  void remove_stale_locks() const;
  /// Checks the structure of the whole repository, its data not read.
  void check() const;
  /// The ids of the snapshots of this tag that restic's keep rules ("--keep-last", "3", ...) do not keep, each path by
  /// itself. Changes nothing.
  std::vector<std::string> superseded(const std::string& tag, const std::vector<std::string>& rules) const;
  /// Removes the snapshots; what stood in them stays until prune.
  void forget(const std::vector<std::string>& ids) const;
  /// Removes the data that no snapshot needs any more.
  void prune() const;

  /// The address without a password.
  std::string name() const;

 private:
  friend class ResticUpload;

  std::string run(const std::vector<std::string>& arguments) const;
  std::vector<ResticSnapshot> list(const std::vector<std::string>& arguments) const;
  /// Throws ResticError, RepositoryInUse among them, for an exit code other than 0; error holds what restic wrote.
  void require_success(int exit_code, const FileDescriptor& error) const;

  RepositoryAccess access_;
  std::vector<std::string> environment_;
};

/// One stream into the repository. Unless finish() returned, no snapshot is made: restic is ended before it sees the
/// stream's end.
class ResticUpload {
 public:
  /// path names the stream in the repository and begins with a slash. restic must outlive the upload.
  ResticUpload(const Restic& restic, const std::string& path, const std::vector<std::string>& tags);

  /// Throws ResticError when restic has ended, Interrupted.
  void write(const char* data, std::size_t size);

  /// Bytes that wait for restic at most.
  std::size_t pipe_size() const;

  /// Ends the stream and gives the new snapshot's id, possibly shortened. Throws ResticError, Interrupted.
  std::string finish();

  /// Bytes that the repository did not hold yet, once it is finished.
  std::uint64_t added() const { return added_; }

 private:
  const Restic& restic_;
  FileDescriptor output_;
  FileDescriptor error_;
  FileDescriptor pipe_;  // before the child, so that the child ends while the pipe is still open
  std::optional<ChildProcess> child_;
  std::uint64_t added_ = 0;
};

}  // namespace host
