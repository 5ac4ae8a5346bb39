#include "host/plugin.h"

#include <dlfcn.h>
#include <string.h>

#include <array>
#include <bit>
#include <filesystem>
#include <system_error>

#include "host/errors.h"

namespace host {

namespace {

constexpr std::size_t entry_point_count = 38;

void* open_library(const std::string& path) {
  void* library = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
  if (library == nullptr) {
    const char* why = ::dlerror();
    throw PluginError(why != nullptr ? why : "cannot load " + path);
  }
  return library;
}

// dlsym hands out functions as object pointers; POSIX promises that the representation is the same.
decltype(&aapi_pgn_init) find_init(void* library, const std::string& path) {
  void* symbol = ::dlsym(library, "aapi_pgn_init");
  if (symbol == nullptr) throw PluginError(path + " is not a plug-in: it has no aapi_pgn_init");
  return std::bit_cast<decltype(&aapi_pgn_init)>(symbol);
}

void check_table(const aapi_plugin_info_t& info, const std::string& path) {
  if (info.interface_version != AAPI_INTERFACE_V2 || info.entry_points == nullptr) {
    throw PluginError(path + " gave no table of entry points for interface version 2");
  }
  using Slot = void (*)();
  const auto slots = std::bit_cast<std::array<Slot, sizeof(aapi_entry_points_t) / sizeof(Slot)>>(*info.entry_points);
  for (std::size_t slot = 0; slot < entry_point_count; ++slot) {
    if (slots[slot] == nullptr) {
      throw PluginError(path + " leaves entry point " + std::to_string(slot + 1) + " of " +
                        std::to_string(entry_point_count) + " empty");
    }
  }
}

}  // namespace

void Plugin::Close::operator()(void* library) const noexcept { ::dlclose(library); }

Plugin::Plugin(const std::string& path) : path_(path), library_(open_library(path)) {
  const std::uint32_t status = find_init(library_.get(), path_)(AAPI_INTERFACE_V2, nullptr, &info_);
  if (status != AAPI_OK) {
    throw PluginError(path_ + " refuses interface version 2 (status " + std::to_string(status) + ")");
  }
  check_table(info_, path_);
}

std::string Plugin::version() const {
  return {info_.version_string, ::strnlen(info_.version_string, sizeof info_.version_string)};
}

std::string default_plugin_path() {
  std::error_code error;
  const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
  if (!error) {
    const auto beside = program.parent_path().parent_path() / "lib" / "libazurestackpi.so";
    if (std::filesystem::exists(beside, error)) return beside;
  }
  return "libazurestackpi.so.1";
}

}  // namespace host
