// Bare curl loops over the ranges of a blob: what the storage client is measured against. Everything that fails throws
// std::runtime_error.
#pragma once

#include <curl/curl.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "storage/page_ranges.h"

namespace bench {

using azurestoragewrapper::PageRange;

struct HandleDeleter {
  void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
};
struct ListDeleter {
  void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};

/// A handle that sends ranged requests to one address over one connection.
class RawTransfer {
 public:
  /// buffer_size: curl's, in bytes. capacity: of the caller's buffer that answers are copied to, in bytes.
  RawTransfer(const std::string& url, long buffer_size, std::size_t capacity);

  /// Makes the handle ask for a range's bytes, for curl_multi or Perform.
  void PrepareGet(const PageRange& range);
  /// The answer is not the range itself: its length is not known.
  void ExpectAnyLength() { expected_ = 0; }
  /// Makes the handle write a range's bytes, which must outlive the request.
  void PreparePut(const PageRange& range, const std::byte* data);

  void Perform();
  /// Throws unless the finished request was answered by 200, 201 or 206, and a read with all its bytes.
  void Check(CURLcode result);

  CURL* handle() const { return handle_.get(); }
  const std::byte* data() const { return buffer_.data(); }
  std::size_t size() const { return filled_; }

 private:
  static std::size_t Receive(char* data, std::size_t size, std::size_t count, void* self);
  static std::size_t Supply(char* buffer, std::size_t size, std::size_t count, void* self);
  void SetHeaders(const PageRange& range, bool write);

  std::unique_ptr<CURL, HandleDeleter> handle_;
  std::unique_ptr<curl_slist, ListDeleter> headers_;
  std::vector<std::byte> buffer_;
  std::size_t filled_ = 0;
  std::size_t expected_ = 0;  // of a read; 0: any
  const std::byte* source_ = nullptr;
  std::size_t source_left_ = 0;
};

/// What a block of at most 4 MiB is written with: a part of data, which is longer than that.
const std::byte* ContentOf(const PageRange& block, const std::vector<std::byte>& data);

/// One request for each of the blocks, one after the other over one connection.
void ReadSerially(const std::string& url, const std::vector<PageRange>& blocks, long buffer_size);
void WriteSerially(const std::string& url, const std::vector<PageRange>& blocks, const std::vector<std::byte>& data,
                   long buffer_size);

/// The same by so many transfers at a time, as the curl program's --parallel does.
void ReadInParallel(const std::string& url, const std::vector<PageRange>& blocks, std::size_t transfers,
                    long buffer_size);

/// Asks for the page list of each window, and looks through all bytes of the answers once. Returns their sum.
std::uint64_t ListWindows(const std::string& url, const std::vector<PageRange>& windows, std::size_t largest,
                          long buffer_size);

}  // namespace bench
