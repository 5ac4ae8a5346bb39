#include "host/created_object.h"

#include <memory>
#include <utility>

#include "host/plugin_object.h"

namespace host {

namespace {

constexpr std::uint32_t status_not_yet = 2;

void require(std::uint32_t status, const std::string& path, const char* what) {
  if (status != AAPI_OK) throw StatusError(path + " " + what, status);
}

}  // namespace

void announce_object(const Server& server, const std::string& path) {
  const auto facts = std::make_unique<aapi_object_info_v1_t>();
  const std::uint32_t status = server.entry().get_object_prop_byname(server.handle(), path.c_str(), facts.get());
  if (status != status_not_yet) throw StatusError(path + " is not taken back", status);
}

CreatedObject::CreatedObject(const Server& server, const std::string& path) : server_(server), path_(path) {
  aapi_object_t* object = nullptr;
  require(server.entry().create_object(server.handle(), path.c_str(), nullptr, &object), path, "cannot be created");
  object_ = object;
}

CreatedObject::~CreatedObject() {
  if (object_ != nullptr) server_.entry().close_object(object_);
}

void CreatedObject::write(const char* data, std::size_t size) {
  while (size > 0) {
    std::uint64_t count = 0;
    require(server_.entry().write_object(object_, data, size, offset_, &count), path_, "cannot be written");
    if (count == 0 || count > size) throw StatusError(path_ + " takes no more bytes", AAPI_E_INTERNAL);
    data += count;
    size -= static_cast<std::size_t>(count);
    offset_ += count;
  }
}

void CreatedObject::close() {
  require(server_.entry().close_object(std::exchange(object_, nullptr)), path_, "cannot be completed");
}

}  // namespace host
