// Our own cost around MKL's PARDISO: the share of Reduce and BackSubstitute that is spent outside its calls,
// and the share of a whole run assemble → finalise → factorise → solve that is spent outside the math
// library.
//
// The program puts its own pardiso() in front of the library's and times what passes through. Counters ending
// in
// "_out%" are shares outside PARDISO in percent; the times are seconds of one run.
#include <benchmark/benchmark.h>
#include <dlfcn.h>

#include <algorithm>
#include <chrono>
#include <string>

#include "models/Registry.h"
#include "solution/CSolnMatrix.h"
#include "support/Silence.h"

namespace {

using Clock = std::chrono::steady_clock;

double Since(Clock::time_point begin) {
  return std::chrono::duration<double>(Clock::now() - begin).count();
}

double insidePardiso = 0.0;

}  // namespace

// The signature of MKL's C interface, 32-bit integers.
extern "C" void pardiso(void* handle, const int* maxfct, const int* mnum, const int* mtype, const int* phase,
                        const int* n, const void* a, const int* ia, const int* ja, int* perm, const int* nrhs,
                        int* iparm, const int* msglvl, void* b, void* x, int* error) {
  using Function = void (*)(void*, const int*, const int*, const int*, const int*, const int*, const void*,
                            const int*, const int*, int*, const int*, int*, const int*, void*, void*, int*);
  static const Function mkl = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "pardiso"));
  const Clock::time_point begin = Clock::now();
  mkl(handle, maxfct, mnum, mtype, phase, n, a, ia, ja, perm, nrhs, iparm, msglvl, b, x, error);
  insidePardiso += Since(begin);
}

namespace {

using namespace Vessa::Matrix;
using vematrix::models::SymmetricTerms;

struct Step {
  double total = 0.0, inside = 0.0;

  template <class F>
  void Run(F f) {
    insidePardiso = 0.0;
    const Clock::time_point begin = Clock::now();
    f();
    total += Since(begin);
    inside += insidePardiso;
  }
  double OutsidePercent() const { return total > 0.0 ? 100.0 * (total - inside) / total : 0.0; }
};

double RelativeResidual(CSolnMatrix& k, const CVector& x, const CVector& load) {
  return (k * x - load).Norm() / load.Norm();
}

void WholeRun(benchmark::State& state, const std::string& name) {
  const vematrix::models::Model model = vematrix::models::makeModel(name);
  const SymmetricTerms terms = model.stiffnessTerms();
  const CVector load(model.loads());
  const bench::Silence silence;
  Step assemble, finalise, reduce, solve, block;
  double worst = 0.0;
  for (auto _ : state) {
    CSolnMatrix k;
    k.SetMethod(SolPardiso);
    k.SetPardisoEngine(EngineMkl);
    assemble.Run([&] {
      k.SetNumDof(terms.n);
      terms.forEach([&k](int i, int j, double v) { k.AddTerm(i, j, v); });
    });
    finalise.Run([&] { k.Finalize(); });
    bool ok = false;
    reduce.Run([&] { ok = k.Reduce(OptStiffness); });
    if (!ok) state.SkipWithError("not factorised");
    CVector x(load);
    solve.Run([&] { k.BackSubstitute(x); });
    CMatrix<1> many(terms.n, 8, 1.0);
    block.Run([&] { k.BackSubstitute(many); });
    worst = std::max(worst, RelativeResidual(k, x, load));
  }
  if (!(worst < 1e-6)) state.SkipWithError("the solution is wrong");
  const double runs = static_cast<double>(state.iterations());
  Step all;
  for (const Step* s : {&assemble, &finalise, &reduce, &solve}) {
    all.total += s->total;
    all.inside += s->inside;
  }
  state.counters["dofs"] = terms.n;
  state.counters["assemble_s"] = assemble.total / runs;
  state.counters["finalise_s"] = finalise.total / runs;
  state.counters["reduce_s"] = reduce.total / runs;
  state.counters["solve_s"] = solve.total / runs;
  state.counters["reduce_out%"] = reduce.OutsidePercent();
  state.counters["solve_out%"] = solve.OutsidePercent();
  state.counters["block_out%"] = block.OutsidePercent();
  state.counters["all_out%"] = all.OutsidePercent();
  state.counters["residual"] = worst;
}

}  // namespace

BENCHMARK_CAPTURE(WholeRun, brick_3993, "brick:10")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(WholeRun, brick_26460, "brick:20")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(WholeRun, brick_95232, "brick:31")->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK_CAPTURE(WholeRun, frame_small, "frame:10:10:15")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(WholeRun, frame_large, "frame:25:25:24")->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
