#pragma once
#include <memory>
#include <vector>
#include <Eigen/Dense>
#include <Eigen/SparseCore>
#include "../containers/CVector.h"
namespace Vessa { namespace Matrix {
class VEMATRIX_API Pardiso {
public:
  Pardiso(Eigen::SparseMatrix<double,0,int>& A, unsigned int nrhs);
  Pardiso(const Pardiso&);                         // shares solver memory and bound matrix
  Pardiso& operator=(const Pardiso&) = delete;     
  ~Pardiso();
  bool factorize(bool positiveDefinite);
  void disposeFactors();
  bool isFactorized() const;
  bool solve(CVector& b);
  Eigen::VectorXd solve(Eigen::VectorXd b);
  bool SolveX(Eigen::VectorXd b, Eigen::VectorXd& x);
  int  negative_evals() const;
  PardisoError lastError() const;
private:
  friend class CSolnMatrix;
  friend VEMATRIX_API bool SolveMulti(Pardiso&, const Eigen::MatrixXd&, Eigen::MatrixXd&);
  void rebind(Eigen::SparseMatrix<double,0,int>& A);  // used by CSolnMatrix's copy constructor only
  struct Handle;                                   // the 64 words plus the "has factors" state, shared by copies
  int m_mtype; std::vector<int> m_iparm; int m_maxfct, m_mnum, m_error, m_msglvl, m_perm, m_nrhs;
  std::shared_ptr<Handle> m_pt; Eigen::SparseMatrix<double,0,int>* m_matrix; bool m_factorized;
};
VEMATRIX_API bool SolveMulti(Pardiso& solver, const Eigen::MatrixXd& B, Eigen::MatrixXd& X);
}}
