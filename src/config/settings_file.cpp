#include "src/config/settings_file.h"

#include <cstdio>
#include <cstring>
#include <memory>

#include "src/base/text.h"

namespace azurestackpi {
namespace {

struct FileCloser {
  void operator()(std::FILE* file) const { static_cast<void>(std::fclose(file)); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

// Reads one line without its end, at most kLongestSettingLine bytes of it; sets cut when there was more. False at the
// end of the file.
bool ReadLine(std::FILE* file, std::string& line, bool& cut) {
  line.clear();
  cut = false;
  int byte = std::getc(file);
  if (byte == EOF) {
    return false;
  }
  for (; byte != EOF && byte != '\n'; byte = std::getc(file)) {
    if (line.size() < kLongestSettingLine) {
      line += static_cast<char>(byte);
    } else {
      cut = true;
    }
  }
  if (!cut && !line.empty() && line.back() == '\r') {
    line.pop_back();
  }
  line.resize(std::strlen(line.c_str()));
  return true;
}

bool IsSectionHeader(const std::string& line) { return line.size() >= 2 && line.front() == '[' && line.back() == ']'; }

}  // namespace

bool ReadSettings(const std::string& path, bool with_sections, const std::function<void(const SettingLine&)>& take) {
  const File file(std::fopen(path.c_str(), "re"));
  if (!file) {
    return false;
  }
  constexpr const char* blanks = " \t";
  SettingLine setting{};
  std::string line;
  while (ReadLine(file.get(), line, setting.cut)) {
    ++setting.number;
    if (line.empty() || line.front() == '#' || line.front() == ';') {
      continue;
    }
    const std::string trimmed = trimSpace(line, blanks);
    if (with_sections && IsSectionHeader(trimmed)) {
      setting.section = trimSpace(trimmed.substr(1, trimmed.size() - 2), blanks);
      continue;
    }
    const std::size_t equals = line.find('=');
    if (equals != std::string::npos) {
      setting.key = trimSpace(line.substr(0, equals), blanks);
      setting.value = trimSpace(line.substr(equals + 1), blanks);
      take(setting);
    }
  }
  return std::ferror(file.get()) == 0;
}

}  // namespace azurestackpi
