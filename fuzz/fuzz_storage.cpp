// What the blob service answers, and addresses: page lists, error bodies, access addresses, connection strings.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "storage/azurestorage_exception.h"
#include "storage/blob_access.h"
#include "storage/page_list.h"
#include "storage/service_failure.h"

namespace {

using namespace azurestoragewrapper;

void read_page_list(const std::string& text) {
  constexpr std::uint64_t kBlobSize = std::uint64_t{1} << 40U;
  std::vector<PageRange> ranges;
  static_cast<void>(parse_page_list(text, ranges));
  normalise(ranges, kBlobSize);
  std::uint64_t end = 0;
  for (const PageRange& range : ranges) {
    const bool first = &range == &ranges.front();
    if (range.length == 0 || (!first && range.offset <= end) || range.length > kBlobSize - range.offset) std::abort();
    end = range.offset + range.length;
  }
}

template <typename Step>
void allow_refusal(const Step& step) {
  try {
    step();
  } catch (const azurestorage_exception&) {
    // Refusing is right for nearly all texts.
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  allow_refusal([&] { read_page_list(text); });
  allow_refusal([&] {
    const SignedRequest request = BlobAccess(text).sign({.method = "GET", .query = {{"comp", "pagelist"}}}, 0, "1");
    if (request.url.find_first_of("\r\n") != std::string::npos) std::abort();
  });
  allow_refusal([&] { static_cast<void>(BlobAccess(text, "c", "b").uri()); });
  static_cast<void>(failure_of_answer({.status = 503, .headers = {{"retry-after", text}}, .body = text}, "it"));
  return 0;
}
