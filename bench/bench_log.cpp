// What a log line costs beside formatting its text: nine rounds of 200,000 lines each.
#include <array>
#include <cstdio>

#include "bench/ratio.h"
#include "src/base/logging.h"
#include "src/base/secrets.h"

namespace {

constexpr int kLines = 200000;

void DropLine(const char* /*tag*/, const char* /*message*/, std::uint32_t /*level*/) {}

// Keeps the compiler from leaving the raw loop out.
void Use(const char* text) { asm volatile("" : : "r"(text) : "memory"); }

}  // namespace

int main() {
  aapi_session_def_v1_t session{};
  session.log = DropLine;
  for (const char* secret : {"a client secret of twenty", "user password", "eyJ0eXAiOiJKV1Qi.a.token"}) {
    azurestackpi::RememberSecret(azurestackpi::SecretKind::kCredential, secret);
  }
  const auto line = [&](int i) {
    azurestackpi::LogMsg(&session, 3, "SendHttpRequest", "Query URL: %s. is_internet_call %d ",
                         "https://management.local.azurestack.localhost/subscriptions?api-version=2018-05-01", i);
  };
  const auto raw = [](int i) {
    std::array<char, 1024> text;
    static_cast<void>(
        std::snprintf(text.data(), text.size(), "%s: Query URL: %s. is_internet_call %d ", "SendHttpRequest",
                      "https://management.local.azurestack.localhost/subscriptions?api-version=2018-05-01", i));
    Use(text.data());
  };
  const bool within = bench::CompareRatio(
      "a log line beside snprintf", 9, 4.0,
      [&] {
        for (int i = 0; i < kLines; ++i) {
          line(i);
        }
      },
      [&] {
        for (int i = 0; i < kLines; ++i) {
          raw(i);
        }
      });
  return within ? 0 : 1;
}
