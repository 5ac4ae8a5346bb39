// What is asked of a server, what it answers, and how an answer is read.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "aapi/aapi.h"
#include "src/base/status.h"

namespace azurestackpi {

/// A growable text buffer: owns its bytes, always ended by a NUL.
using _buffer_s = std::string;

/// An answer. The header block is that of the last answer: a status line begins it anew.
struct _Response {
  _buffer_s body;
  _buffer_s header;
};

/// Request methods.
enum HttpHeader : int { kGet = 0, kPut = 1, kPost = 2, kDelete = 3 };

/// Whether redirects are followed.
enum class Redirect { kFollow = 0, kStay = 1 };

/// kLongRequest: may take long, so the host's connection is kept alive and an asynchronous operation is followed.
enum EBlockType : int { kShortRequest = 0, kLongRequest = 1 };

/// One request. What is left out has the value that most calls want.
struct HttpRequest {
  std::string url;
  int method = kGet;                 // an HttpHeader
  std::vector<std::string> headers;  // header lines in the order in which they are sent, without line ends
  const _buffer_s* body = nullptr;   // not owned; null: none
  Redirect redirect = Redirect::kStay;
  aapi_keepalive_fn keepalive = nullptr;  // null: none, or the plug-in's own for a long request
  bool allow_retry = true;                // repeat on overload (429, 500, 502, 503) and after a renewed token
  bool is_internet_call = false;          // which proxy settings hold: "Internet" or "Intranet"
  int block_type = kShortRequest;         // an EBlockType
  bool want_async_response = false;       // the answer is that of the finished operation, if one was followed
  bool skip_token = false;                // sent without a bearer token
};

/// True for the HTTP statuses that say "later": 429, 500, 502, 503.
bool IsOverload(long http_status);

/// The value of a header, up to the end of its line; tag is the header's name with or without ": ". Found at the start
/// of a line in any letter case. Empty when missing; an error line when either text is empty.
std::string GetTagValueFromResponseHeader(std::string_view header_block, std::string_view tag);

/// The reason that a 401 gives: the quoted text right after "error_description=", without its quotes, lower-cased;
/// empty when there is none.
std::string AuthenticationErrorDescription(std::string_view header_block);

/// Judges an answer by its status line: 0 for "200 OK" or a block that is not HTTP; 6629 for "401 Unauthorized", 6630
/// for "404 Not Found", 6646 for the rest, with error lines; 6601 for a null header. api_name tells the lines apart.
Status CheckHeader(const char* header, const char* content, const char* api_name);

/// The string at the top-level key of a JSON body, or "n/a".
std::string GetHttpStatusValueFromResponseBody(std::string_view body, const char* key);

}  // namespace azurestackpi
