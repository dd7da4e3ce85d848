// Parking a matrix on disk: two factorised matrices, memory for the values of one at a time.
//
// The values of a matrix are written to a temporary file, the object keeps its structure; later they are read
// back and the solution goes on. Known answer: the displacements of the matrix that never left memory, to the
// bit.
#include <cstdio>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "models/structures/Structures.h"
#include "solution/CSolnMatrix.h"

using namespace Vessa::Matrix;
namespace models = vematrix::models;

namespace {

void assemble(CSolnMatrix& K, const models::Model& model, SolMethod method) {
  K.SetMethod(method);
  K.SetNumDof(model.numDofs());
  model.assembleStiffness([&](int i, int j, double v) { K.AddTerm(i, j, v); });
  K.Finalize();
}

bool park(const std::string& file, SolMethod method) {
  const models::Model model = models::solidBlock({6, 4, 4});
  CVector stayed(model.loads(0)), parked(model.loads(0));
  std::vector<int> zeroDofs;

  // 1. The answer without parking.
  CSolnMatrix reference;
  assemble(reference, model, method);
  if (reference.Reduce(OptStiffness, zeroDofs) != 0) return false;
  reference.BackSubstitute(stayed);

  // 2. The assembled matrix goes to the file. Methods 0 and 4 write an image of their values; method 6 writes
  // Matrix
  //    Market text, for reading, and keeps a copy in memory.
  CSolnMatrix K;
  assemble(K, model, method);
  if (!K.OpenFile(file.c_str()) || !K.Write(false)) return false;

  // 3. Its values may be overwritten now; here by the factors.
  if (K.Reduce(OptStiffness, zeroDofs) != 0) return false;

  // 4. Back to the assembled values, and once more from there.
  if (!K.Read() || K.Reduce(OptStiffness, zeroDofs) != 0) return false;
  K.BackSubstitute(parked);

  // 5. Methods 0 and 4 hold the file open; closing removes it. Method 6 has closed it, and it is the host's
  // to remove.
  if (method != SolPardiso) K.CloseFile();
  std::error_code ignored;
  std::filesystem::remove(file, ignored);

  const bool same = stayed.Inner() == parked.Inner();
  std::printf("method %d: largest displacement %.10e m and %.10e m, %s\n", int(method), stayed.MaxAbs(),
              parked.MaxAbs(), same ? "the same to the bit" : "NOT the same");
  return same;
}

}  // namespace

int main() {
  const auto file =
      std::filesystem::temp_directory_path() / ("parked-" + std::to_string(std::random_device()()));
  bool good = true;
  for (SolMethod method : {SolSkyline, SolCompColumn, SolPardiso}) good &= park(file.string(), method);
  return good ? 0 : 1;
}
