// One use of the plug-in: the session definition with its log callback, and the server opened with it.
#pragma once

#include <aapi/aapi.h>

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "host/log_file.h"
#include "host/plugin.h"
#include "host/secret.h"

namespace host {

/// A log line of the plug-in.
struct LogLine {
  std::uint32_t level = 0;
  std::string text;
};

/// What a session is opened with. An empty path means that there is no such file.
struct SessionSettings {
  std::uint32_t kind = AAPI_SESSION_BACKUP;
  std::string config_path;
  std::string credentials_path;
  aapi_keepalive_fn keepalive = nullptr;  // a result other than 0 stops the request in hand
};

class Session {
 public:
  /// Says of a line below level 4 whether it is to be collected as well.
  using AlsoCollect = std::function<bool(std::string_view text)>;

  /// The plug-in and the log must outlive the session. A process has one session at a time, since the plug-in's log
  /// callback carries no context; a second one throws std::logic_error.
  Session(const Plugin& plugin, SessionSettings settings, LogFile& log, AlsoCollect also_collect = {});
  /// Ends the plug-in's work (terminate).
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  /// Valid as long as the session.
  const aapi_session_def_v1_t& definition() const { return definition_; }
  const aapi_entry_points_t& entry() const { return plugin_.entry(); }

  /// The lines of level 4 and 5, and those also collected, since the last call of take_lines: the lines of the call in
  /// hand when it is emptied before each.
  std::vector<LogLine> take_lines();

 private:
  static void on_log(const char* tag, const char* message, std::uint32_t level) noexcept;
  void collect(std::string_view text, std::uint32_t level);

  const Plugin& plugin_;
  SessionSettings settings_;
  LogFile& log_;
  AlsoCollect also_collect_;
  std::vector<LogLine> lines_;
  aapi_session_def_v1_t definition_{};
};

/// A server of the plug-in, open while this lives.
class Server {
 public:
  /// Opens name ("azurestack:HOST") with login ("user:password", or empty). A name that the plug-in does not like can
  /// give a failed status and a handle all the same, which is then closed like any other. The session must outlive the
  /// server.
  Server(const Session& session, const std::string& name, const Secret& login);
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  /// What open_server returned.
  std::uint32_t open_status() const { return open_status_; }
  aapi_server_t* handle() const { return handle_; }
  const aapi_entry_points_t& entry() const { return session_.entry(); }

 private:
  const Session& session_;
  aapi_server_t* handle_ = nullptr;
  std::uint32_t open_status_ = AAPI_OK;
};

}  // namespace host
