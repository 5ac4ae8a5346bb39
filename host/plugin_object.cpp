#include "host/plugin_object.h"

#include <utility>

#include "host/status_text.h"

namespace host {

namespace {

void require(std::uint32_t status, const std::string& path, const char* what) {
  if (status != AAPI_OK) throw StatusError(path + " " + what, status);
}

}  // namespace

StatusError::StatusError(const std::string& what, std::uint32_t status)
    : std::runtime_error(what + ": " + status_text(status)), status_(status) {}

ObjectFacts query_object(const Server& server, const std::string& snapshot_name, const std::string& path) {
  std::vector<char> snapshot_path(path.size() + 1);
  require(server.entry().get_snappath_from_realpath(server.handle(), snapshot_name.c_str(), path.c_str(),
                                                    snapshot_path.data(), snapshot_path.size()),
          path, "cannot be named in a snapshot");
  const auto facts = std::make_unique<aapi_object_info_v1_t>();
  require(server.entry().get_object_prop_byname(server.handle(), snapshot_path.data(), facts.get()), path,
          "cannot be looked at");
  return {facts->object_type == AAPI_OBJECT_FILE, facts->size};
}

void release_disk(const Server& server, const std::string& snapshot_name, const std::string& path) noexcept {
  aapi_snapshot_v1_t snapshot{};
  snapshot_name.copy(snapshot.name, sizeof snapshot.name - 1);
  server.entry().delete_snapshot(server.handle(), path.c_str(), &snapshot);  // a failure is in the plug-in's log
}

OpenObject::OpenObject(const Server& server, const std::string& path) : server_(server), path_(path) {
  aapi_object_t* object = nullptr;
  require(server.entry().open_object(server.handle(), path.c_str(), 0, &object), path, "cannot be opened");
  object_ = object;
}

OpenObject::~OpenObject() {
  if (object_ != nullptr) server_.entry().close_object(object_);
}

std::string_view OpenObject::read(std::size_t limit) {
  buffer_.resize(limit + 1);  // the plug-in ends a text with a zero byte
  std::uint64_t count = 0;
  require(server_.entry().read_object(object_, buffer_.data(), limit, offset_, &count), path_, "cannot be read");
  if (count > limit) throw StatusError(path_ + " gives more than was asked for", AAPI_E_INTERNAL);
  offset_ += count;
  return {buffer_.data(), static_cast<std::size_t>(count)};
}

void OpenObject::close() {
  require(server_.entry().close_object(std::exchange(object_, nullptr)), path_, "cannot be closed");
}

}  // namespace host
