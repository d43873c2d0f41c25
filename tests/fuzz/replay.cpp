// Runs a target on the inputs of a fuzzer or, without a fuzzer, on the files of the folders that
// are given as arguments.
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>

#include "tests/fuzz/fuzz.h"

#ifdef PYQUELT_FUZZER
extern "C" int LLVMFuzzerTestOneInput(const char* data, std::size_t size) {
  Check(std::string(data, size));
  return 0;
}
#else
int main(int count, char** folders) {
  int inputs = 0;
  for (int i = 1; i < count; ++i) {
    for (const auto& entry : std::filesystem::directory_iterator(folders[i])) {
      std::ifstream file(entry.path(), std::ios::binary);
      // The name that is printed last is that of the input that caused a failure.
      std::cout << entry.path().filename().string() << std::endl;
      Check(std::string(std::istreambuf_iterator<char>(file), {}));
      ++inputs;
    }
  }
  return inputs > 0 ? 0 : 1;
}
#endif
