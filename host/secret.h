// A text that must not be seen: printing it gives asterisks, and its memory is wiped when it goes.
#pragma once

#include <string.h>

#include <ostream>
#include <string>
#include <utility>

namespace host {

class Secret {
 public:
  Secret() = default;
  explicit Secret(std::string text) : text_(std::move(text)) {}
  ~Secret() { wipe(); }
  Secret(const Secret&) = delete;
  Secret& operator=(const Secret&) = delete;
  Secret(Secret&& other) noexcept { text_.swap(other.text_); }
  Secret& operator=(Secret&& other) noexcept {
    text_.swap(other.text_);
    return *this;
  }

  /// The text itself, for the one place that hands it on.
  const std::string& reveal() const { return text_; }
  bool empty() const { return text_.empty(); }

  friend std::ostream& operator<<(std::ostream& out, const Secret&) { return out << "******"; }

 private:
  void wipe() noexcept {
    explicit_bzero(text_.data(), text_.size());
    text_.clear();
  }

  std::string text_;
};

}  // namespace host
