// Runs a fuzz target without a fuzzing engine: every corpus file, then seeded mutations of them.
//
//   target [--runs N] [--seed S] FILE-OR-FOLDER...
//
// The mutations are plain (flip, insert, erase, copy, splice): a check that runs in seconds with any
// compiler. Coverage-guided runs use the same targets linked with libFuzzer.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes readFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(in), {});
}

void collect(const std::filesystem::path& path, std::vector<Bytes>& corpus) {
  if (std::filesystem::is_directory(path)) {
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(path)) {
      if (entry.is_regular_file()) files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    for (const auto& file : files) corpus.push_back(readFile(file));
  } else {
    corpus.push_back(readFile(path));
  }
}

std::size_t below(std::mt19937_64& random, std::size_t bound) {
  return bound == 0 ? 0 : random() % bound;
}

void mutate(Bytes& input, const std::vector<Bytes>& corpus, std::mt19937_64& random) {
  const std::size_t edits = 1 + below(random, 8);
  for (std::size_t edit = 0; edit < edits; ++edit) {
    const std::size_t at = below(random, input.size());
    switch (below(random, 6)) {
      case 0:
        if (!input.empty()) input[at] ^= static_cast<std::uint8_t>(1u << below(random, 8));
        break;
      case 1:
        input.insert(input.begin() + static_cast<std::ptrdiff_t>(at), static_cast<std::uint8_t>(random()));
        break;
      case 2:
        if (!input.empty()) input.erase(input.begin() + static_cast<std::ptrdiff_t>(at));
        break;
      case 3:
        if (!input.empty()) input[at] = static_cast<std::uint8_t>(random());
        break;
      case 4:
        input.resize(at);
        break;
      default: {
        const Bytes& other = corpus[below(random, corpus.size())];
        const std::size_t from = below(random, other.size());
        input.resize(at);
        input.insert(input.end(), other.begin() + static_cast<std::ptrdiff_t>(from), other.end());
      }
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  long runs = 0;
  unsigned long long seed = 1;
  std::vector<Bytes> corpus;
  for (int k = 1; k < argc; ++k) {
    if (std::strcmp(argv[k], "--runs") == 0 && k + 1 < argc) {
      runs = std::atol(argv[++k]);
    } else if (std::strcmp(argv[k], "--seed") == 0 && k + 1 < argc) {
      seed = std::strtoull(argv[++k], nullptr, 10);
    } else {
      collect(argv[k], corpus);
    }
  }
  if (corpus.empty()) corpus.push_back({});
  if (std::freopen("/dev/null", "w", stdout) == nullptr) return 1;  // the library's trace lines
  for (const Bytes& input : corpus) LLVMFuzzerTestOneInput(input.data(), input.size());
  std::mt19937_64 random(seed);
  for (long run = 0; run < runs; ++run) {
    Bytes input = corpus[below(random, corpus.size())];
    mutate(input, corpus, random);
    // A copy of the exact size, so that reading beyond the end is seen.
    std::vector<std::uint8_t> exact(input.begin(), input.end());
    exact.shrink_to_fit();
    LLVMFuzzerTestOneInput(exact.data(), exact.size());
  }
  std::fprintf(stderr, "%zu corpus inputs and %ld mutations ran\n", corpus.size(), runs);
  return 0;
}
