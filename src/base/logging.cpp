#include "src/base/logging.h"

#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "platform/bounded_text.h"
#include "platform/clock.h"
#include "src/base/process_state.h"
#include "src/base/secrets.h"
#include "src/base/status.h"

namespace azurestackpi {
namespace {

constexpr const char* kLogTag = "v1.0 2017_03 AzureStack Plugin";
constexpr std::time_t kKeepAliveSeconds = 60;

ProcessValue<const aapi_session_def_v1_t*> global_session("session definition");
ProcessValue<std::time_t> last_keepalive("time of the last keep-alive");

void Emit(const aapi_session_def_v1_t& session, std::uint32_t level, std::string_view line, bool cut) {
  if (auto masked = MaskSecrets(line, cut)) {
    // A mask may be longer than what it hides; the bound holds for what leaves.
    masked->resize(std::min(masked->size(), kLongestLine - 1));
    session.log(kLogTag, masked->c_str(), level);
  } else {
    session.log(kLogTag, line.data(), level);
  }
}

// Writes "FUNCTION: TEXT" into the buffer and returns the length that the whole line would have, of
// the name alone on a bad format.
__attribute__((format(printf, 4, 0))) std::size_t Format(char* buffer, std::size_t size, const char* function,
                                                         const char* format, std::va_list arguments) {
  const std::size_t name = V_strlcpy(buffer, function, size);
  const std::size_t prefix = V_strlcat(buffer, ": ", size);
  const std::size_t used = std::min(prefix, size - 1);
  const int text = V_vsnprintf(buffer + used, size - used, format, arguments);
  return text < 0 ? name : prefix + static_cast<std::size_t>(text);
}

// Keeps a broken pipe on standard error from ending the host: the signal is held back in this thread, and taken out
// again when the write has raised it.
class PipeSignalHeld {
 public:
  PipeSignalHeld() {
    sigemptyset(&pipe_);
    sigaddset(&pipe_, SIGPIPE);
    sigset_t pending;
    sigpending(&pending);
    was_pending_ = sigismember(&pending, SIGPIPE) == 1;
    pthread_sigmask(SIG_BLOCK, &pipe_, &before_);
  }
  ~PipeSignalHeld() {
    const timespec at_once{0, 0};
    while (!was_pending_ && sigtimedwait(&pipe_, nullptr, &at_once) == -1 && errno == EINTR) {
    }
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }
  PipeSignalHeld(const PipeSignalHeld&) = delete;
  PipeSignalHeld& operator=(const PipeSignalHeld&) = delete;

 private:
  sigset_t pipe_;
  sigset_t before_;
  bool was_pending_ = false;
};

// One newline to standard error; returns 0 or errno.
int WriteNewline() {
  const PipeSignalHeld held;
  ssize_t written = 0;
  do {
    written = write(STDERR_FILENO, "\n", 1);
  } while (written < 0 && errno == EINTR);
  return written == 1 ? 0 : errno;
}

}  // namespace

void setGlobalSessionDef(const aapi_session_def_v1_t* session) { *global_session = session; }
const aapi_session_def_v1_t* getGlobalSessionDef() { return *global_session; }

void VLogMsg(const aapi_session_def_v1_t* session, std::uint32_t level, const char* function, const char* format,
             std::va_list arguments) {
  if (session == nullptr || session->log == nullptr || function == nullptr || format == nullptr) {
    return;
  }
  // An ordinary line fits the stack; only a long one costs an allocation of its own length.
  std::array<char, 1024> ordinary;
  std::va_list again;
  va_copy(again, arguments);
  try {
    const std::size_t length = Format(ordinary.data(), ordinary.size(), function, format, arguments);
    if (length < ordinary.size()) {
      Emit(*session, level, {ordinary.data(), length}, false);
    } else {
      std::vector<char> longer(std::min(length + 1, kLongestLine));
      Format(longer.data(), longer.size(), function, format, again);
      Emit(*session, level, {longer.data(), longer.size() - 1}, length >= kLongestLine);
    }
  } catch (const std::bad_alloc&) {
    // A line that memory is too short for is lost; what it reports on goes on.
  }
  va_end(again);
}

void LogMsg(const aapi_session_def_v1_t* session, std::uint32_t level, const char* function, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  VLogMsg(session, level, function, format, arguments);
  va_end(arguments);
}

#define AZS_LOG_AT(level)                                        \
  std::va_list arguments;                                        \
  va_start(arguments, format);                                   \
  VLogMsg(*global_session, level, function_, format, arguments); \
  va_end(arguments)

void FunctionLog::detail(const char* format, ...) const { AZS_LOG_AT(kDetail); }
void FunctionLog::flow(const char* format, ...) const { AZS_LOG_AT(kFlow); }
void FunctionLog::error(const char* format, ...) const { AZS_LOG_AT(kError); }
void FunctionLog::exception(const char* format, ...) const { AZS_LOG_AT(kException); }

#undef AZS_LOG_AT

std::uint32_t send_keepalive_callback(const char* /*caller*/) {
  const FunctionLog log(__func__);
  const std::time_t now = platform::clock().now();
  if (*last_keepalive == 0) {
    *last_keepalive = now - kKeepAliveSeconds;
  }
  if (now - *last_keepalive < kKeepAliveSeconds) {
    return kOk;
  }
  if (const int error = WriteNewline(); error != 0) {
    log.error("Failed to send keepalive message. Error = %d: %s", error, std::strerror(error));
    return kNetworkFailure;
  }
  log.flow("Successfully sent keep alive message to media server.");
  *last_keepalive = now;
  return kOk;
}

void AzureStorageWrapperLog(std::uint32_t level, const char* text) {
  const std::uint32_t known = level >= 1 && level <= kException ? level : static_cast<std::uint32_t>(kException);
  LogMsg(*global_session, known, __func__, "%s", text == nullptr ? "" : text);
}

}  // namespace azurestackpi
