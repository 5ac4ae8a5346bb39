#include "tests/azurite/azurite_server.h"

#include <fstream>
#include <random>
#include <sstream>
#include <stdexcept>

namespace azurite {
namespace {

std::ifstream opened(const std::string& name) {
  std::ifstream file(AZURITE_FOLDER "/" + name);
  if (!file) throw std::runtime_error("no blob service runs: start the test with ctest");
  return file;
}

std::vector<std::string> parts(const std::string& text, char mark) {
  std::vector<std::string> found;
  std::istringstream in(text);
  for (std::string part; std::getline(in, part, mark);) found.push_back(part);
  return found;
}

}  // namespace

std::uint16_t port() {
  std::ifstream ready = opened("ready");
  std::string line;
  std::getline(ready, line);
  return static_cast<std::uint16_t>(std::stoul(line.substr(line.find('=') + 1)));
}

std::map<std::string, std::vector<std::string>> accounts() {
  std::ifstream file = opened("accounts");
  std::string line;
  std::getline(file, line);
  std::map<std::string, std::vector<std::string>> keys_by_name;
  for (const std::string& account : parts(line, ';')) {
    const std::vector<std::string> words = parts(account, ':');
    keys_by_name[words.at(0)] = {words.begin() + 1, words.end()};
  }
  return keys_by_name;
}

std::string key(const std::string& account) { return accounts().at(account).at(0); }

std::string new_container_name() {
  std::random_device random;
  std::ostringstream name;
  name << "test-" << std::hex << random() << "-" << random();
  return name.str();
}

}  // namespace azurite
