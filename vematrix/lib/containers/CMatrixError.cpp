#include "types.h"

namespace Vessa {
namespace Matrix {

CMatrixError::CMatrixError(const std::string& msg) : m_msg(msg) {}

CMatrixError::~CMatrixError() noexcept = default;

const char* CMatrixError::what() const noexcept {
  return m_msg.c_str();
}

}  // namespace Matrix
}  // namespace Vessa
