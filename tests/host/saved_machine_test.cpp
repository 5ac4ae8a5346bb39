// Manifests that no machine may be made of.
#include "host/saved_machine.h"

#include <gmock/gmock.h>

#include <functional>

#include "tests/host/saved_machines.h"

namespace {

using host::Manifest;
using host_test::managed_disk;
using testing::AllOf;
using testing::HasSubstr;
using testing::ThrowsMessage;

const std::string machine = "/s/g/a\"b\\c";

Manifest good() {
  return host_test::manifest_of(machine, "17",
                                {{machine + managed_disk, 8192, 1624, 0, std::string(64, 'a'), std::string(64, 'b')}});
}

std::string escaped(std::string text) {
  for (std::size_t at = 0; (at = text.find_first_of("\"\\", at)) != std::string::npos; at += 2) text.insert(at, "\\");
  return text;
}

TEST(SavedMachine, IsRefusedWithTheObjectThatIsWrong) {
  const std::string at = machine + "/Metadata/";
  using Damage = std::function<void(Manifest&)>;
  const std::vector<std::pair<Damage, std::string>> cases = {
      {[](Manifest& m) { m.machine = "/s/g/other"; }, "its manifest is of /s/g/other"},
      {[](Manifest& m) { m.objects.pop_back(); }, "VmName is missing"},
      {[](Manifest& m) { m.objects.erase(m.objects.begin() + 1); }, "UseManagedDisk is missing"},
      {[](Manifest& m) { std::swap(m.objects.back(), m.objects[5]); }, "PowerState= stands behind the last"},
      {[](Manifest& m) { m.objects.insert(m.objects.begin(), m.objects[2]); }, "SubId=s stands there a second time"},
      {[&](Manifest& m) { m.objects[3].path = "/s/g/other/Metadata/Size=A1"; }, "is no object of this machine"},
      {[&](Manifest& m) { m.objects[3].path = at + "Colour=red"; }, "Colour=red is of no known kind"},
      {[&](Manifest& m) { m.objects[3].path = at + "Size"; }, "is of no known kind"},
      {[&](Manifest& m) { m.objects[3].path = at + "RgName=a=b"; }, "nothing can take"},
      {[&](Manifest& m) { m.objects[3].path = at + std::string("RgName=\0b", 9); }, "no object of this machine"},
      {[&](Manifest& m) { m.objects[3].path = at + "RgName=" + std::string(1024, 'x'); }, "no object of this machine"},
      {[](Manifest& m) { m.objects[3].data = std::string(1, '\0'); }, "holds a zero byte"},
      {[&](Manifest& m) { m.objects[1].path = at + "UseManagedDisk=Maybe"; }, "neither Yes nor No"},
      {[&](Manifest& m) { m.objects[1].path = at + "UseManagedDisk=No"; }, "is not of the machine's kind"},
      {[](Manifest& m) { m.objects.back().data = "{"; }, "no configuration that can be read"},
      {[](Manifest& m) { m.objects.back().data = std::nullopt; }, "no configuration that can be read"},
      {[](Manifest& m) { m.objects.back().data = R"({"resources":[{"configuration":{}}]})"; }, "of one machine"},
      {[](Manifest& m) { m.objects.back().data = R"({"resources":[{"id":"/x","configuration":{}}]})"; },
       "of another machine: /x"},
      {[](Manifest& m) { m.disks.clear(); }, "it has no disk"},
      {[](Manifest& m) { m.disks.push_back(m.disks[0]); }, "os stands there a second time"},
      {[](Manifest& m) { m.disks[0].path = "/s/g/other" + managed_disk; }, "is no disk of this machine"},
      {[](Manifest& m) { m.disks[0].path += "/more"; }, "is no disk's path"},
      {[](Manifest& m) { m.disks[0].path = machine + "/ManagedDisks:P/../os"; }, "is no disk's path"},
      {[](Manifest& m) { m.disks[0].skipped = 8193; }, "sizes that cannot be"},
      {[](Manifest& m) { m.disks[0].snapshot = "latest"; }, "names no stored stream"}};
  Manifest sound = good();
  sound.objects.back().data =
      R"({ "resources" : [ { "id" : "/subscriptions/S/resourcegroups/g/providers/Microsoft.Compute/virtualMachines/)" +
      escaped("a\"b\\c") + R"(", "configuration" : {} } ] })";
  EXPECT_NO_THROW(host::check_manifest(sound, machine));
  for (const auto& [damage, words] : cases) {
    Manifest damaged = sound;
    damage(damaged);
    EXPECT_THAT([&] { host::check_manifest(damaged, machine); },
                ThrowsMessage<host::ManifestError>(AllOf(HasSubstr("the backup of " + machine), HasSubstr(words))));
  }
}

// A value with slashes brings its beginnings along, each before the next.
TEST(SavedMachine, MayHaveAValueWithSlashes) {
  Manifest manifest = host_test::manifest_of("/s/g/vm", "17", good().disks);
  manifest.disks[0].path = "/s/g/vm" + managed_disk;
  const std::string network = "/s/g/vm/Metadata/Vnet=";
  manifest.objects.insert(manifest.objects.begin() + 1, {{network + "a", ""}, {network + "a/subnets", ""}});
  manifest.objects.erase(std::find_if(manifest.objects.begin(), manifest.objects.end(),
                                      [&](const auto& object) { return object.path == network + "net"; }));
  EXPECT_NO_THROW(host::check_manifest(manifest, "/s/g/vm"));
  manifest.objects.insert(manifest.objects.begin() + 3, {network + "b/c", ""});
  EXPECT_THROW(host::check_manifest(manifest, "/s/g/vm"), host::ManifestError);
}

}  // namespace
