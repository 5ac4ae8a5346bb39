#include "tests/support/log_transcript.h"

#include <algorithm>
#include <regex>
#include <stdexcept>

#include "src/base/logging.h"

namespace test_support {
namespace {

// A log callback has no context of its own.
LogTranscript* current = nullptr;
aapi_session_def_v1_t current_session{};

}  // namespace

LogTranscript::LogTranscript() {
  if (current != nullptr) {
    throw std::logic_error("one transcript at a time");
  }
  current = this;
  current_session = aapi_session_def_v1_t{};
  current_session.log = Take;
  azurestackpi::setGlobalSessionDef(&current_session);
}

LogTranscript::~LogTranscript() {
  azurestackpi::setGlobalSessionDef(nullptr);
  current = nullptr;
}

aapi_session_def_v1_t& LogTranscript::session() { return current_session; }

void LogTranscript::Take(const char* tag, const char* message, std::uint32_t level) {
  if (current != nullptr) {
    const std::lock_guard<std::mutex> one_at_a_time(current->taking_);
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

std::string LogTranscript::masked_text() const {
  static const std::regex id("[0-9a-fA-F]{8}(-[0-9a-fA-F]{4}){3}-[0-9a-fA-F]{12}");
  static const std::regex number("[0-9]+");
  std::string all;
  for (const LogLine& line : lines_) {
    const std::string without_ids = std::regex_replace(line.text, id, "<id>");
    all += std::to_string(line.level) + " " + std::regex_replace(without_ids, number, "#") + "\n";
  }
  return all;
}

}  // namespace test_support
