// The plug-in's log: every line goes to the log callback of the host's session definition, nowhere else.
#pragma once

#include <cstdarg>
#include <cstdint>

#include "aapi/aapi.h"

namespace azurestackpi {

/// The session definition of the server opened last (not owned); null until then.
void setGlobalSessionDef(const aapi_session_def_v1_t* session);
const aapi_session_def_v1_t* getGlobalSessionDef();

/// Levels of log lines; the storage client also uses 2.
enum LogLevel : std::uint32_t { kDetail = 1, kFlow = 3, kError = 4, kException = 5 };

/// Longest line with its NUL, in bytes; what is longer is cut.
inline constexpr std::size_t kLongestLine = 262144;

/// Hands "FUNCTION: TEXT" to the session's log callback with the plug-in's tag, secrets masked. Does nothing when the
/// session, its callback, the function name or the format is null.
void LogMsg(const aapi_session_def_v1_t* session, std::uint32_t level, const char* function, const char* format, ...)
    __attribute__((format(printf, 4, 5)));
void VLogMsg(const aapi_session_def_v1_t* session, std::uint32_t level, const char* function, const char* format,
             std::va_list arguments) __attribute__((format(printf, 4, 0)));

/// The log as one function sees it: lines that carry its name, to the process-wide session.
class FunctionLog {
 public:
  /// function: a text that outlives the object, __func__ as a rule.
  explicit FunctionLog(const char* function) : function_(function) {}

  void detail(const char* format, ...) const __attribute__((format(printf, 2, 3)));
  void flow(const char* format, ...) const __attribute__((format(printf, 2, 3)));
  void error(const char* format, ...) const __attribute__((format(printf, 2, 3)));
  void exception(const char* format, ...) const __attribute__((format(printf, 2, 3)));

  const char* function() const { return function_; }

 private:
  const char* function_;
};

/// Keeps the host's media server connection alive: at most once in 60 seconds writes a newline to standard error.
/// Returns 0, or 6619 when the write failed (the next call tries again). caller is not used.
std::uint32_t send_keepalive_callback(const char* caller);

/// The log callback of the storage client: its levels 1 to 5 as they are, any other as 5; the text is never a format.
void AzureStorageWrapperLog(std::uint32_t level, const char* text);

}  // namespace azurestackpi
