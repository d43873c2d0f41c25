// Runs a target over the files of the folders given as arguments, without a fuzzer.
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>

#include "tests/fuzz/fuzz.h"

int main(int count, char** folders) {
  int inputs = 0;
  for (int i = 1; i < count; ++i) {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folders[i])) {
      if (entry.is_directory()) {
        continue;
      }
      std::ifstream file(entry.path(), std::ios::binary);
      const std::string input(std::istreambuf_iterator<char>(file), {});
      std::cout << entry.path().filename().string()
                << std::endl;  // the last one printed caused a failure
      LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
      ++inputs;
    }
  }
  return inputs > 0 ? 0 : 1;
}
