// Every line that the plug-in logs, kept for a test to look at.
#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "aapi/aapi.h"

namespace test_support {

struct LogLine {
  std::string tag;
  std::string text;
  std::uint32_t level;

  bool operator==(const LogLine&) const = default;
};

/// A session definition whose log lines are kept. One at a time; installed as the process-wide session from the start.
/// As with any host, the definition itself lives as long as the process: a loaded library may still look at it.
class LogTranscript {
 public:
  LogTranscript();
  ~LogTranscript();
  LogTranscript(const LogTranscript&) = delete;
  LogTranscript& operator=(const LogTranscript&) = delete;

  aapi_session_def_v1_t& session();

  const std::vector<LogLine>& lines() const { return lines_; }
  void clear() { lines_.clear(); }

  /// Some line of that level holds the text.
  bool contains(std::uint32_t level, const std::string& text) const;

  /// All lines, one below the other, each after its level: "3 azurestackpi_open_server_v1: entering".
  std::string text() const;

  /// The same with every id (8-4-4-4-12 hexadecimal digits) as "<id>" and every other number as "#".
  std::string masked_text() const;

 private:
  static void Take(const char* tag, const char* message, std::uint32_t level);

  std::mutex taking_;  // threads of a host may have the subject speak at the same time
  std::vector<LogLine> lines_;
};

}  // namespace test_support
