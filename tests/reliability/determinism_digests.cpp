// Prints the digests of one fresh process, a line each: for the test that compares processes.
//
//     determinism_digests own|mkl|eigen|eigen-mkl <threads> <blocks of heap taken before>
//
// The eigensolvers run twice, in between the first block of every pair is given back.
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "Digest.h"

int main(int argc, char** argv) {
  if (argc != 4) return 2;
  const std::string what = argv[1];
  const auto threads = static_cast<unsigned>(std::atoi(argv[2]));
  // Odd sizes, every other one given back: what follows lies elsewhere than in a process without them.
  std::vector<void*> held;
  for (int k = 0; k < std::atoi(argv[3]); ++k) {
    held.push_back(std::malloc(static_cast<std::size_t>(16 + 8 * (k * 7919 % 4099))));
    std::memset(held.back(), 0x5a, 16);
    if (k % 2 == 1) {
      std::free(held.back());
      held.pop_back();
    }
  }
  const auto engine = what == "eigen-mkl" ? Vessa::Matrix::EngineMkl : Vessa::Matrix::EngineOwn;
  determinism::Digests digests = what == "mkl"   ? determinism::MklPardiso(threads)
                                 : what == "own" ? determinism::OwnEngines(threads)
                                                 : determinism::Eigensolvers(threads, engine);
  if (what == "eigen" || what == "eigen-mkl") {
    for (std::size_t k = 0; k < held.size(); k += 2) std::free(std::exchange(held[k], nullptr));
    for (const auto& entry : determinism::Eigensolvers(threads, engine))
      digests[entry.first + ", again"] = entry.second;
  }
  for (const auto& entry : digests) std::printf("%016" PRIx64 " %s\n", entry.second, entry.first.c_str());
  for (void* block : held) std::free(block);
  return 0;
}
