#pragma once
#include <array>
#include <vector>
#include <Eigen/Dense>
#include <Eigen/SparseCore>
#include "../containers/types.h"
#include "../si/si_types.h"
namespace si {
class VEMATRIX_API sep {
public:
  sep(Eigen::SparseMatrix<double,0,int>& A, const int& nev, const int& nsub, EVAL_LOCATION loc, const double& tol,
      double& shift, ShiftStrat strategy, int maxIter);
  si::Status solve();
  int get_numpairs_converged() const;
  std::array<int,3> opCount() const;
  void get_eigenpairs(std::vector<double>& evals, Eigen::MatrixXd& evecs);
  void residuals(const double& tol, std::vector<double>& out);
  bool initSubspaceVectors();
private:
  bool mu_cons(const int& i, double& mu);
  bool mu_aggr(const int& i, const int& stage, double& mu);
  double mu_safe(const int& i, int& j);
  bool orthonormalize(Eigen::MatrixXd& Y);
  int checkConvergence(int start, const double& mu);
  double ErrorNorm(int i);
  double onenormest(Eigen::SparseMatrix<double,0,int>& A);
  Eigen::SparseMatrix<double,0,int>* m_A; int n, nev, p; EVAL_LOCATION loc; int initFlag, maxIter; double tol, shift;
  ShiftStrat strategy; Eigen::MatrixXd m_S; std::vector<double> m_lambda; std::array<int,3> ops; int nconv; double normA;
};
}
