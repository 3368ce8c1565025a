// SPDX-License-Identifier: Apache-2.0

// Runs a fuzz target once over every file of a folder, without a fuzzer.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <vector>

#include "fuzz/require.h"

namespace {

/// Hands the target a block of exactly the file's size, so that a sanitizer sees any read behind it.
void replay(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  const std::vector<char> content{std::istreambuf_iterator<char>(file), {}};
  const auto copy = std::make_unique<std::uint8_t[]>(content.size());
  std::copy(content.begin(), content.end(), copy.get());
  LLVMFuzzerTestOneInput(copy.get(), content.size());
}

int replayFolder(const char* folder) {
  int count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    std::cout << entry.path().filename().string() << std::endl;
    replay(entry.path());
    ++count;
  }
  std::cout << count << " inputs replayed" << std::endl;
  return count == 0 ? 1 : 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: " << argv[0] << " FOLDER" << std::endl;
    return 2;
  }
  try {
    return replayFolder(argv[1]);
  } catch (const std::exception& error) {
    std::cerr << error.what() << std::endl;
    return 1;
  }
}
