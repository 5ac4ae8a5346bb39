#include "bench/raw_transfer.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "bench/disk_layout.h"

namespace bench {
namespace {

struct MultiDeleter {
  void operator()(CURLM* multi) const { curl_multi_cleanup(multi); }
};

/// Transfers driven by one curl_multi handle; each that ends takes the next block.
class TransferPool {
 public:
  TransferPool(const std::string& url, const std::vector<PageRange>& blocks, std::size_t transfers, long buffer_size)
      : next_(blocks.begin()), end_(blocks.end()), multi_(curl_multi_init()) {
    for (std::size_t i = 0; i < transfers; ++i) {
      transfers_.push_back(std::make_unique<RawTransfer>(url, buffer_size, kBlock));
      curl_easy_setopt(transfers_.back()->handle(), CURLOPT_PRIVATE, transfers_.back().get());
    }
  }

  ~TransferPool() {
    for (const auto& transfer : transfers_) curl_multi_remove_handle(multi_.get(), transfer->handle());
  }
  TransferPool(const TransferPool&) = delete;
  TransferPool& operator=(const TransferPool&) = delete;

  void Run() {
    for (const auto& transfer : transfers_) StartNext(*transfer);
    while (running_ > 0) {
      int still = 0;
      curl_multi_perform(multi_.get(), &still);
      TakeFinished();
      if (still > 0) curl_multi_poll(multi_.get(), nullptr, 0, 1000, nullptr);
    }
  }

 private:
  void StartNext(RawTransfer& transfer) {
    if (next_ == end_) return;
    transfer.PrepareGet(*next_++);
    curl_multi_add_handle(multi_.get(), transfer.handle());
    ++running_;
  }

  void TakeFinished() {
    int left = 0;
    while (const CURLMsg* message = curl_multi_info_read(multi_.get(), &left)) {
      const CURLcode result = message->data.result;
      char* owner = nullptr;
      curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &owner);
      auto& transfer = *reinterpret_cast<RawTransfer*>(owner);
      curl_multi_remove_handle(multi_.get(), transfer.handle());
      --running_;
      transfer.Check(result);
      StartNext(transfer);
    }
  }

  std::vector<PageRange>::const_iterator next_;
  std::vector<PageRange>::const_iterator end_;
  std::vector<std::unique_ptr<RawTransfer>> transfers_;
  std::unique_ptr<CURLM, MultiDeleter> multi_;
  std::size_t running_ = 0;
};

}  // namespace

RawTransfer::RawTransfer(const std::string& url, long buffer_size, std::size_t capacity)
    : handle_(curl_easy_init()), buffer_(capacity) {
  curl_easy_setopt(handle(), CURLOPT_URL, url.c_str());
  curl_easy_setopt(handle(), CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(handle(), CURLOPT_NOPROXY, "*");
  curl_easy_setopt(handle(), CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
  curl_easy_setopt(handle(), CURLOPT_BUFFERSIZE, buffer_size);
  curl_easy_setopt(handle(), CURLOPT_UPLOAD_BUFFERSIZE, buffer_size);
  curl_easy_setopt(handle(), CURLOPT_WRITEFUNCTION, &Receive);
  curl_easy_setopt(handle(), CURLOPT_WRITEDATA, this);
  curl_easy_setopt(handle(), CURLOPT_READFUNCTION, &Supply);
  curl_easy_setopt(handle(), CURLOPT_READDATA, this);
}

void RawTransfer::PrepareGet(const PageRange& range) {
  filled_ = 0;
  expected_ = range.length;
  SetHeaders(range, false);
}

void RawTransfer::PreparePut(const PageRange& range, const std::byte* data) {
  filled_ = 0;
  expected_ = 0;
  source_ = data;
  source_left_ = range.length;
  curl_easy_setopt(handle(), CURLOPT_UPLOAD, 1L);
  curl_easy_setopt(handle(), CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(range.length));
  SetHeaders(range, true);
}

void RawTransfer::Perform() { Check(curl_easy_perform(handle())); }

void RawTransfer::Check(CURLcode result) {
  long status = 0;
  curl_easy_getinfo(handle(), CURLINFO_RESPONSE_CODE, &status);
  const bool good = status == 200 || status == 201 || status == 206;
  if (result == CURLE_OK && good && (expected_ == 0 || filled_ == expected_)) return;
  throw std::runtime_error("a raw transfer failed: " + std::string(curl_easy_strerror(result)) + ", status " +
                           std::to_string(status) + ", " + std::to_string(filled_) + " bytes");
}

std::size_t RawTransfer::Receive(char* data, std::size_t size, std::size_t count, void* self) {
  auto& transfer = *static_cast<RawTransfer*>(self);
  const std::size_t bytes = size * count;
  if (bytes > transfer.buffer_.size() - transfer.filled_) return 0;
  std::memcpy(transfer.buffer_.data() + transfer.filled_, data, bytes);
  transfer.filled_ += bytes;
  return bytes;
}

std::size_t RawTransfer::Supply(char* buffer, std::size_t size, std::size_t count, void* self) {
  auto& transfer = *static_cast<RawTransfer*>(self);
  const std::size_t bytes = std::min(size * count, transfer.source_left_);
  std::memcpy(buffer, transfer.source_, bytes);
  transfer.source_ += bytes;
  transfer.source_left_ -= bytes;
  return bytes;
}

void RawTransfer::SetHeaders(const PageRange& range, bool write) {
  const std::string bytes =
      "x-ms-range: bytes=" + std::to_string(range.offset) + "-" + std::to_string(range.offset + range.length - 1);
  headers_.reset(curl_slist_append(nullptr, bytes.c_str()));
  headers_.reset(curl_slist_append(headers_.release(), "x-ms-version: 2015-04-05"));
  if (write) {
    headers_.reset(curl_slist_append(headers_.release(), "x-ms-page-write: update"));
    headers_.reset(curl_slist_append(headers_.release(), "Expect:"));
  }
  curl_easy_setopt(handle(), CURLOPT_HTTPHEADER, headers_.get());
}

const std::byte* ContentOf(const PageRange& block, const std::vector<std::byte>& data) {
  return data.data() + block.offset % (data.size() - kBlock);
}

void ReadSerially(const std::string& url, const std::vector<PageRange>& blocks, long buffer_size) {
  RawTransfer transfer(url, buffer_size, kBlock);
  for (const PageRange& block : blocks) {
    transfer.PrepareGet(block);
    transfer.Perform();
  }
}

void WriteSerially(const std::string& url, const std::vector<PageRange>& blocks, const std::vector<std::byte>& data,
                   long buffer_size) {
  RawTransfer transfer(url + "&comp=page", buffer_size, kBlock);
  for (const PageRange& block : blocks) {
    transfer.PreparePut(block, ContentOf(block, data));
    transfer.Perform();
  }
}

void ReadInParallel(const std::string& url, const std::vector<PageRange>& blocks, std::size_t transfers,
                    long buffer_size) {
  TransferPool(url, blocks, transfers, buffer_size).Run();
}

std::uint64_t ListWindows(const std::string& url, const std::vector<PageRange>& windows, std::size_t largest,
                          long buffer_size) {
  RawTransfer transfer(url + "&comp=pagelist", buffer_size, largest);
  std::uint64_t bytes = 0;
  for (const PageRange& window : windows) {
    transfer.PrepareGet(window);
    transfer.ExpectAnyLength();
    transfer.Perform();
    if (std::memchr(transfer.data(), '\0', transfer.size()) != nullptr) throw std::runtime_error("no page list");
    bytes += transfer.size();
  }
  return bytes;
}

}  // namespace bench
