// Staging and finalising: nanoseconds per added term, for every method and for what a host would do by hand.
//
// A cube of 8-node bricks, 300 terms per element. Arguments are bricks per edge; 31 gives about 95,000 dofs
// and 8.9 million terms. "hash_map" and "triplets" are the plain containers of the standard library and of
// Eigen.
#include <benchmark/benchmark.h>

#include <Eigen/SparseCore>
#include <chrono>
#include <string>
#include <unordered_map>
#include <vector>

#include "models/Registry.h"
#include "solution/CSolnMatrix.h"
#include "support/Silence.h"

namespace {

using namespace Vessa::Matrix;
using vematrix::models::SymmetricTerms;

const SymmetricTerms& BrickTerms(int edge) {
  static int made = 0;
  static SymmetricTerms terms;
  if (made != edge) terms = vematrix::models::makeModel("brick:" + std::to_string(edge)).stiffnessTerms();
  made = edge;
  return terms;
}

void CountTerms(benchmark::State& state, std::size_t terms, double seconds) {
  const double added = static_cast<double>(terms) * static_cast<double>(state.iterations());
  state.counters["ns/term"] = seconds * 1e9 / added;
  state.counters["terms/s"] = added / seconds;
  state.counters["terms"] = static_cast<double>(terms);
}

// Times the sections between Start and Stop and adds them up.
class Section {
public:
  void Start() { m_begin = Clock::now(); }
  void Stop() { m_seconds += std::chrono::duration<double>(Clock::now() - m_begin).count(); }
  double Seconds() const { return m_seconds; }

private:
  using Clock = std::chrono::steady_clock;
  Clock::time_point m_begin;
  double m_seconds = 0.0;
};

void Assemble(benchmark::State& state) {
  const int method = static_cast<int>(state.range(0));
  const SymmetricTerms& terms = BrickTerms(static_cast<int>(state.range(1)));
  const bench::Silence silence;
  Section staging, finalising;
  for (auto _ : state) {
    CSolnMatrix k;
    k.SetMethod(static_cast<SolMethod>(method));
    staging.Start();
    k.SetNumDof(terms.n);
    terms.forEach([&k](int i, int j, double v) { k.AddTerm(i, j, v); });
    staging.Stop();
    finalising.Start();
    const bool ok = k.Finalize();
    finalising.Stop();
    if (!ok || k.NumDof() != terms.n) state.SkipWithError("not finalised");
  }
  const double total = staging.Seconds() + finalising.Seconds();
  CountTerms(state, terms.size(), total);
  const double added = static_cast<double>(terms.size()) * static_cast<double>(state.iterations());
  state.counters["staging"] = staging.Seconds() * 1e9 / added;
  state.counters["finalise"] = finalising.Seconds() * 1e9 / added;
}

void HashMap(benchmark::State& state) {
  const bool reserved = state.range(0) != 0;
  const SymmetricTerms& terms = BrickTerms(static_cast<int>(state.range(1)));
  const auto n = static_cast<unsigned long long>(terms.n);
  Section staging;
  for (auto _ : state) {
    std::unordered_map<unsigned long long, double> map;
    staging.Start();
    if (reserved) map.reserve(terms.size() / 2);
    terms.forEach([&map, n](int i, int j, double v) {
      map[static_cast<unsigned long long>(i - 1) + n * static_cast<unsigned long long>(j - 1)] += v;
    });
    staging.Stop();
    benchmark::DoNotOptimize(map.size());
  }
  CountTerms(state, terms.size(), staging.Seconds());
}

void Triplets(benchmark::State& state) {
  const SymmetricTerms& terms = BrickTerms(static_cast<int>(state.range(0)));
  Section staging;
  for (auto _ : state) {
    staging.Start();
    std::vector<Eigen::Triplet<double, int>> list;
    terms.forEach([&list](int i, int j, double v) { list.emplace_back(j - 1, i - 1, v); });
    Eigen::SparseMatrix<double, 0, int> a(terms.n, terms.n);
    a.setFromTriplets(list.begin(), list.end());
    staging.Stop();
    benchmark::DoNotOptimize(a.nonZeros());
  }
  CountTerms(state, terms.size(), staging.Seconds());
}

}  // namespace

BENCHMARK(HashMap)
    ->ArgNames({"reserved", "edge"})
    ->Args({0, 20})
    ->Args({1, 20})
    ->Unit(benchmark::kMillisecond);
BENCHMARK(Triplets)->ArgName("edge")->Arg(10)->Arg(20)->Arg(31)->Unit(benchmark::kMillisecond);
BENCHMARK(Assemble)
    ->ArgNames({"method", "edge"})
    ->Args({0, 10})
    ->Args({0, 20})
    ->Args({4, 10})
    ->Args({4, 20})
    ->Args({4, 31})
    ->Args({6, 10})
    ->Args({6, 20})
    ->Args({6, 31})
    ->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
