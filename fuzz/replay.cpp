// Runs the saved inputs of a target through it, without libFuzzer: replay FOLDER...
// A folder that does not exist counts as empty; no input at all is an error.

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int count, char** arguments) {
  int inputs = 0;
  for (int at = 1; at < count; ++at) {
    std::error_code missing;
    for (const auto& entry : std::filesystem::directory_iterator(arguments[at], missing)) {
      std::ifstream stream(entry.path(), std::ios::binary);
      const std::string input{std::istreambuf_iterator<char>(stream), {}};
      std::fprintf(stderr, "%s\n", entry.path().c_str());
      LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(input.data()), input.size());
      ++inputs;
    }
  }
  return inputs != 0 ? 0 : 1;
}
