#include "bench/range_server.h"

#include <fcntl.h>
#include <strings.h>
#include <sys/mman.h>
#include <sys/sendfile.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <optional>
#include <string_view>
#include <system_error>
#include <thread>

#include "bench/repeatable_random.h"

namespace bench {
namespace {

constexpr std::uint64_t kContentSize = 256ULL * 1024 * 1024;
constexpr std::size_t kMostRequests = 1'000'000;

/// Memory of a descriptor, or of none, shared with child processes.
class SharedMemory {
 public:
  SharedMemory(int descriptor, std::size_t size)
      : size_(size),
        data_(mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED | (descriptor < 0 ? MAP_ANONYMOUS : 0), descriptor,
                   0)) {
    if (data_ == MAP_FAILED) throw std::system_error(errno, std::generic_category(), "mmap");
  }
  ~SharedMemory() { munmap(data_, size_); }
  SharedMemory(const SharedMemory&) = delete;
  SharedMemory& operator=(const SharedMemory&) = delete;
  void* data() const { return data_; }

 private:
  std::size_t size_;
  void* data_;
};

/// A file without a name. On a file system, for its page cache comes in larger pieces than a memory file's.
Descriptor OpenContent() {
  return Checked(open(std::filesystem::temp_directory_path().c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600),
                 "a temporary file");
}

void FillContent(int descriptor) {
  RepeatableRandom random;
  std::vector<std::uint64_t> words(4UL * 1024 * 1024 / sizeof(std::uint64_t));
  for (std::uint64_t written = 0; written < kContentSize;) {
    std::generate(words.begin(), words.end(), [&random] { return random.Next(); });
    const ssize_t now = write(descriptor, words.data(), words.size() * sizeof(std::uint64_t));
    if (now <= 0) throw std::system_error(errno, std::generic_category(), "write");
    written += static_cast<std::uint64_t>(now);
  }
}

}  // namespace

class RequestLog {
 public:
  RequestLog() : memory_(-1, sizeof(Shared)), shared_(new (memory_.data()) Shared) {}

  void Add(const Request& request) {
    const std::size_t index = shared_->count.fetch_add(1);
    if (index < kMostRequests) shared_->requests[index] = request;
  }
  std::vector<Request> Get() const {
    return {shared_->requests.begin(), shared_->requests.begin() + std::min(shared_->count.load(), kMostRequests)};
  }
  void Clear() { shared_->count = 0; }

 private:
  struct Shared {
    std::atomic<std::size_t> count;
    std::array<Request, kMostRequests> requests;
  };
  SharedMemory memory_;
  Shared* shared_;
};

namespace {

/// The text of a page list, prepared once; a window's list is a piece of it but for what the window cuts.
class PageListText {
 public:
  explicit PageListText(std::vector<PageRange> ranges) : ranges_(std::move(ranges)) {
    for (const PageRange& range : ranges_) {
      begins_.push_back(text_.size());
      Append(text_, range.offset, range.offset + range.length);
    }
    begins_.push_back(text_.size());
  }

  std::string Window(std::uint64_t begin, std::uint64_t end) const {
    std::string list = R"(<?xml version="1.0" encoding="UTF-8" standalone="yes"?><PageList>)";
    const auto first = std::partition_point(
        ranges_.begin(), ranges_.end(), [&](const PageRange& range) { return range.offset + range.length <= begin; });
    const auto last =
        std::partition_point(first, ranges_.end(), [&](const PageRange& range) { return range.offset < end; });
    const auto whole = [&](const PageRange& range) {
      return range.offset >= begin && range.offset + range.length <= end;
    };
    auto from = first;
    auto to = last;
    if (from != to && !whole(*from)) AppendCut(list, *from++, begin, end);
    const bool cut_at_end = from != to && !whole(*(to - 1));
    if (cut_at_end) --to;
    const std::size_t at = begins_[static_cast<std::size_t>(from - ranges_.begin())];
    list.append(text_, at, begins_[static_cast<std::size_t>(to - ranges_.begin())] - at);
    if (cut_at_end) AppendCut(list, *to, begin, end);
    return list + "</PageList>";
  }

 private:
  static void AppendCut(std::string& list, const PageRange& range, std::uint64_t begin, std::uint64_t end) {
    Append(list, std::max(range.offset, begin), std::min(range.offset + range.length, end));
  }
  static void Append(std::string& text, std::uint64_t begin, std::uint64_t end) {
    text +=
        "<PageRange><Start>" + std::to_string(begin) + "</Start><End>" + std::to_string(end - 1) + "</End></PageRange>";
  }

  std::vector<PageRange> ranges_;
  std::string text_;
  std::vector<std::size_t> begins_;
};

struct Blob {
  int content;
  std::uint64_t size;
  PageListText page_list;
  RequestLog& log;
};

/// The value of a header, if the head has it; the name in lower case.
std::optional<std::string_view> FindHeader(std::string_view head, std::string_view name) {
  for (std::size_t line = head.find("\r\n"); line != std::string_view::npos; line = head.find("\r\n", line + 2)) {
    std::string_view rest = head.substr(line + 2);
    if (rest.size() <= name.size() || rest[name.size()] != ':' ||
        strncasecmp(rest.data(), name.data(), name.size()) != 0) {
      continue;
    }
    rest = rest.substr(name.size() + 1, rest.find("\r\n") - name.size() - 1);
    rest.remove_prefix(std::min(rest.find_first_not_of(' '), rest.size()));
    return rest;
  }
  return std::nullopt;
}

std::uint64_t NumberOf(std::string_view text) {
  std::uint64_t number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

/// The bytes that a request asks for: x-ms-range before Range, without either the whole blob; cut at the blob's end.
PageRange RangeOf(std::string_view head, std::uint64_t size) {
  std::optional<std::string_view> range = FindHeader(head, "x-ms-range");
  if (!range) range = FindHeader(head, "range");
  if (!range) return {0, size};
  range->remove_prefix(std::min(range->find('=') + 1, range->size()));
  const std::uint64_t begin = std::min(NumberOf(*range), size);
  const std::size_t dash = range->find('-');
  const bool open = dash == std::string_view::npos || dash + 1 == range->size();
  const std::uint64_t end = open ? size : std::min(NumberOf(range->substr(dash + 1)) + 1, size);
  return {begin, end > begin ? end - begin : 0};
}

/// One client's connection, served until it closes.
class Connection {
 public:
  Connection(Descriptor socket, const Blob& blob) : socket_(std::move(socket)), blob_(blob) {
    SendAtOnce(socket_.get());
  }

  void Serve() {
    while (ReadHead() && Answer()) {
    }
  }

 private:
  /// Leaves the next request's head in head_, and what came after it in received_.
  bool ReadHead() {
    std::array<char, 16384> piece;
    std::size_t end = std::string::npos;
    while ((end = received_.find("\r\n\r\n")) == std::string::npos) {
      const ssize_t got = recv(socket_.get(), piece.data(), piece.size(), 0);
      if (got <= 0) return false;
      received_.append(piece.data(), static_cast<std::size_t>(got));
    }
    head_ = received_.substr(0, end + 2);
    received_.erase(0, end + 4);
    return true;
  }

  bool Answer() {
    const std::string_view line = std::string_view(head_).substr(0, head_.find("\r\n"));
    const PageRange range = RangeOf(head_, blob_.size);
    if (line.starts_with("PUT ")) return TakeWrite(range);
    if (line.starts_with("HEAD ")) {
      Note(Verb::kProperties, {0, 0}, 0);
      return SendHead("200 OK", blob_.size, {}, 0);
    }
    if (range.length == 0) return SendHead("416 InvalidRange", 0, {}, 0);
    return line.find("comp=pagelist") == std::string_view::npos ? SendContent(range) : SendPageList(range);
  }

  bool SendContent(const PageRange& range) {
    Note(Verb::kRead, range, range.length);
    const std::string content_range = "Content-Range: bytes " + std::to_string(range.offset) + "-" +
                                      std::to_string(range.offset + range.length - 1) + "/" +
                                      std::to_string(blob_.size) + "\r\n";
    if (!SendHead("206 Partial Content", range.length, content_range, MSG_MORE)) return false;
    std::uint64_t sent = 0;
    while (sent < range.length) {
      const std::uint64_t at = (range.offset + sent) % kContentSize;
      auto from = static_cast<off_t>(at);
      const ssize_t now =
          sendfile(socket_.get(), blob_.content, &from, std::min(range.length - sent, kContentSize - at));
      if (now <= 0) return false;
      sent += static_cast<std::uint64_t>(now);
    }
    return true;
  }

  bool SendPageList(const PageRange& range) {
    const std::string list = blob_.page_list.Window(range.offset, range.offset + range.length);
    Note(Verb::kPageList, range, list.size());
    return SendHead("200 OK", list.size(), "x-ms-blob-content-length: " + std::to_string(blob_.size) + "\r\n",
                    MSG_MORE) &&
           Send(list, 0);
  }

  bool TakeWrite(const PageRange& range) {
    std::uint64_t left = NumberOf(FindHeader(head_, "content-length").value_or("0"));
    Note(Verb::kWrite, range, left);
    if (FindHeader(head_, "expect") && !Send("HTTP/1.1 100 Continue\r\n\r\n", 0)) return false;
    const std::uint64_t here = std::min<std::uint64_t>(left, received_.size());
    received_.erase(0, here);
    left -= here;
    while (left > 0) {
      // MSG_TRUNC: the kernel drops the bytes without copying them.
      const ssize_t dropped = recv(socket_.get(), nullptr, std::min<std::uint64_t>(left, 1U << 20U), MSG_TRUNC);
      if (dropped <= 0) return false;
      left -= static_cast<std::uint64_t>(dropped);
    }
    return SendHead("201 Created", 0, "x-ms-request-server-encrypted: true\r\n", 0);
  }

  bool SendHead(std::string_view status, std::uint64_t length, std::string_view more, int flags) {
    answer_.assign("HTTP/1.1 ")
        .append(status)
        .append(
            "\r\nServer: bench\r\nETag: \"0x8D1\"\r\nLast-Modified: Sun, 22 Nov 2026 20:01:37 GMT\r\n"
            "x-ms-request-id: 6a1b2c3d-0000-0000-0000-000000000000\r\nx-ms-version: 2015-04-05\r\n"
            "x-ms-blob-type: PageBlob\r\nx-ms-blob-sequence-number: 0\r\nContent-Type: application/octet-stream\r\n"
            "Content-Length: ");
    answer_.append(std::to_string(length)).append("\r\n").append(more).append("\r\n");
    return Send(answer_, flags);
  }

  bool Send(std::string_view bytes, int flags) {
    while (!bytes.empty()) {
      const ssize_t sent = send(socket_.get(), bytes.data(), bytes.size(), flags);
      if (sent <= 0) return false;
      bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
  }

  void Note(Verb verb, const PageRange& range, std::uint64_t body_bytes) { blob_.log.Add({verb, range, body_bytes}); }

  Descriptor socket_;
  const Blob& blob_;
  std::string received_;
  std::string head_;
  std::string answer_;
};

/// Never returns: the process is terminated by its owner.
void Serve(int listener, const Blob& blob) {
  static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
  FillContent(blob.content);
  while (true) {
    Descriptor socket = Checked(accept(listener, nullptr, nullptr), "accept");
    std::thread([connection = Connection(std::move(socket), blob)]() mutable { connection.Serve(); }).detach();
  }
}

}  // namespace

RangeServer::RangeServer(std::uint64_t size, const std::vector<PageRange>& ranges)
    : content_(OpenContent()), log_(std::make_unique<RequestLog>()) {
  process_ = std::make_unique<ChildProcess>([&] {
    const Blob blob{content_.get(), size, PageListText(ranges), *log_};
    Serve(listener_.socket.get(), blob);
  });
  listener_.socket = Descriptor();  // the child's alone: with it, what waits for an answer ends too
}

RangeServer::~RangeServer() = default;

std::vector<Request> RangeServer::Requests() const { return log_->Get(); }
void RangeServer::ClearRequests() { log_->Clear(); }

bool RangeServer::Holds(std::uint64_t offset, const std::byte* data, std::size_t size) const {
  const SharedMemory memory(content_.get(), kContentSize);
  const auto* const content = static_cast<const std::byte*>(memory.data());
  while (size > 0) {
    const std::uint64_t at = offset % kContentSize;
    const std::size_t here = std::min<std::uint64_t>(size, kContentSize - at);
    if (std::memcmp(content + at, data, here) != 0) return false;
    offset += here;
    data += here;
    size -= here;
  }
  return true;
}

std::string AddressAt(std::uint16_t port) {
  return "http://127.0.0.1:" + std::to_string(port) +
         "/account/container/disk.vhd?sv=2015-04-05&sr=b&sp=rw&se=2036-01-01T00%3A00%3A00Z&sig=c2lnbmF0dXJl";
}

}  // namespace bench
