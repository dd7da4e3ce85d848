#pragma once
#include <array>
#include <utility>
#include <vector>
#include <Eigen/Dense>
#include <Eigen/SparseCore>
#include "../containers/types.h"
#include "../si/si_types.h"
#include "../solution/Pardiso.h"
namespace si {
class VEMATRIX_API gep11 {                         // no virtual functions
public:
  gep11(Eigen::SparseMatrix<double,0,int>& A, Eigen::SparseMatrix<double,0,int>& B, const int& nev, const int& p,
        const double& tol, double& shift, si::ShiftStrat strategy, int maxIter);
  gep11(const gep11&);
  ~gep11();
  si::Status solve_exp_orth();
  si::Status solve_imp_orth();
  si::Status solve_imp_orth_copy();
  int get_numpairs_converged() const;
  std::array<int,3> opCount() const;
  bool initSubspaceVectors();
  bool orthonormalize(Eigen::MatrixXd& Y);
  double onenormest(Eigen::SparseMatrix<double,0,int>& M);
  double onenormest(Eigen::MatrixXd& M);
  double condest(Eigen::SparseMatrix<double,0,int>& M);
  bool mu_cons(const int& k, double& mu);
  bool mu_aggr(const int& k, const int& stage, double& mu);
  double mu_safe(const int& k, int& j);
  void residuals(const double& tol, std::vector<std::pair<int,double>>& bad);
  void get_eigenpairs(std::vector<double>& values, Eigen::MatrixXd& vectors);
private:
  int checkConvergence(int first, const double& sigma);
  double ErrorNorm(int i);
  bool initial_shift(Eigen::MatrixXd&, Eigen::MatrixXd&, Vessa::Matrix::Pardiso&, Eigen::MatrixXd&, Eigen::MatrixXd&, double&);
  Eigen::SparseMatrix<double,0,int> *A, *B; int n, nev, p, initFlag, maxIter; double tol, shift, mu; si::ShiftStrat strategy;
  Eigen::MatrixXd X; std::vector<double> evals; std::array<int,3> ops; int nconv; double normA, normB; int negEvalsB;
  double shiftSum; int mode;
};
}
