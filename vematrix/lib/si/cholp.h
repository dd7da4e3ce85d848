#pragma once
#include <Eigen/Dense>
#include <Eigen/SparseCore>
#include "../containers/types.h"
namespace si {
class VEMATRIX_API cholp {
public:
  cholp(Eigen::SparseMatrix<double,0,int>& B, Eigen::MatrixXd& Y, int maxPasses);
  ~cholp();
  void orthogonalize();
private:
  Eigen::SparseMatrix<double,0,int>* m_B; Eigen::MatrixXd* m_Y; int m_maxPasses, m_k, m_n; Eigen::MatrixXd m_W, m_BY, m_S, m_I;
};
}
