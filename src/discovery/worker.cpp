#include "src/discovery/worker.h"

#include <algorithm>
#include <cerrno>

#include "src/base/logging.h"

namespace azurestackpi {

std::vector<Worker> MakeWorkers(const std::vector<std::string>& names, std::uint32_t streams) {
  const FunctionLog log("create_worker_list");
  std::vector<Worker> workers;
  for (std::uint32_t stream = streams; stream >= 1; --stream) {
    for (const std::string& name : names) {
      log.flow("Workername: %s, stream cntr: %d", name.c_str(), static_cast<int>(stream));
      workers.push_back({name, stream, nullptr, {}});
    }
  }
  std::reverse(workers.begin(), workers.end());
  return workers;
}

int add_parents(std::set<std::string>& parents, wkldfile_handle_s& file, const std::string& path) {
  const FunctionLog log(__func__);
  const std::size_t end = path.size() > 1 && path.back() == '/' ? path.size() - 1 : path.size();
  for (std::size_t slash = path.find('/', 1); slash < end; slash = path.find('/', slash + 1)) {
    const auto [parent, is_new] = parents.insert(path.substr(0, slash));
    if (!is_new) {
      continue;
    }
    log.detail("fullpath:%s", parent->c_str());
    if (const int failure = wkldfile_write_record(&file, parent->c_str(), 0, 0); failure != 0) {
      log.error("wkldfile_write_record failed for %s failed, errno : %d, retval : %d", file.path, errno, failure);
      return failure;
    }
  }
  return 0;
}

}  // namespace azurestackpi
