#include "storage/transfer_group.h"

#include <new>
#include <string>

namespace azurestoragewrapper {
namespace {

void check(CURLMcode code) {
  if (code == CURLM_OUT_OF_MEMORY) throw std::bad_alloc();
  if (code != CURLM_OK) {
    throw azurestorage_exception(
        Failure{.message = std::string("the transfers of a blob cannot go on: ") + curl_multi_strerror(code)});
  }
}

}  // namespace

TransferGroup::TransferGroup(Finished finished) : finished_(std::move(finished)), handle_(curl_multi_init()) {
  if (!handle_) throw std::bad_alloc();
  // Else curl closes idle ones whenever few transfers are under way, and the next ones connect anew.
  curl_multi_setopt(handle_.get(), CURLMOPT_MAXCONNECTS, 32L);
  curl_multi_setopt(handle_.get(), CURLMOPT_PIPELINING, static_cast<long>(CURLPIPE_NOTHING));
}

void TransferGroup::add(Transfer& transfer) {
  curl_easy_setopt(transfer.handle(), CURLOPT_PRIVATE, static_cast<void*>(&transfer));
  check(curl_multi_add_handle(handle_.get(), transfer.handle()));
}

void TransferGroup::remove(Transfer& transfer) {
  static_cast<void>(curl_multi_remove_handle(handle_.get(), transfer.handle()));
}

void TransferGroup::run() {
  int running = 0;
  check(curl_multi_perform(handle_.get(), &running));
  int left = 0;
  while (const CURLMsg* const message = curl_multi_info_read(handle_.get(), &left)) {
    if (message->msg != CURLMSG_DONE) continue;
    const CURLcode result = message->data.result;
    CURL* const easy = message->easy_handle;  // the message is gone once its handle is removed
    char* transfer = nullptr;
    curl_easy_getinfo(easy, CURLINFO_PRIVATE, &transfer);
    check(curl_multi_remove_handle(handle_.get(), easy));
    finished_(*reinterpret_cast<Transfer*>(transfer), result);
  }
}

void TransferGroup::wait_and_run() {
  check(curl_multi_poll(handle_.get(), nullptr, 0, 1000, nullptr));
  run();
}

}  // namespace azurestoragewrapper
