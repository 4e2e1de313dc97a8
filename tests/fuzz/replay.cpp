// Runs the fuzz target over files, and over all files of folders, with any compiler.
#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int count, char** arguments) {
  namespace fs = std::filesystem;
  std::vector<fs::path> inputs;
  for (int i = 1; i < count; ++i) {
    if (!fs::is_directory(arguments[i])) {
      inputs.emplace_back(arguments[i]);
      continue;
    }
    for (const auto& entry : fs::directory_iterator(arguments[i])) inputs.push_back(entry.path());
  }
  std::ranges::sort(inputs);
  for (const fs::path& input : inputs) {
    // The last line of a crash tells whose it is.
    std::cout << input.string() << std::endl;
    std::ifstream stream(input, std::ios::binary);
    if (!stream) {
      std::cerr << input.string() << ": cannot be read\n";
      return 2;
    }
    const std::vector<char> content(std::istreambuf_iterator<char>(stream), {});
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(content.data()), content.size());
  }
  return inputs.empty() ? 2 : 0;
}
