// The workload file's reader on any bytes, with and without tags, and a round trip of any text.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "aapi/wkldfile.h"

namespace {

struct Closer {
  void operator()(wkldfile_handle_s* handle) const { close_wkld_file(handle); }
};
using Handle = std::unique_ptr<wkldfile_handle_s, Closer>;

int File() {
  static const int descriptor = memfd_create("workload", MFD_CLOEXEC);
  return descriptor;
}

const std::string& Path() {
  static const std::string path = "/proc/self/fd/" + std::to_string(File());
  return path;
}

wkldfile_record_s& Record() {
  static const auto record = std::make_unique<wkldfile_record_s>();
  return *record;
}

void ReadAll(std::uint32_t tag_flag) {
  const Handle handle(open_wkld_file(Path().c_str()));
  while (handle && wkldfile_read_record(handle.get(), &Record(), tag_flag) == 0) {
    if (Record().length == 0 || Record().length > WKLDFILE_LONGEST_DATA || Record().data[Record().length - 1] != '\0') {
      std::abort();
    }
  }
}

void RoundTrip(const std::string& text) {
  if (ftruncate(File(), 0) != 0) {
    return;
  }
  {
    const Handle out(create_wkld_file(Path().c_str()));
    if (!out) {
      return;
    }
    out->cursor = out->buffer;
    out->room = WKLDFILE_BUFFER_SIZE;
    if (wkldfile_write_record(out.get(), text.c_str(), 7, 1) != 0 ||
        wkldfile_write_record(out.get(), nullptr, 0, 0) != 0) {
      return;
    }
  }
  const Handle in(open_wkld_file(Path().c_str()));
  if (!in || wkldfile_read_record(in.get(), &Record(), 1) != 0 || Record().tag != 7 ||
      std::strcmp(Record().data, text.c_str()) != 0) {
    std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (ftruncate(File(), 0) != 0 || pwrite(File(), data, size, 0) != static_cast<ssize_t>(size)) {
    return 0;
  }
  ReadAll(0);
  ReadAll(1);
  RoundTrip(std::string(reinterpret_cast<const char*>(data), size));
  return 0;
}
