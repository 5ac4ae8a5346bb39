// Several transfers under way at once, over connections of their own, in the caller's thread.
#pragma once

#include <curl/curl.h>

#include <functional>
#include <memory>

#include "storage/transfer.h"

namespace azurestoragewrapper {

/// Runs transfers while one of its members is called and not otherwise. Used by one thread at a time.
class TransferGroup {
 public:
  /// Called for a transfer that is over, which is no more in the group then.
  using Finished = std::function<void(Transfer&, CURLcode)>;

  /// Throws std::bad_alloc.
  explicit TransferGroup(Finished finished);

  /// Begins a transfer that is prepared; it stays where it is until it is finished or removed.
  void add(Transfer& transfer);

  /// Takes out a transfer that is not over: its connection is closed. Nothing for one that is not in the group.
  void remove(Transfer& transfer);

  /// Lets the transfers go on as far as they can without waiting.
  void run();

  /// Waits until something can go on, at most a second, and runs.
  void wait_and_run();

 private:
  struct MultiDeleter {
    void operator()(CURLM* handle) const { curl_multi_cleanup(handle); }
  };

  Finished finished_;
  std::unique_ptr<CURLM, MultiDeleter> handle_;
};

}  // namespace azurestoragewrapper
