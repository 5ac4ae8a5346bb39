// What the real blob service refuses and the one of the tests lets pass.
#pragma once

#include <optional>
#include <string>

#include "sim/http_message.h"

namespace azurite {

/// An answer as the blob service refuses with it: the code in a header and in an XML text.
sim::Response blob_error(int status, const std::string& code);

/// The real service's refusal of a request that is not to be passed on: pages of more than 4 MiB in one request,
/// and the difference of two snapshots, which an Azure Stack may not know.
std::optional<sim::Response> strict_refusal(const sim::Request& request);

/// The real service's answer for the one that came: 416 for a range that begins at the end, and no header
/// x-ms-error-code before the API version of 2017-07-29.
sim::Response strict_answer(const sim::Request& request, sim::Response answer);

}  // namespace azurite
