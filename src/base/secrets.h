// Keeping secrets out of every text that leaves the plug-in.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace azurestackpi {

/// What stands in a text in a secret's place.
inline constexpr std::string_view kSecretMask = "******";

/// Where a secret comes from, and so how long it is looked for.
enum class SecretKind {
  kCredential,  // of the open server's store, or its user's password: until ForgetCredentials
  kToken,       // a bearer token: the latest two
  kStorageKey,  // an account's key: the latest four
};

/// Remembers a secret, so that MaskSecrets finds it wherever it stands: as it is, percent-encoded, or escaped in JSON.
/// Texts shorter than four bytes are not remembered: they would be found in every line.
void RememberSecret(SecretKind kind, const std::string& secret);

/// Forgets the credentials of a server, when those of another take their place.
void ForgetCredentials();

/// The text with every secret replaced by "******", or nothing when it holds none. Finds remembered secrets, and by
/// their surroundings: Authorization and Cookie headers, form fields and JSON members that hold tokens, passwords,
/// client secrets or storage keys, the AccountKey of a connection string, the signature of a SAS address, the password
/// in an address. A secret whose end is missing is masked to the end of the text; with cut set also a remembered secret
/// of which the text's end holds just the beginning.
std::optional<std::string> MaskSecrets(std::string_view text, bool cut = false);

}  // namespace azurestackpi
