#include "models/Element.h"

#include <stdexcept>

namespace vematrix {
namespace models {

void ElementType::geometricStiffness(const Coordinates&, const Eigen::VectorXd&, Eigen::MatrixXd&) const {
  throw std::logic_error(std::string("the element '") + name() + "' has no geometric stiffness");
}

}  // namespace models
}  // namespace vematrix
