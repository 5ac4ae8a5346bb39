#include "sim/simulator.h"

#include <deque>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <thread>
#include <utility>

#include "sim/authority.h"
#include "sim/cloud.h"
#include "sim/control_routes.h"
#include "sim/disk_routes.h"
#include "sim/gateway.h"
#include "sim/http_server.h"
#include "sim/login_routes.h"
#include "sim/machine_routes.h"
#include "sim/network_routes.h"
#include "sim/operation_routes.h"
#include "sim/private_file.h"
#include "sim/resource_list_routes.h"
#include "sim/scope.h"
#include "sim/snapshot_routes.h"
#include "sim/state_json.h"
#include "sim/storage_routes.h"
#include "sim/subscription_routes.h"

namespace sim {
namespace {

std::string without_port(const std::string& host) { return host.substr(0, host.rfind(':')); }

/// The blob behind a managed disk's id or a VHD's address.
Blob blob_of(Cloud& cloud, const std::string& disk) {
  if (cloud.blob_port == 0) throw std::invalid_argument("without a blob server disks hold nothing");
  if (const std::optional<Blob> vhd = blob_at(cloud.world, disk)) return *vhd;
  for (Subscription& subscription : cloud.world.subscriptions) {
    const auto found = located(subscription, disk, resource_type::disk, &ResourceGroup::disks);
    if (found) return DiskStore::data_blob(found->resource->container);
  }
  throw std::invalid_argument("'" + disk + "' is neither a managed disk's id nor a VHD's address");
}

template <typename... Functions>
struct Overloaded : Functions... {
  using Functions::operator()...;
};
template <typename... Functions>
Overloaded(Functions...) -> Overloaded<Functions...>;

}  // namespace

class Simulator::Implementation {
 public:
  Implementation(Simulator& simulator, Options options)
      : record_limit_(options.record_limit),
        authority_(options.tls_dir.empty() ? own_directory_.emplace().path() : options.tls_dir),
        server_(options.port, authority_.server_context(options.world.region, options.world.domain)) {
    cloud_.endpoints = endpoints_of(options.world, server_.port());
    cloud_.blob_port = options.blob_port;
    cloud_.world = std::move(options.world);
    cloud_.disks =
        std::make_unique<DiskStore>(BlobServer{std::move(options.blob_scheme), options.blob_port}, cloud_.world);
    cloud_.disks->fill(cloud_.world);
    add_login_routes(routes_, cloud_);
    add_subscription_routes(routes_, cloud_);
    add_resource_list_routes(routes_, cloud_);
    add_machine_routes(routes_, cloud_);
    add_disk_routes(routes_, cloud_);
    add_snapshot_routes(routes_, cloud_);
    add_operation_routes(routes_, cloud_);
    add_network_routes(routes_, cloud_);
    add_storage_routes(routes_, cloud_);
    add_control_routes(routes_, simulator);
  }

  /// Apart from the constructor, because control routes need the finished simulator.
  void serve() {
    server_.serve([this](const Request& request) { return reply(request); });
  }

  /// What the simulator's members read and change, for one thread at a time.
  struct State {
    std::deque<RecordedRequest> requests;
    std::vector<std::string> unknown_requests;
    FaultList faults;
  };

  template <typename Work>
  auto with_state(Work work) {
    const std::lock_guard lock(mutex_);
    return work(state_);
  }

  template <typename Work>
  auto with_cloud(Work work) {
    const std::lock_guard lock(mutex_);
    return work(cloud_);
  }

  const HttpServer& server() const { return server_; }
  const Authority& authority() const { return authority_; }
  const Endpoints& endpoints() const { return cloud_.endpoints; }

 private:
  Reply reply(const Request& request) {
    const std::optional<Service> service = service_of(request.host);
    // Neither recorded nor subject to faults; and its routes take the lock themselves.
    if (service == Service::control && request.target.starts_with("/_sim/")) return {control_response(request), {}};

    const std::optional<FaultAction> fault = with_state([&](State& state) { return state.faults.take(request); });
    if (fault && std::holds_alternative<Delay>(*fault)) std::this_thread::sleep_for(std::get<Delay>(*fault).duration);

    const std::lock_guard lock(mutex_);
    Reply reply = fault ? faulty_reply(*fault, service, request) : Reply{response(service, request), {}};
    record({request, reply.delivery.nothing ? 0 : reply.response.status});
    return reply;
  }

  void record(RecordedRequest request) {
    state_.requests.push_back(std::move(request));
    if (state_.requests.size() > record_limit_) state_.requests.pop_front();
  }

  Reply faulty_reply(const FaultAction& fault, std::optional<Service> service, const Request& request) {
    using Then = Delivery::Then;
    return std::visit(Overloaded{
                          [](const AnswerWith& action) {
                            return Reply{action.response, action.delivery};
                          },
                          [&](const TruncateBody& action) {
                            return Reply{response(service, request), {.then = Then::close, .body_bytes = action.bytes}};
                          },
                          [&](const ResetInBody& action) {
                            return Reply{response(service, request), {.then = Then::reset, .body_bytes = action.bytes}};
                          },
                          [&](const ReplaceBody& action) {
                            Reply reply{response(service, request), {}};
                            if (reply.response.status != 204) reply.response.body = action.body;
                            return reply;
                          },
                          [](const ResetBeforeAnswer&) {
                            return Reply{{}, {.then = Then::reset, .nothing = true}};
                          },
                          [&](const LoseAnswer&) {
                            return Reply{response(service, request), {.then = Then::reset, .nothing = true}};
                          },
                          [&](const Delay&) {
                            return Reply{response(service, request), {}};
                          },
                          [&](const RefuseToken&) {
                            return Reply{invalid_token_response(cloud_), {}};
                          },
                      },
                      fault);
  }

  Response response(std::optional<Service> service, const Request& request) {
    const RouteTable::Match match =
        service ? routes_.find(*service, request) : RouteTable::Match{nullptr, {request, {}, {}}};
    if (match.route == nullptr) {
      state_.unknown_requests.push_back(request.method + " " + request.host + " " + request.target);
    }
    Response answer = raw_response(service, match);
    answer.headers.emplace_back("Date", utc_text(cloud_.clock.now(), "%a, %d %b %Y %H:%M:%S GMT"));
    return answer;
  }

  Response raw_response(std::optional<Service> service, const RouteTable::Match& match) const {
    try {
      if (service == Service::management) return gateway_response(cloud_, match);
      if (match.route != nullptr) return match.route->answer(match.call);
      return Response{.status = 404};
    } catch (const std::exception& error) {
      return error_response(500, "InternalServerError", error.what());
    }
  }

  Response control_response(const Request& request) const {
    const RouteTable::Match match = routes_.find(Service::control, request);
    return match.route != nullptr ? match.route->answer(match.call) : Response{.status = 404};
  }

  std::optional<Service> service_of(const std::string& host) const {
    const Endpoints& hosts = cloud_.endpoints;
    const std::string name = without_port(host);
    if (equal_ignoring_case(name, without_port(hosts.management))) return Service::management;
    if (equal_ignoring_case(name, without_port(hosts.aad))) return Service::aad;
    if (equal_ignoring_case(name, without_port(hosts.adfs))) return Service::adfs;
    if (equal_ignoring_case(name, "localhost") || name == "127.0.0.1") return Service::control;
    return std::nullopt;
  }

  const std::size_t record_limit_;
  std::mutex mutex_;  // guards state_ and all of cloud_ but the endpoints, which stay what they are
  Cloud cloud_;
  State state_;
  RouteTable routes_;
  std::optional<TemporaryDirectory> own_directory_;
  Authority authority_;
  HttpServer server_;  // the last one, so that it is gone before what its handler uses
};

Simulator::Simulator(Options options) : implementation_(std::make_unique<Implementation>(*this, std::move(options))) {
  implementation_->serve();
}

Simulator::~Simulator() = default;

std::uint16_t Simulator::port() const { return implementation_->server().port(); }
std::string Simulator::management_host() const { return implementation_->endpoints().management; }
std::string Simulator::aad_host() const { return implementation_->endpoints().aad; }
std::string Simulator::adfs_host() const { return implementation_->endpoints().adfs; }
std::filesystem::path Simulator::ca_file() const { return implementation_->authority().certificate_file(); }
std::size_t Simulator::connections() const { return implementation_->server().connections(); }

std::vector<RecordedRequest> Simulator::requests() const {
  return implementation_->with_state(
      [](const auto& state) { return std::vector<RecordedRequest>(state.requests.begin(), state.requests.end()); });
}

void Simulator::clear_requests() {
  implementation_->with_state([](auto& state) { state.requests.clear(); });
}

void Simulator::add_fault(Fault fault) {
  implementation_->with_state([&](auto& state) { state.faults.add(std::move(fault)); });
}

void Simulator::clear_faults() {
  implementation_->with_state([](auto& state) { state.faults.clear(); });
}

std::vector<std::string> Simulator::unused_faults() const {
  return implementation_->with_state([](const auto& state) { return state.faults.unused(); });
}

std::vector<std::string> Simulator::unknown_requests() const {
  return implementation_->with_state([](const auto& state) { return state.unknown_requests; });
}

World Simulator::world() const {
  return implementation_->with_cloud([](const Cloud& cloud) { return cloud.world; });
}

std::string Simulator::state() const {
  return implementation_->with_cloud([](Cloud& cloud) { return state_json(cloud).dump(); });
}

DiskDigest Simulator::disk_digest(const std::string& disk) const {
  return implementation_->with_cloud([&disk](Cloud& cloud) { return cloud.disks->digest(blob_of(cloud, disk)); });
}

void Simulator::revoke_tokens() {
  implementation_->with_cloud([](Cloud& cloud) { cloud.tokens.revoke_all(); });
}

void Simulator::advance_time(std::int64_t seconds) {
  implementation_->with_cloud([seconds](Cloud& cloud) { cloud.clock.advance(seconds); });
}

}  // namespace sim
