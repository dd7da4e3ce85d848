#include "Digest.h"

#include <fstream>
#include <iterator>
#include <stdexcept>
#include <vector>

#include "models/Registry.h"
#include "models/io/SymmetricTerms.h"
#include "si/gep11.h"
#include "si/sep.h"
#include "sparse/CSymmetricRow.h"
#include "support/SilenceLibrary.h"
#include "support/TempFolder.h"

namespace determinism {
namespace {

using namespace Vessa::Matrix;
using vematrix::models::makeModel;
using vematrix::models::Model;

constexpr int numColumns = 7;  // right-hand sides of a block: no multiple of any vector width

// Column c of the loads: no two entries alike.
double LoadAt(int i, int c) {
  return 1.0 + 0.001 * ((37 * i + 11 * c) % 1009);
}

std::uint64_t DigestOfFile(const std::string& name) {
  std::ifstream file(name, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  if (bytes.empty()) throw std::runtime_error("the matrix was not written");
  Digest digest;
  digest.Add(bytes.data(), bytes.size());
  return digest.Value();
}

void SolveBlock(CSolnMatrix& matrix, SolMethod method, int n, Digest& digest) {
  if (method == SolSkyline) {
    CMatrix<0> block(n, numColumns);
    for (int i = 1; i <= n; ++i)
      for (int c = 1; c <= numColumns; ++c) block.SetAt(i, c, LoadAt(i, c));
    matrix.getSkyLine().BackSubs(block);
    digest.Add(block.Array(), sizeof(double) * static_cast<std::size_t>(n) * numColumns);
    return;
  }
  CMatrix<1> block(n, numColumns);
  for (int i = 1; i <= n; ++i)
    for (int c = 1; c <= numColumns; ++c) block.SetAt(i, c, LoadAt(i, c));
  matrix.BackSubstitute(block);
  digest.Add(block.Array(), sizeof(double) * static_cast<std::size_t>(n) * numColumns);
}

void SolveFacade(const std::string& name, SolMethod method, PardisoEngine engine, unsigned threads,
                 Digests& digests) {
  const Model model = makeModel(name);
  const int n = model.numDofs();
  const test_support::TempFolder folder;
  CSolnMatrix matrix;
  matrix.SetMethod(method);
  matrix.SetPardisoEngine(engine);
  matrix.SetPardisoNumThreads(threads);
  matrix.getPardiso().SetNumThreads(threads);
  matrix.SetNumDof(n);
  model.assembleStiffness([&](int i, int j, double v) { matrix.AddTerm(i, j, v); });
  if (!matrix.Finalize() || !matrix.Reduce(OptStiffness))
    throw std::runtime_error(name + " was not factorised");

  const std::string title = name + ", method " + std::to_string(method) + ": ";
  if (method != SolPardiso) {  // the file holds the factors; method 6 parks the matrix itself
    if (!matrix.OpenFile(folder.Path("factors").c_str()) || !matrix.Write(false))
      throw std::runtime_error(name + ": no file");
    digests[title + "factors"] = DigestOfFile(folder.Path("factors"));
    matrix.CloseFile();
  }
  Digest one, several;
  CVector x(n);
  for (int i = 1; i <= n; ++i) x.SetAt(i, LoadAt(i, 0));
  matrix.BackSubstitute(x);
  one.Add(x);
  SolveBlock(matrix, method, n, several);
  digests[title + "solution"] = one.Value();
  digests[title + "solutions of a block"] = several.Value();
}

void SolveRowStored(const std::string& name, Digests& digests) {
  const Model model = makeModel(name);
  const int n = model.numDofs();
  CSymmetricRow matrix(n), factor;
  model.assembleStiffness([&](int i, int j, double v) {
    matrix.AllocateAt(i, j);
    matrix.AddAt(i, j, v);
  });
  matrix.Sort();
  matrix.StoreFirstRow();
  factor.SymbolicFactorization(matrix);
  factor.StoreFirstRow();
  factor.Factorization(matrix);
  Digest factors, solution;
  for (int i = 1; i <= n; ++i)
    for (int j = i; j <= n; ++j) factors.Add(factor.GetAt(i, j));
  CVector x(n);
  for (int i = 1; i <= n; ++i) x.SetAt(i, LoadAt(i, 0));
  factor.BackSubs(x);
  solution.Add(x);
  digests[name + ", row-stored: factors"] = factors.Value();
  digests[name + ", row-stored: solution"] = solution.Value();
}

std::uint64_t DigestOf(const std::vector<double>& values, const Eigen::MatrixXd& vectors) {
  Digest digest;
  digest.Add(values.data(), values.size() * sizeof(double));
  digest.Add(vectors.data(), static_cast<std::size_t>(vectors.size()) * sizeof(double));
  return digest.Value();
}

using Sparse = Eigen::SparseMatrix<double, 0, int>;

}  // namespace

Digests OwnEngines(unsigned threads) {
  const test_support::SilenceLibrary silence;
  Digests digests;
  for (const char* name : {"brick:12", "shell:20:20", "frame:5:5:8"}) {
    SolveFacade(name, SolSkyline, EngineDefault, threads, digests);
    SolveFacade(name, SolCompColumn, EngineDefault, threads, digests);
    SolveFacade(name, SolPardiso, EngineOwn, threads, digests);
  }
  SolveRowStored("plate:20:20", digests);
  return digests;
}

Digests MklPardiso(unsigned threads) {
  const test_support::SilenceLibrary silence;
  Digests digests;
  if (!Pardiso::HasEngine(EngineMkl)) return digests;
  for (const char* name : {"brick:12", "shell:20:20", "frame:5:5:8"})
    SolveFacade(name, SolPardiso, EngineMkl, threads, digests);
  return digests;
}

Digests Eigensolvers(unsigned threads, PardisoEngine engine) {
  const test_support::SilenceLibrary silence;
  const Model model = makeModel("shell:12:12");
  CSolnMatrix process;  // its Finalize sets the math library's number of threads
  process.SetMethod(SolPardiso);
  process.SetPardisoNumThreads(threads);
  process.SetNumDof(1);
  process.Finalize();
  Digests digests;
  std::vector<double> values;
  Eigen::MatrixXd vectors;
  const auto pencil = [&](int solve) {
    Sparse K = toLowerTriangle(model.stiffnessTerms()), M = toLowerTriangle(model.massTerms());
    double shift = 0.0;
    si::gep11 solver(solve == 0 ? M : K, solve == 0 ? K : M, 4, 10, 1e-9, shift, si::SHIFT_NONE, 100);
    solver.SetEngine(engine);
    if (solve == 0)
      solver.solve_exp_orth();
    else if (solve == 1)
      solver.solve_imp_orth();
    else
      solver.solve_imp_orth_copy();
    solver.get_eigenpairs(values, vectors);
    digests["gep11, solve " + std::to_string(solve)] = DigestOf(values, vectors);
  };
  for (int solve = 0; solve < 3; ++solve) pencil(solve);
  Sparse K = toLowerTriangle(model.stiffnessTerms());
  double shift = 0.0;
  si::sep solver(K, 4, 10, si::EVAL_LOCATION(0), 1e-9, shift, si::SHIFT_NONE, 100);
  solver.SetEngine(engine);
  solver.solve();
  solver.get_eigenpairs(values, vectors);
  digests["sep"] = DigestOf(values, vectors);
  return digests;
}

}  // namespace determinism
