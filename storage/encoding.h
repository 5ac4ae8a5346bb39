// Texts as they go over the wire.
#pragma once

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>

namespace azurestoragewrapper {

/// Percent-encodes everything but letters, digits and "-._~"; keep: further bytes that stand as they are.
std::string percent_encode(std::string_view text, std::string_view keep = {});
/// The text with its percent-escapes replaced; one that is none stands.
std::string percent_decode(std::string_view text);

/// Nothing when the text is not base64.
std::optional<std::string> base64_decode(std::string_view text);
/// Base64 of the HMAC-SHA256 of the text.
std::string hmac_sha256_base64(const std::string& key, std::string_view text);

/// "Sun, 22 Nov 2026 20:01:37 GMT"
std::string http_date(std::time_t time);
/// Of "2026-11-22T20:03:35.2410000Z", whole seconds; nothing for any other form.
std::optional<std::time_t> parse_service_time(const std::string& text);

/// Decimal digits and nothing else, as far as they fit.
std::optional<std::uint64_t> parse_number(std::string_view text);

std::string to_lower(std::string text);

}  // namespace azurestoragewrapper
