// Runs a fuzz target where no fuzzing engine is at hand: over the files of the given folders and over a fixed
// number of mutations of each (same inputs in every run).
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

constexpr int kMutationsPerSeed = 200;

using Bytes = std::vector<std::uint8_t>;

void Mutate(Bytes& bytes, std::mt19937& random) {
  const auto below = [&random](std::size_t limit) { return limit == 0 ? 0 : random() % limit; };
  for (std::size_t edits = 1 + below(8); edits > 0; --edits) {
    const std::size_t at = below(bytes.size());
    switch (below(4)) {
      case 0:
        if (!bytes.empty()) bytes[at] = static_cast<std::uint8_t>(random());
        break;
      case 1:
        bytes.insert(bytes.begin() + static_cast<std::ptrdiff_t>(at), static_cast<std::uint8_t>(random()));
        break;
      case 2:
        bytes.resize(at);
        break;
      default:
        if (!bytes.empty()) bytes[at] = static_cast<std::uint8_t>(bytes[at] ^ (1U << below(8)));
        break;
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  std::size_t runs = 0;
  std::mt19937 random(1);
  for (int i = 1; i < argc; ++i) {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(argv[i])) {
      if (!entry.is_regular_file()) continue;
      std::ifstream file(entry.path(), std::ios::binary);
      const std::vector<char> text{std::istreambuf_iterator<char>(file), {}};
      const Bytes seed(text.begin(), text.end());
      LLVMFuzzerTestOneInput(seed.data(), seed.size());
      for (int round = 0; round < kMutationsPerSeed; ++round) {
        Bytes mutated = seed;
        Mutate(mutated, random);
        LLVMFuzzerTestOneInput(mutated.data(), mutated.size());
      }
      ++runs;
    }
  }
  std::printf("%zu seeds, %d mutations each\n", runs, kMutationsPerSeed);
  return runs == 0 ? 1 : 0;
}
