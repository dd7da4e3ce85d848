#pragma once
#include <memory>
#include <vector>
#include "../../math/large_memory.h"
#include "../../sparse/LdltTypes.h"
#include "../../sparse/analysis/LdltAnalysis.h"
#include "../../sparse/numeric/SpareArray.h"

namespace Vessa {
namespace Matrix {
namespace sparse {

/// The numbers of P·A·Pᵀ = L·D·Lᵀ, stored as the analysis says: unit lower panels by supernode, D by step.
struct LdltFactor {
  std::shared_ptr<const LdltAnalysis> analysis;
  math::LargeArray panel;
  std::vector<double> pivot;
  mutable SpareArray sweepSpace;  ///< of solves, kept between them while it is small beside the factor

  const double* PanelsOf(int s) const { return panel.Data() + analysis->panelStart[s]; }
};

/// Factorises by fronts (Duff, Reid, ACM TOMS 9 (1983) 302-325; Liu, SIAM Review 34 (1992) 82-109).
///
/// The pivot columns of a front are eliminated where L keeps them; only the contribution block lies apart,
/// until the parent has added it. A front sums the matrix terms, then its children's blocks in rising order,
/// then the updates of its pivots panel by panel: bits do not depend on the number of threads.
/// @param value   the terms in the order of the analysed pattern
/// @param factor  its analysis is set; panel and pivot are allocated if they are empty and overwritten
/// @param record  filled also after a failure
LdltStatus FactorizeFronts(const double* value, PivotMode mode, double threshold, int threads,
                           LdltFactor& factor, PivotRecord& record);

}  // namespace sparse
}  // namespace Matrix
}  // namespace Vessa
