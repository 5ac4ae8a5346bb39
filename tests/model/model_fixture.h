// Readers of the resource model against a server that answers with texts of a test's choice.
#pragma once

#include <string>

#include "src/model/vm_records.h"
#include "tests/transport/open_server.h"

namespace model_test {

/// A file of tests/data/arm.
std::string ReadData(const std::string& name);

/// "NAME GROUP SIZE STATE NIC DISKS": "-" for no state; a disk is M:NAME:GB:TYPE:LUN or V:NAME:GB:BLOB, the OS disk
/// first.
std::string Describe(const azurestackpi::vm_details_t& vm);

/// A machine's description with the id that the machine of this name has in subscription "sub" and group "rg".
std::string WithId(const std::string& description, const std::string& name);

/// Keeps standard output from its construction on. One at a time.
class CapturedOutput {
 public:
  CapturedOutput() { testing::internal::CaptureStdout(); }
  ~CapturedOutput() { static_cast<void>(testing::internal::GetCapturedStdout()); }
  CapturedOutput(const CapturedOutput&) = delete;
  CapturedOutput& operator=(const CapturedOutput&) = delete;
};

class ModelTest : public transport_test::OpenServer {
 protected:
  ModelTest();

  /// Answers every request whose target matches from now on.
  void Serve(const std::string& target, const std::string& body, int status = 200);

  /// The same, for the next matching request only.
  void ServeOnce(const std::string& target, const std::string& body, int status = 200);

  /// Targets of the requests so far that hold the text.
  std::vector<std::string> Targets(const std::string& part) const;

  /// A request for subscription "sub" and group "rg".
  static azurestackpi::vm_env_t Env(const std::string& resource_group = "rg", const std::string& vm_name = "");

  azurestackpi::azs_rest_server_s rest;
};

}  // namespace model_test
