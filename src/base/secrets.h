// Keeping secrets out of every text that leaves the plug-in.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace azurestackpi {

/// What stands in a text in a secret's place.
inline constexpr std::string_view kSecretMask = "******";

/// Remembers a secret, so that MaskSecrets finds it wherever it stands, percent-encoded form included. Texts shorter
/// than four bytes are not remembered: they would be found in every line. The latest few are kept.
void RememberSecret(const std::string& secret);

/// The text with every secret replaced by "******", or nothing when it holds none. Finds remembered secrets, and by
/// their surroundings: Authorization headers, form fields and JSON members that hold tokens, passwords, client secrets
/// or storage keys, the AccountKey of a connection string, the signature of a SAS address, the password in an address.
/// A secret whose end is missing is masked to the end of the text; with cut set also a remembered secret of which the
/// text's end holds just the beginning.
std::optional<std::string> MaskSecrets(std::string_view text, bool cut = false);

}  // namespace azurestackpi
