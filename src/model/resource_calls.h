// What all readers of Resource Manager resources share: how a call is made, and how its answer is opened.
#pragma once

#include <jansson.h>

#include <functional>
#include <string>
#include <string_view>

#include "src/base/logging.h"
#include "src/base/owners.h"
#include "src/rest/http_client.h"

namespace azurestackpi {

/// Makes one call at a time to the management endpoint and keeps the last answer.
class ResourceCalls {
 public:
  explicit ResourceCalls(const azs_rest_server_s& rest);

  /// Makes a path of the management endpoint, query included, the address of the next request. Returns 0, or 6601 with
  /// a line, which line_end closes.
  Status CreateUrl(const std::string& subpath, const char* line_end = "");

  /// Sends to that address. method: an HttpHeader; body: null for none; block_type: an EBlockType. Returns the status
  /// of SendHttpRequest: an answer of any HTTP status is 0.
  Status Send(int method, const _buffer_s* body, int block_type, Redirect redirect = Redirect::kStay);

  Status Get() { return Send(kGet, nullptr, kShortRequest); }

  /// Asks whether there is a resource at the address.
  enum class Presence { kThere, kAbsent, kUnknown };
  Presence Look();

  /// Why the last call did not do what it was to, for an operator: what became of the request, and what the service
  /// says of it.
  std::string WhyFailed() const;

  /// The same of a request that was to make something, which without an answer may be there all the same.
  std::string WhyNotMade() const;

  const std::string& url() const { return m_url; }
  const _Response& response() const { return response_; }

  /// The answer that tells of a failure: the operation's when that failed, else the last one.
  const _Response& failure_response() const;

  /// Of the last call; 0 when there was no answer.
  long HttpStatus() const { return client_.GetHttpStatusCode(); }

 private:
  AzureStackPi_HttpClient client_;
  std::string m_url;
  _Response response_;
  Status sent_ = kOk;  // of the last call
};

/// What a service says of a failure.
struct ServiceError {
  std::string code;
  std::string message;
};

/// The members of "error" in a body, printable and of bounded length; empty where there are none.
ServiceError ReadServiceError(const std::string& body);

/// Parses a body. Returns 0, or 5 with the line "error while parsing json: on line LINE: WHY"; what stands in that line
/// behind the word json.
Status OpenJson(const FunctionLog& log, const std::string& body, JsonPtr& root, const char* what = "");

/// Judges an answer by its status line and opens its body. kind tells the lines of failures apart.
Status OpenAnswer(const FunctionLog& log, const _Response& response, const char* kind, JsonPtr& root,
                  const char* what = "");

/// Why an answer could not be used, for an operator: "Resource Manager answered 404 Not Found (ResourceNotFound)", or
/// that what it sent is not JSON.
std::string WhyUnusable(const _Response& response);

/// A listing as its reader knows it.
struct Listing {
  const char* kind;           // tells the lines of failures apart
  const char* counted;        // what the line "Total COUNTED: N" counts
  Status without_list = kOk;  // what an answer without a list gives; 0: it counts as an empty one
};

/// Opens an answer and hands each element of its list to take, until that returns another status than 0. Other members
/// of the answer are logged. Returns the status of OpenAnswer, of a missing list (which has an error line) or of take.
Status ReadList(const FunctionLog& log, const _Response& response, const Listing& listing,
                const std::function<Status(const json_t*)>& take);

/// Logs the members of an answer that its reader does not know. A link to a next page is an error line: what stands
/// there is not read.
void LogOtherMembers(const FunctionLog& log, json_t* root, std::string_view known);

/// A value in one line: a string as it is, everything else as compact JSON.
std::string CompactJson(const json_t* value);

/// True for a text that can stand in an address as its path: no query, fragment, escape, backslash or control byte, no
/// "." or ".." between slashes.
bool IsUrlPath(std::string_view text);

/// True for a name that stays one piece of such a path: not empty and without a slash.
bool IsPathSegment(std::string_view text);

/// The text behind the last "/", a closing one aside.
std::string LastPathComponent(const std::string& id);

}  // namespace azurestackpi
