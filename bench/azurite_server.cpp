#include "bench/azurite_server.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <array>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <thread>
#include <vector>

#include "storage/page_blob.h"

namespace bench {
namespace {

constexpr const char* kAccount = "benchaccount";
constexpr const char* kContainer = "disks";
constexpr const char* kKey = "a key of a server that lives for one benchmark";

std::string Base64(const unsigned char* data, std::size_t size) {
  std::vector<unsigned char> text(size / 3 * 4 + 5);
  const int length = EVP_EncodeBlock(text.data(), data, static_cast<int>(size));
  return {text.begin(), text.begin() + length};
}

std::string KeyText() { return Base64(reinterpret_cast<const unsigned char*>(kKey), std::string(kKey).size()); }

std::string Signature(const std::string& text) {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned int size = 0;
  HMAC(EVP_sha256(), kKey, static_cast<int>(std::string(kKey).size()),
       reinterpret_cast<const unsigned char*>(text.data()), text.size(), digest.data(), &size);
  return Base64(digest.data(), size);
}

std::string PercentEncoded(const std::string& base64) {
  std::string encoded;
  for (const char character : base64) {
    if (character == '+') {
      encoded += "%2B";
    } else if (character == '/') {
      encoded += "%2F";
    } else if (character == '=') {
      encoded += "%3D";
    } else {
      encoded += character;
    }
  }
  return encoded;
}

// The ready file's first line is "port=PORT".
std::uint16_t AwaitReadyFile(const std::string& file) {
  for (int i = 0; i < 1000; ++i) {
    std::ifstream ready(file);
    std::string line;
    if (std::getline(ready, line) && line.starts_with("port=")) {
      return static_cast<std::uint16_t>(std::stoi(line.substr(5)));
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  throw std::runtime_error("Azurite does not start; ./run deps installs it");
}

}  // namespace

AzuriteServer::AzuriteServer() {
  const std::string accounts = folder_.path() + "/accounts";
  const std::string ready = folder_.path() + "/ready";
  std::ofstream(accounts) << kAccount << ":" << KeyText() << "\n";
  const std::string program = std::string(BENCH_SOURCE_DIR) + "/azurite/serve.mjs";
  process_ = std::make_unique<ChildProcess>(
      std::vector<std::string>{"node", program, "--memory", "--accounts-file", accounts, "--ready-file", ready});
  port_ = AwaitReadyFile(ready);
}

void AzuriteServer::MakeBlob(const std::string& name, std::uint64_t size) const {
  const std::string connection = std::string("DefaultEndpointsProtocol=http;AccountName=") + kAccount +
                                 ";AccountKey=" + KeyText() + ";EndpointSuffix=localhost:" + std::to_string(port_);
  azurestoragewrapper::page_blob(connection, kContainer, name, size, {});
}

std::string AzuriteServer::AddressOf(const std::string& name) const {
  const std::string path = std::string(kAccount) + "/" + kContainer + "/" + name;
  const std::string text = "rw\n\n2036-01-01T00:00:00Z\n/blob/" + path + "\n\n\n\n2015-04-05\n\n\n\n\n";
  return "http://127.0.0.1:" + std::to_string(port_) + "/" + path +
         "?sv=2015-04-05&sr=b&sp=rw&se=2036-01-01T00%3A00%3A00Z&sig=" + PercentEncoded(Signature(text));
}

}  // namespace bench
