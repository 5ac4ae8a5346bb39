#include "tests/api/loaded_library.h"

#include <dlfcn.h>

#include <stdexcept>

namespace api_test {

LoadedLibrary::LoadedLibrary() : library_(dlopen(AZURESTACKPI_LIBRARY, RTLD_NOW | RTLD_LOCAL)) {
  if (!library_) {
    throw std::runtime_error(dlerror());
  }
}

void LoadedLibrary::Unloader::operator()(void* library) const { dlclose(library); }

void* LoadedLibrary::symbol(const std::string& name) const { return dlsym(library_.get(), name.c_str()); }

std::uint32_t LoadedLibrary::init(std::uint32_t version, aapi_plugin_info_t* info) const {
  const auto entry = reinterpret_cast<decltype(&aapi_pgn_init)>(symbol("aapi_pgn_init"));
  if (entry == nullptr) {
    throw std::runtime_error("no aapi_pgn_init");
  }
  return entry(version, nullptr, info);
}

const aapi_entry_points_t& LoadedLibrary::table(std::uint32_t version) const {
  aapi_plugin_info_t info{};
  if (init(version, &info) != AAPI_OK) {
    throw std::runtime_error("no table");
  }
  return *info.entry_points;
}

std::uint32_t LoadedLibraryTest::Open(const std::string& server_name) {
  table.close_server(server);
  server = nullptr;
  log.clear();
  const aapi_credentials_v1_t nobody{};
  return table.open_server(&log.session(), server_name.c_str(), &nobody, &server);
}

}  // namespace api_test
