#include "tests/support/log_transcript.h"

#include <algorithm>
#include <stdexcept>

#include "src/base/logging.h"

namespace test_support {
namespace {

// A log callback has no context of its own.
LogTranscript* current = nullptr;

}  // namespace

LogTranscript::LogTranscript() {
  if (current != nullptr) {
    throw std::logic_error("one transcript at a time");
  }
  current = this;
  session_.log = Take;
  azurestackpi::setGlobalSessionDef(&session_);
}

LogTranscript::~LogTranscript() {
  azurestackpi::setGlobalSessionDef(nullptr);
  current = nullptr;
}

void LogTranscript::Take(const char* tag, const char* message, std::uint32_t level) {
  if (current != nullptr) {
    current->lines_.push_back({tag, message, level});
  }
}

bool LogTranscript::contains(std::uint32_t level, const std::string& text) const {
  return std::any_of(lines_.begin(), lines_.end(), [&](const LogLine& line) {
    return line.level == level && line.text.find(text) != std::string::npos;
  });
}

std::string LogTranscript::text() const {
  std::string all;
  for (const LogLine& line : lines_) {
    all += std::to_string(line.level) + " " + line.text + "\n";
  }
  return all;
}

}  // namespace test_support
