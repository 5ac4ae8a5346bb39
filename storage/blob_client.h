// Requests to the blob service that are waited for, sent again where that may help.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

#include "storage/blob_access.h"
#include "storage/client_options.h"
#include "storage/request.h"
#include "storage/transfer.h"

namespace azurestoragewrapper {

/// One place of the blob service and how it is spoken to.
struct BlobClient {
  BlobAccess access;
  client_options options;
  double fastest_answer_ms = 0;  // shortest wait for an answer so far: the round trip at most; 0: none yet
};

/// Sends the request and returns the answer of a success, its body as text when it is at most longest_body bytes.
/// doing: what is attempted, for messages. Throws azurestorage_exception.
Answer perform(BlobClient& client, const Request& request, const std::string& doing,
               std::size_t longest_body = std::size_t{1} << 20U);

/// Whether a request that failed so is sent again after so many repeats.
bool may_repeat(const client_options& options, Repeat repeat, const Failure& failure, int repeats);

/// Logs the failure and waits before a request is sent again, as long as the service asks or 1, 2, 4 ... seconds, the
/// keep-alive called before.
void pause_before_repeat(const client_options& options, const Failure& failure, int repeats);

/// Calls the keep-alive, if there is one.
void keep_alive(const client_options& options, const char* caller);

/// A line of the client's log.
void log_line(const client_options& options, std::uint32_t level, const std::string& text);

inline constexpr std::uint32_t kLogDetail = 1;
inline constexpr std::uint32_t kLogWarning = 2;
inline constexpr std::uint32_t kLogError = 4;

}  // namespace azurestoragewrapper
