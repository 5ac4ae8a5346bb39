#include "host/session.h"

#include <string.h>

#include <stdexcept>
#include <utility>

namespace host {

namespace {

// The log callback has no argument that leads to its session.
Session* current_session = nullptr;

const char* path_or_null(const std::string& path) { return path.empty() ? nullptr : path.c_str(); }

}  // namespace

Session::Session(const Plugin& plugin, SessionSettings settings, LogFile& log, AlsoCollect also_collect)
    : plugin_(plugin), settings_(std::move(settings)), log_(log), also_collect_(std::move(also_collect)) {
  if (current_session != nullptr) throw std::logic_error("a session is already open");
  definition_.host_context = this;
  definition_.log = &Session::on_log;
  definition_.keepalive = settings_.keepalive;
  definition_.config_path = path_or_null(settings_.config_path);
  definition_.credentials_path = path_or_null(settings_.credentials_path);
  definition_.session_kind = settings_.kind;
  current_session = this;
}

Session::~Session() {
  entry().terminate();
  current_session = nullptr;
}

std::vector<LogLine> Session::take_lines() { return std::exchange(lines_, {}); }

void Session::on_log(const char* /*tag*/, const char* message, std::uint32_t level) noexcept {
  if (current_session == nullptr || message == nullptr) return;
  current_session->log_.write(level, message);
  try {
    current_session->collect(message, level);
  } catch (const std::exception& error) {
    current_session->log_.write(AAPI_LOG_ERROR, error.what());  // no exception may cross into the plug-in
  }
}

void Session::collect(std::string_view text, std::uint32_t level) {
  if (level >= AAPI_LOG_ERROR || (also_collect_ && also_collect_(text))) lines_.push_back({level, std::string(text)});
}

Server::Server(const Session& session, const std::string& name, const Secret& login) : session_(session) {
  aapi_credentials_v1_t credentials{};
  if (login.reveal().size() >= sizeof credentials.text) throw std::length_error("the login is too long");
  login.reveal().copy(credentials.text, sizeof credentials.text - 1);
  open_status_ = session_.entry().open_server(&session_.definition(), name.c_str(), &credentials, &handle_);
  explicit_bzero(&credentials, sizeof credentials);
}

Server::~Server() {
  if (handle_ != nullptr) session_.entry().close_server(handle_);
}

}  // namespace host
