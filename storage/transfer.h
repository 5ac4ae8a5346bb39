// One request on its way: curl's easy interface, set up for the blob service.
#pragma once

#include <curl/curl.h>

#include <array>
#include <cstddef>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "storage/blob_access.h"
#include "storage/client_options.h"
#include "storage/service_failure.h"

namespace azurestoragewrapper {

/// Sends one request after the other over connections that stay alive. The owner runs handle(), by curl's easy or multi
/// interface, and then asks for the failure.
class Transfer {
 public:
  /// Takes the bytes of an answer that succeeded, in pieces; false ends the transfer.
  using Sink = std::function<bool(std::span<const std::byte>)>;

  /// Whose connections are used: those of the calling thread, by which the transfer has to be destroyed again, or the
  /// transfer's own, for one that is run by a multi handle.
  enum class Connections { of_thread, own };

  /// Throws std::bad_alloc.
  explicit Transfer(Connections connections);
  Transfer(const Transfer&) = delete;
  Transfer& operator=(const Transfer&) = delete;

  /// Makes the handle ready for this request. What it refers to lives until the transfer is over.
  void prepare(const SignedRequest& signed_request, const Request& request, const client_options& options, Sink sink);

  CURL* handle() const { return handle_.get(); }

  /// The answer, complete once the transfer is over; its status and headers stand when the sink is first called.
  const Answer& answer();

  /// What went wrong, if anything, given the result of curl. Throws what the taking of the answer threw.
  std::optional<Failure> failure(CURLcode result, const std::string& doing);

  /// Milliseconds from the request's leaving to the answer's first byte; 0 when none came.
  double answer_wait_ms() const;

  /// Milliseconds from the request's leaving to the answer's end. For an upload, where curl does not tell the wait for
  /// the answer apart from the sending.
  double duration_ms() const;

 private:
  struct ListDeleter {
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
  };

  static std::size_t on_body(char* data, std::size_t size, std::size_t count, void* self);
  static std::size_t on_header(char* data, std::size_t size, std::size_t count, void* self);
  static std::size_t on_upload(char* buffer, std::size_t size, std::size_t count, void* self);
  static int on_rewind(void* self, curl_off_t offset, int origin);

  std::size_t take(std::span<const std::byte> bytes);
  double ms_since_sending(CURLINFO until) const;
  void set_method(const Request& request);
  void set_headers(const SignedRequest& signed_request);
  void set_connection(const client_options& options);
  template <typename Value>
  void set(CURLoption option, Value value);

  std::unique_ptr<CURL, void (*)(CURL*)> handle_;
  std::unique_ptr<curl_slist, ListDeleter> headers_;
  std::array<char, CURL_ERROR_SIZE> error_{};
  Sink sink_;
  Answer answer_;
  std::exception_ptr thrown_;  // while the answer was taken
  int success_ = 0;
  std::span<const std::byte> upload_;
  std::size_t uploaded_ = 0;
};

}  // namespace azurestoragewrapper
