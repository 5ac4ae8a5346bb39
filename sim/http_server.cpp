#include "sim/http_server.h"

#include <httplib.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <future>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

#include "sim/tls_stream.h"

namespace sim {
namespace {

/// Threads for connections. Each open connection holds one, idle or not, so there is no upper bound; a thread that
/// has become free takes the next connection.
class ConnectionThreads final : public httplib::TaskQueue {
 public:
  void enqueue(std::function<void()> task) override {
    const std::lock_guard lock(mutex_);
    tasks_.push_back(std::move(task));
    if (tasks_.size() > free_threads_) threads_.emplace_back([this] { work(); });
    wake_.notify_one();
  }

  void shutdown() override {
    {
      const std::lock_guard lock(mutex_);
      ending_ = true;
    }
    wake_.notify_all();
    for (std::thread& thread : threads_) thread.join();
  }

 private:
  void work() {
    std::unique_lock lock(mutex_);
    while (true) {
      ++free_threads_;
      wake_.wait(lock, [this] { return ending_ || !tasks_.empty(); });
      --free_threads_;
      if (tasks_.empty()) return;
      const std::function<void()> task = std::move(tasks_.front());
      tasks_.pop_front();
      lock.unlock();
      task();
      lock.lock();
    }
  }

  std::mutex mutex_;
  std::condition_variable wake_;
  std::deque<std::function<void()>> tasks_;
  std::vector<std::thread> threads_;
  std::size_t free_threads_ = 0;
  bool ending_ = false;
};

/// The sockets in use, so that all of them can be woken at the end.
class OpenSockets {
 public:
  /// Owns a socket for the time of its connection.
  class Guard {
   public:
    Guard(OpenSockets& sockets, socket_t socket) : sockets_(sockets), socket_(socket) {
      const std::lock_guard lock(sockets_.mutex_);
      sockets_.open_.insert(socket_);
      if (sockets_.ending_) ::shutdown(socket_, SHUT_RDWR);
    }
    ~Guard() {
      const std::lock_guard lock(sockets_.mutex_);
      sockets_.open_.erase(socket_);
      ::close(socket_);
    }
    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;

   private:
    OpenSockets& sockets_;
    socket_t socket_;
  };

  /// Ends every wait on a socket, of those open now and those to come.
  void shut_down() {
    const std::lock_guard lock(mutex_);
    ending_ = true;
    for (const socket_t socket : open_) ::shutdown(socket, SHUT_RDWR);
  }

 private:
  std::mutex mutex_;
  std::set<socket_t> open_;
  bool ending_ = false;
};

/// The connection whose request this thread works on: the library's handlers are not told.
thread_local TlsStream* current_stream = nullptr;

/// Hands a piece of the body to the library: of the text, or of as many bytes of filler.
bool write_piece(const Response& response, std::uint64_t offset, std::uint64_t size, httplib::DataSink& sink) {
  static const std::string filler(64UL * 1024, 'x');
  const char* data = filler.data();
  if (response.filler_bytes == 0) {
    data = response.body.data() + offset;
  } else {
    size = std::min<std::uint64_t>(size, filler.size());
  }
  return sink.write(data, size);
}

/// Sends the body as far as the delivery goes and ends the connection there. The declared length is always the whole
/// one.
void set_body_provider(httplib::Response& out, Reply reply, TlsStream& stream) {
  const std::uint64_t size = reply.response.body_size();
  const std::string type = find_header(reply.response.headers, "Content-Type").value_or("");
  out.headers.erase("Content-Type");  // the library adds it again
  out.set_content_provider(
      size, type, [reply = std::move(reply), &stream](std::size_t offset, std::size_t length, httplib::DataSink& sink) {
        const std::uint64_t end = std::min(reply.delivery.body_bytes, reply.response.body_size());
        const std::chrono::milliseconds interval = reply.delivery.byte_interval;
        if (interval.count() > 0) length = 1;
        if (offset < end) {
          return write_piece(reply.response, offset, std::min<std::uint64_t>(length, end - offset), sink) &&
                 (interval.count() == 0 || stream.wait(interval));
        }
        if (reply.delivery.then == Delivery::Then::reset) stream.reset();
        return false;
      });
}

void write_reply(Reply reply, httplib::Response& out, TlsStream& stream) {
  out.status = reply.response.status;
  for (auto& [name, value] : reply.response.headers) out.headers.emplace(name, value);
  const bool whole = reply.delivery.then == Delivery::Then::keep_open && reply.delivery.byte_interval.count() == 0;
  if (reply.delivery.nothing) {
    reply.delivery.then == Delivery::Then::reset ? stream.reset() : stream.close();
  } else if (reply.response.body_size() > 0 && (!whole || reply.response.filler_bytes > 0)) {
    set_body_provider(out, std::move(reply), stream);
  } else {
    out.body = std::move(reply.response.body);
  }
}

}  // namespace

class HttpServer::Implementation final : public httplib::Server {
 public:
  explicit Implementation(SslContextPtr context) : context_(std::move(context)) {
    const auto handle = [this](const httplib::Request& in, httplib::Response& out) { answer(in, out); };
    for (const auto add : {&Server::Get, &Server::Options}) (this->*add)(".*", handle);
    using Add = Server& (Server::*)(const std::string&, Server::Handler);
    for (const Add add : {Add(&Server::Post), Add(&Server::Put), Add(&Server::Patch), Add(&Server::Delete)}) {
      (this->*add)(".*", handle);
    }
    set_tcp_nodelay(true);
    // No time limits: a connection ends when its client wants it or when the server ends.
    set_read_timeout(0);
    set_write_timeout(0);
    set_keep_alive_max_count(1'000'000'000);
    set_keep_alive_timeout(24L * 60 * 60);
    // The library's own choice lets two servers share a port.
    set_socket_options([](socket_t socket) {
      const int on = 1;
      setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    });
  }

  void take_port(std::uint16_t port) {
    const std::string host = "127.0.0.1";
    const int bound = port == 0 ? bind_to_any_port(host) : (bind_to_port(host, port) ? port : -1);
    if (bound <= 0) throw std::runtime_error("port " + std::to_string(port) + " of 127.0.0.1 cannot be listened on");
    port_ = static_cast<std::uint16_t>(bound);
    ::listen(svr_sock_, SOMAXCONN);  // the library's backlog of 5 makes a burst of clients wait for a second
  }

  void serve(HttpServer::Handler handler) {
    handler_ = std::move(handler);
    // The library asks for its task queue as soon as stop() would reach it.
    std::promise<void> running;
    new_task_queue = [&running] {
      running.set_value();
      return new ConnectionThreads;
    };
    listener_ = std::thread([this] { listen_after_bind(); });
    running.get_future().wait();
  }

  void end() {
    stop();
    sockets_.shut_down();
    if (listener_.joinable()) listener_.join();
  }

  std::uint16_t port() const { return port_; }
  std::size_t connections() const { return connections_; }

 private:
  bool process_and_close_socket(socket_t socket) override {
    const OpenSockets::Guard guard(sockets_, socket);
    TlsStream stream(context_.get(), socket);
    if (!stream.handshake()) return false;
    ++connections_;
    current_stream = &stream;  // cppcheck-suppress danglingLifetime ; requests are processed while the stream lives
    bool last = false;
    while (!last && stream.await_request()) {
      // What a range means is the handler's affair; the library would cut it out of the answer's body.
      const bool written = process_request(stream, false, last, [](httplib::Request& in) { in.ranges.clear(); });
      // What is no HTTP was answered 400 by the library; where the next request begins is unknown then.
      last = last || !written || !stream.head_complete() || !stream.flush();
    }
    stream.close();
    return true;
  }

  void answer(const httplib::Request& in, httplib::Response& out) {
    TlsStream& stream = *current_stream;
    Request request = stream.head();
    request.body = in.body;
    write_reply(handler_(request), out, stream);
  }

  SslContextPtr context_;
  HttpServer::Handler handler_;
  OpenSockets sockets_;
  std::thread listener_;
  std::uint16_t port_ = 0;
  std::atomic<std::size_t> connections_ = 0;
};

HttpServer::HttpServer(std::uint16_t port, SslContextPtr context)
    : implementation_(std::make_unique<Implementation>(std::move(context))) {
  implementation_->take_port(port);
}

HttpServer::~HttpServer() { implementation_->end(); }

void HttpServer::serve(Handler handler) { implementation_->serve(std::move(handler)); }
std::uint16_t HttpServer::port() const { return implementation_->port(); }
std::size_t HttpServer::connections() const { return implementation_->connections(); }

}  // namespace sim
