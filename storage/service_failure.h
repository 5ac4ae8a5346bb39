// The one place where an HTTP status, a word of the service or a result of curl becomes a failure of the client.
#pragma once

#include <curl/curl.h>

#include <string>

#include "storage/azurestorage_exception.h"
#include "storage/request.h"

namespace azurestoragewrapper {

/// Of an answer that is no success. doing: what was attempted, "reading bytes 0-511 of http://...".
Failure failure_of_answer(const Answer& answer, const std::string& doing);

/// Of a transfer that ended without an answer. detail: curl's own words, may be empty.
Failure failure_of_transfer(CURLcode code, const std::string& detail, const std::string& doing);

/// Of an answer that cannot be: worth another try when the connection may have cut it.
Failure failure_of_form(const std::string& what, const std::string& doing, bool retryable);

}  // namespace azurestoragewrapper
