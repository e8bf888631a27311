// veska.toml. What can be read can be given another root, which changes nothing else.

#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "host/attempt.h"
#include "host/settings.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  veska::attempt([&text] {
    const veska::Settings before = veska::parseSettings(text, "veska.toml");
    const std::string edited = veska::withRootsAdded(text, {"/a/new \"root\""}, "veska.toml");
    const veska::Settings after = veska::parseSettings(edited, "veska.toml");
    if (after.fingerprint("") != before.fingerprint("")) std::abort();
    if (after.roots.empty() || after.roots.back() != "/a/new \"root\"") {
      if (before.roots != after.roots) std::abort();
    }
    for (const std::string& root : after.roots) {
      if (veska::rootFromText(veska::rootToText(root)) != root) std::abort();
    }
  });
  return 0;
}
