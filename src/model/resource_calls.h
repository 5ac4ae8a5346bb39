// What all readers of Resource Manager resources share: how a call is made, and how its answer is opened.
#pragma once

#include <jansson.h>

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

  /// Sends to a path of the management endpoint, query included. method: an HttpHeader; body: null for none;
  /// block_type: an EBlockType. Returns the status of SendHttpRequest: an answer of any HTTP status is 0.
  Status Send(const std::string& subpath, int method, const _buffer_s* body, int block_type);

  Status Get(const std::string& subpath) { return Send(subpath, kGet, nullptr, kShortRequest); }

  const _Response& response() const { return response_; }

 private:
  Status CreateUrl(const std::string& subpath);

  AzureStackPi_HttpClient client_;
  std::string m_url;
  _Response response_;
};

/// Parses a body. Returns 0, or 5 with the line "error while parsing json: on line LINE: WHY"; what stands in that line
/// behind the word json.
Status OpenJson(const FunctionLog& log, const std::string& body, JsonPtr& root, const char* what = "");

/// Judges an answer by its status line and opens its body. kind tells the lines of failures apart.
Status OpenAnswer(const FunctionLog& log, const _Response& response, const char* kind, JsonPtr& root,
                  const char* what = "");

/// Why an answer could not be used, for an operator: "Resource Manager answered 404 Not Found (ResourceNotFound)", or
/// that what it sent is not JSON.
std::string WhyUnusable(const _Response& response);

/// The list in an answer; null, which counts as empty, with an error line when there is none.
const json_t* ListedValues(const FunctionLog& log, const json_t* root);

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
