// azurestack-sim: the simulator as a program of its own, for people and for demonstrations.
#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <iostream>
#include <string>
#include <utility>
#include <vector>

#include "sim/blob_accounts.h"
#include "sim/client_files.h"
#include "sim/generated_world.h"
#include "sim/private_file.h"
#include "sim/simulator.h"

namespace {

constexpr int exit_failure = 1;
constexpr int exit_usage = 2;

struct Arguments {
  std::uint16_t port = 0;
  std::uint16_t blob_port = 0;
  std::string blob_scheme = "http";
  bool blob_accounts = false;
  std::filesystem::path world;
  std::vector<int> scale;  // as --generate takes it
  std::filesystem::path tls_dir;
  std::filesystem::path ready_file;
  std::filesystem::path client_files;
};

void describe(CLI::App& app, Arguments& arguments) {
  app.add_option("--port", arguments.port, "port of 127.0.0.1 to listen on; 0 (the default) takes a free one");
  app.add_option(
      "--blob-port", arguments.blob_port,
      "port of 127.0.0.1 that the blob server (Azurite) listens on; the disks of the world are put there. 0 (the "
      "default): there is none, and nothing can be read");
  app.add_option("--blob-scheme", arguments.blob_scheme,
                 "how the blob server is spoken to: http (the default) or https")
      ->check(CLI::IsMember({"http", "https"}));
  app.add_flag("--blob-accounts", arguments.blob_accounts,
               "print the accounts of the world and their keys as Azurite takes them in AZURITE_ACCOUNTS, and exit");
  auto* world = app.add_option("--world", arguments.world,
                               "JSON file of what the installation holds; default: a small demonstration");
  app.add_option("--generate", arguments.scale,
                 "a large world instead: numbers of subscriptions, of groups in each, of machines in each group and of "
                 "data disks on each machine; every other machine has managed disks")
      ->type_name("SUBSCRIPTIONS,GROUPS,MACHINES,DISKS")
      ->delimiter(',')
      ->expected(4)
      ->check(CLI::Range(0, 1'000'000))
      ->excludes(world);
  app.add_option("--tls-dir", arguments.tls_dir,
                 "directory that keeps the certificate authority over restarts; default: a new one for this run");
  app.add_option("--ready-file", arguments.ready_file,
                 "file to be written once requests are answered, removed at the end");
  app.add_option("--write-client-files", arguments.client_files,
                 "directory to put azurestack.conf and credentials for a client into");
  app.footer(
      "The simulator runs until SIGINT or SIGTERM. Faults, the record of requests, what stands and what disks hold, "
      "the\n"
      "clock and the revocation of tokens are at https://localhost:PORT/_sim/.\n"
      "Exit codes: 0 ended by a signal, 1 could not start (port, world file, directories, blob\n"
      "server), 2 wrong arguments.");
}

/// The same lines for people and for the ready file: what a client has to know.
std::string summary(const sim::Simulator& simulator) {
  return "management=" + simulator.management_host() + "\naad_login=" + simulator.aad_host() +
         "\nadfs_login=" + simulator.adfs_host() + "\nca_file=" + simulator.ca_file().string() +
         "\nport=" + std::to_string(simulator.port()) + "\n";
}

void print_introduction(const sim::Simulator& simulator, const Arguments& arguments) {
  std::cout << "azurestack-sim is ready.\n"
            << summary(simulator) << "Try: curl --cacert " << simulator.ca_file().string() << " 'https://"
            << simulator.management_host() << "/metadata/endpoints?api-version=1.0'\n";
  if (arguments.client_files.empty()) {
    std::cout << "--write-client-files DIR makes a configuration and credentials for a client.\n";
  } else {
    std::cout << "Configuration and credentials for a client are in " << arguments.client_files.string()
              << "; its server name is " << simulator.management_host() << ".\n";
  }
  std::cout << std::flush;
}

/// The file stands exactly as long as this object.
class ReadyFile {
 public:
  ReadyFile(std::filesystem::path file, const std::string& contents) : file_(std::move(file)) {
    if (!file_.empty()) sim::write_private_file(file_, contents);
  }
  ~ReadyFile() {
    std::error_code ignored;
    if (!file_.empty()) std::filesystem::remove(file_, ignored);
  }
  ReadyFile(const ReadyFile&) = delete;
  ReadyFile& operator=(const ReadyFile&) = delete;

 private:
  std::filesystem::path file_;
};

/// Blocks the ending signals in this thread and those it starts, so that they are left for wait().
class EndSignals {
 public:
  EndSignals() {
    sigemptyset(&set_);
    sigaddset(&set_, SIGINT);
    sigaddset(&set_, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &set_, nullptr);
  }

  void wait() const {
    int signal = 0;
    sigwait(&set_, &signal);
  }

 private:
  sigset_t set_{};
};

sim::World world_of(const Arguments& arguments) {
  if (!arguments.world.empty()) return sim::load_world(arguments.world);
  if (arguments.scale.empty()) return sim::demo_world();
  const std::vector<int>& counts = arguments.scale;
  return sim::generate_world(
      {.subscriptions = counts[0], .groups = counts[1], .machines = counts[2], .data_disks = counts[3]});
}

void run(const Arguments& arguments) {
  const EndSignals signals;
  sim::Options options;
  options.port = arguments.port;
  options.blob_port = arguments.blob_port;
  options.blob_scheme = arguments.blob_scheme;
  options.tls_dir = arguments.tls_dir;
  options.world = world_of(arguments);
  const sim::World world = options.world;

  const sim::Simulator simulator(std::move(options));
  if (!arguments.client_files.empty()) sim::write_client_files(arguments.client_files, simulator, world);
  print_introduction(simulator, arguments);
  const ReadyFile ready(arguments.ready_file, summary(simulator));
  signals.wait();
}

}  // namespace

int main(int argc, char** argv) {
  try {
    CLI::App app("A simulated Azure Stack: Resource Manager and both login authorities on one TLS port.");
    Arguments arguments;
    describe(app, arguments);
    try {
      app.parse(argc, argv);
    } catch (const CLI::ParseError& outcome) {
      return app.exit(outcome) == 0 ? 0 : exit_usage;  // --help comes this way too
    }
    if (arguments.blob_accounts) {
      std::cout << sim::azurite_accounts(world_of(arguments)) << std::endl;
    } else {
      run(arguments);
    }
    return 0;
  } catch (const std::exception& error) {
    std::cerr << "azurestack-sim: " << error.what() << std::endl;
    return exit_failure;
  }
}
