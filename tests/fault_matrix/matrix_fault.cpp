#include "tests/fault_matrix/matrix_fault.h"

#include "tests/azurite/strictness.h"

namespace fault_matrix {
namespace {

MatrixFault Refusal(const char* name, int status, const std::string& code) {
  return {.name = name,
          .management = sim::AnswerWith{{.status = status,
                                         .headers = {{"Content-Type", "application/json; charset=utf-8"}},
                                         .body = R"({"error":{"code":")" + code + R"(","message":"Refused."}})"}},
          .blobs = sim::AnswerWith{azurite::blob_error(status, code)}};
}

MatrixFault Overload(const char* name, int status, const std::string& code) {
  MatrixFault fault = Refusal(name, status, code);
  std::get<sim::AnswerWith>(fault.management).response.headers.emplace_back("Retry-After", "17");
  return fault;
}

MatrixFault InvalidToken() {
  return {.name = "401, invalid token",
          .management = sim::RefuseToken{},
          .blobs = sim::AnswerWith{azurite::blob_error(401, "InvalidAuthenticationInfo")}};
}

// JSON of the right members with wrong types, on both levels that lists and resources have.
MatrixFault WrongTypes() {
  const std::string members = R"("id":7,"name":[],"type":null,"location":{},"tags":3,"status":4,"access_token":5,)"
                              R"("expires_on":[],"expires_in":{},"keys":9,"subscriptionId":1.5,"accessSAS":8)";
  return {.name = "wrong types",
          .management =
              sim::ReplaceBody{"{" + members + R"(,"error":1,"value":[7,null,{)" + members +
                               R"(,"properties":[1]}],"properties":{"storageProfile":"x","output":"x","subnets":{},)" +
                               R"("provisioningState":2,"instanceView":[],"creationData":0},"nextLink":11})"},
          .blobs = sim::ReplaceBody{"<PageList><PageRange><Start>x</Start><End/></PageRange></PageList>"},
          .of_texts = true};
}

}  // namespace

const std::vector<MatrixFault>& MatrixFaults() {
  static const std::vector<MatrixFault> faults{
      Refusal("400", 400, "BadRequest"),
      InvalidToken(),
      Refusal("401, another", 401, "AuthenticationFailed"),
      Refusal("403", 403, "AuthorizationFailed"),
      Refusal("404", 404, "ResourceNotFound"),
      Refusal("409", 409, "Conflict"),
      Refusal("412", 412, "PreconditionFailed"),
      Overload("429", 429, "TooManyRequests"),
      Refusal("500", 500, "InternalServerError"),
      Refusal("502", 502, "BadGateway"),
      Overload("503", 503, "ServerBusy"),
      {.name = "reset, not carried out",
       .management = sim::ResetBeforeAnswer{},
       .blobs = sim::ResetBeforeAnswer{},
       .once = 2},
      {.name = "reset, carried out", .management = sim::LoseAnswer{}, .blobs = azurite::LoseAnswer{}, .once = 2},
      {.name = "reset in the body", .management = sim::ResetInBody{20}, .blobs = sim::ResetInBody{20}},
      {.name = "truncated JSON or XML",
       .management = sim::ReplaceBody{R"({"value":[{"id":"/subscr)"},
       .blobs = sim::ReplaceBody{R"(<?xml version="1.0"?><PageList><PageRange><Start>0</St)"},
       .of_texts = true},
      WrongTypes(),
      {.name = "endless trickle", .blobs = azurite::Trickle{std::chrono::milliseconds(500)}, .blobs_only = true},
  };
  return faults;
}

}  // namespace fault_matrix
