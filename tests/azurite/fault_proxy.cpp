#include "tests/azurite/fault_proxy.h"

#include <exception>
#include <optional>
#include <utility>
#include <variant>

#include "tests/azurite/strictness.h"

namespace azurite {
namespace {

using Then = sim::Delivery::Then;

constexpr sim::Delivery no_answer{.then = Then::reset, .nothing = true};

template <class... Cases>
struct Overloaded : Cases... {
  using Cases::operator()...;
};
template <class... Cases>
Overloaded(Cases...) -> Overloaded<Cases...>;

sim::Response with_body(sim::Response answer, const std::string& body) {
  answer.body = body;
  return answer;
}

}  // namespace

FaultProxy::FaultProxy(std::uint16_t server_port) : upstream_(server_port), server_(0, nullptr) {
  server_.serve([this](const sim::Request& request) { return answer(request); });
}

void FaultProxy::add(ProxyFault fault) {
  const std::lock_guard lock(mutex_);
  faults_.add(std::move(fault));
}

void FaultProxy::clear_faults() {
  const std::lock_guard lock(mutex_);
  faults_.clear();
}

std::vector<std::string> FaultProxy::unused_faults() const {
  const std::lock_guard lock(mutex_);
  return faults_.unused();
}

std::vector<SeenRequest> FaultProxy::requests() const {
  const std::lock_guard lock(mutex_);
  return requests_;
}

void FaultProxy::clear_requests() {
  const std::lock_guard lock(mutex_);
  requests_.clear();
}

sim::Reply FaultProxy::answer(const sim::Request& request) {
  std::unique_lock lock(mutex_);
  const std::size_t index = requests_.size();
  requests_.push_back({request.method, request.target, request.headers, request.body.size(), request.client_port});
  const std::optional<ProxyAction> action = faults_.take(request);
  lock.unlock();

  sim::Reply reply = action ? faulty_answer(request, *action) : sim::Reply{forward(request), {}};

  lock.lock();
  if (!reply.delivery.nothing) requests_[index].status = reply.response.status;
  return reply;
}

sim::Reply FaultProxy::faulty_answer(const sim::Request& request, const ProxyAction& action) {
  using sim::Delivery;
  using sim::Reply;
  return std::visit(Overloaded{
                        [&](const sim::AnswerWith& fault) {
                          return Reply{fault.response, fault.delivery};
                        },
                        [&](const sim::TruncateBody& fault) {
                          return Reply{forward(request), {.then = Then::close, .body_bytes = fault.bytes}};
                        },
                        [&](const sim::ResetInBody& fault) {
                          return Reply{forward(request), {.then = Then::reset, .body_bytes = fault.bytes}};
                        },
                        [&](const sim::ResetBeforeAnswer&) {
                          return Reply{{}, no_answer};
                        },
                        [&](const LoseAnswer&) {
                          return Reply{forward(request), no_answer};
                        },
                        [&](const Trickle& fault) {
                          return Reply{forward(request), {.byte_interval = fault.interval}};
                        },
                        [&](const ReplaceBody& fault) {
                          return Reply{with_body(forward(request), fault.body), {}};
                        },
                    },
                    action);
}

sim::Response FaultProxy::forward(const sim::Request& request) {
  std::optional<sim::Response> refusal = strict_refusal(request);
  try {
    return strict_answer(request, refusal ? *std::move(refusal) : upstream_.send(request));
  } catch (const std::exception& error) {
    return {.status = 502, .body = std::string("proxy of the tests: ") + error.what()};
  }
}

}  // namespace azurite
