#pragma once
#include <random>
#include <Eigen/Dense>
namespace si {
struct OneNormEstParams { int n; int t; };
// Operator concept: void operator()(const Eigen::MatrixXd& X, Eigen::MatrixXd& Y);  bool ok() const;
// One engine per instantiating source file: the source file owns "static std::mt19937 engine;" (5489) and passes it.
template <class Forward, class Adjoint>
void OneNormEst(OneNormEstParams& params, Forward& forward, Adjoint& adjoint, double& result, std::mt19937& engine);
double RandomSign(int n, std::mt19937& engine);
}
