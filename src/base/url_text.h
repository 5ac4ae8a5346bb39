// Percent-encoding, one routine for each place of an address or a form.
#pragma once

#include <string>
#include <string_view>

namespace azurestackpi {

/// A value of a token request's form: the bytes & + % = #, blanks, control and non-ASCII bytes become %XX, so that a
/// password that holds them arrives whole; every other byte stands.
std::string EncodeFormValue(std::string_view value);

/// The path and query of an address: blanks, control and non-ASCII bytes become %XX; every other byte stands.
std::string EncodeUrlPath(std::string_view path);

/// Everything but ASCII letters and digits becomes %XX, "/", "-", "." and "_" included.
std::string EncodeAllButAlphanumeric(std::string_view text);

}  // namespace azurestackpi
