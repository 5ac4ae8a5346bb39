// Masking: whatever stands around it, a remembered secret never leaves.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "src/base/secrets.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::string secret = "Pl4nted&secret";
  static const bool remembered = (azurestackpi::RememberSecret(azurestackpi::SecretKind::kCredential, secret), true);
  static_cast<void>(remembered);
  const std::string text(reinterpret_cast<const char*>(data), size);
  const std::size_t middle = size / 2;
  const std::string planted = text.substr(0, middle) + secret + text.substr(middle);
  for (const std::string& line : {text, planted}) {
    const std::string masked = azurestackpi::MaskSecrets(line, true).value_or(line);
    if (masked.find(secret) != std::string::npos) {
      std::abort();
    }
  }
  return 0;
}
