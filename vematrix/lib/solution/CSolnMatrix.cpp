// Construction, settings and small questions. Assembly, solution, operations and files have source files of
// their own.
#include "CSolnMatrix.h"

#include "TempFile.h"
#include "TermStaging.h"

namespace Vessa {
namespace Matrix {

CSolnMatrix::CSolnMatrix()
    : m_log(nullptr),
      m_method(SolSkyline),
      m_pre(PreConditioner0),
      m_numDof(0),
      m_zeroStiff(1e-40),
      m_diagonal(false),
      m_terms(std::make_unique<TermStaging>()),
      m_triplets(std::make_unique<TermStaging>()),
      m_pardiso(m_sparse, 1),
      m_threads(0) {}

CSolnMatrix::CSolnMatrix(const CSolnMatrix& b)
    : m_log(b.m_log),
      m_method(b.m_method),
      m_pre(b.m_pre),
      m_numDof(b.m_numDof),
      m_zeroStiff(b.m_zeroStiff),
      m_diagonal(b.m_diagonal),
      m_skyline(b.m_skyline),
      m_pattern(b.m_pattern),
      m_comp(b.m_comp),
      m_terms(std::make_unique<TermStaging>(*b.m_terms)),
      m_triplets(std::make_unique<TermStaging>(*b.m_triplets)),
      m_pardiso(b.m_pardiso),
      m_threads(b.m_threads),
      m_file(b.m_file),
      m_fileName(b.m_fileName) {
  m_sparse = b.m_sparse;  // a construction that runs out of memory would leak
  m_saved = b.m_saved;
  m_pardiso.rebind(m_sparse);
}

CSolnMatrix::~CSolnMatrix() = default;

void CSolnMatrix::SetLog(CReport* r) {
  m_log = r;
  if (m_method == SolSkyline) m_skyline.SetLog(r);
  if (m_method == SolCompColumn) m_comp.SetLog(r);
}

void CSolnMatrix::SetMethod(SolMethod m) {
  m_method = m;
  if (m_diagonal && m != SolPardiso) {
    m_method = SolSkyline;
    m_skyline.SetDiagonal(true);
  }
}

void CSolnMatrix::SetPreconditioner(PreConditioner p) {
  m_pre = p;
}

void CSolnMatrix::SetZeroStiff(double z) {
  m_zeroStiff = z;
}

const double& CSolnMatrix::ZeroStiff() const {
  return m_zeroStiff;
}

void CSolnMatrix::SetPardisoNumThreads(unsigned int n) {
  m_threads = n;
}

bool CSolnMatrix::SetPardisoEngine(PardisoEngine engine) {
  return m_pardiso.SetEngine(engine);
}

void CSolnMatrix::SetDiagonal(bool d) {
  m_diagonal = d;
  if (d && m_method != SolPardiso) {
    m_method = SolSkyline;
    m_skyline.SetDiagonal(true);
  }
}

bool CSolnMatrix::IsDiagonal() const {
  return m_diagonal;
}

void CSolnMatrix::SetPhase(Phase p) {
  if (m_method == SolSkyline) m_skyline.SetPhase(p);
}

void CSolnMatrix::Log(int level, const char* msg) const {
  if (m_log != nullptr) m_log->Log(level, msg);
}

void CSolnMatrix::Note(const char* msg) const {
  if (m_log != nullptr) m_log->Note(msg);
}

unsigned long long CSolnMatrix::RowCol(int i, int j) const {
  const long long row = i, col = j, n = m_numDof;
  return static_cast<unsigned long long>(row - 1) +
         static_cast<unsigned long long>(n) * static_cast<unsigned long long>(col - 1);
}

unsigned int CSolnMatrix::Row(unsigned long long key) const {
  return static_cast<unsigned int>(key % static_cast<unsigned long long>(m_numDof) + 1);
}

unsigned int CSolnMatrix::Col(unsigned long long key) const {
  return static_cast<unsigned int>(key / static_cast<unsigned long long>(m_numDof) + 1);
}

CSkyLine& CSolnMatrix::getSkyLine() {
  return m_skyline;
}

Pardiso& CSolnMatrix::getPardiso() {
  return m_pardiso;
}

CCompColumn& CSolnMatrix::getCompColumn() {
  return m_comp;
}

}  // namespace Matrix
}  // namespace Vessa
