// Runs a fuzz target without the fuzzer: over every file of some folders and, to a fixed seed, over
// changed copies of them.
//
//     fuzz-TARGET CHANGES FOLDER...
//
// Ends with 1 when there was nothing to run; a broken target ends the process by itself.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

extern "C" {
int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
size_t LLVMFuzzerMutate(uint8_t* data, size_t size, size_t maxSize);
// Of the targets that have one.
__attribute__((weak)) size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t maxSize,
                                                     unsigned seed);
}

namespace {

constexpr size_t kMaxSize = 4096;
std::mt19937 random_(1);

size_t below(size_t bound) { return std::uniform_int_distribution<size_t>(0, bound - 1)(random_); }

std::vector<uint8_t> contentOf(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

/// The target gets a copy of its own, so that a sanitizer sees a read past the end.
void run(const std::vector<uint8_t>& input) {
  const std::vector<uint8_t> copy(input);
  LLVMFuzzerTestOneInput(copy.data(), copy.size());
}

}  // namespace

/// In place of the fuzzer's own: an octet changed, taken out or put in.
size_t LLVMFuzzerMutate(uint8_t* data, size_t size, size_t maxSize) {
  const size_t place = size == 0 ? 0 : below(size);
  switch (below(3)) {
    case 0:
      if (size > 0) data[place] = static_cast<uint8_t>(below(256));
      return size;
    case 1:
      if (size == 0) return 0;
      std::copy(data + place + 1, data + size, data + place);
      return size - 1;
    default:
      if (size >= maxSize) return size;
      std::copy_backward(data + place, data + size, data + size + 1);
      data[place] = static_cast<uint8_t>(below(256));
      return size + 1;
  }
}

int main(int argc, char** argv) {
  const size_t changes = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 0;
  std::vector<std::vector<uint8_t>> inputs;
  for (int i = 2; i < argc; ++i) {
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(argv[i])) files.push_back(entry);
    std::sort(files.begin(), files.end());
    for (const auto& file : files) {
      inputs.push_back(contentOf(file));
      std::fprintf(stderr, "%s\n", file.c_str());
      run(inputs.back());
    }
  }
  if (inputs.empty()) return 1;
  for (size_t i = 0; i < changes; ++i) {
    std::vector<uint8_t> input = inputs[below(inputs.size())];
    size_t size = input.size();
    input.resize(std::max(size, kMaxSize));
    for (size_t times = 1 + below(4); times > 0; --times) {
      size = LLVMFuzzerCustomMutator != nullptr
                 ? LLVMFuzzerCustomMutator(input.data(), size, input.size(),
                                           static_cast<unsigned>(random_()))
                 : LLVMFuzzerMutate(input.data(), size, input.size());
    }
    input.resize(size);
    run(input);
  }
  std::fprintf(stderr, "%zu inputs and %zu changed ones\n", inputs.size(), changes);
  return 0;
}
