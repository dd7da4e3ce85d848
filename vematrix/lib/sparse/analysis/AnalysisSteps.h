#pragma once
#include <vector>
#include "../../sparse/analysis/LdltAnalysis.h"

namespace Vessa {
namespace Matrix {
namespace sparse {

// The steps of AnalysePattern and RestoreAnalysis, in the order in which they are taken. Each fills the
// members that it names from the pattern, dofOf, the tree and the steps before it.

/// Step at which each dof is eliminated: the inverse of a.dofOf.
std::vector<int> StepsOf(const LdltAnalysis& a);

/// Supernode that eliminates each step.
std::vector<int> SupernodesOf(const LdltAnalysis& a);

/// Takes dofOf, columns and parents from a seed and finds the rest of the tree; false when they are no
/// elimination of the pattern.
bool RestoreTree(const AnalysisSeed& seed, LdltAnalysis& a);

/// termStart, termSource, termTarget: sorts the terms by the supernode whose columns they belong to and finds
/// their place there; false when a front has more places than termTarget can count.
bool PlaceTerms(LdltAnalysis& a);

/// tasks: cuts the tree, near the root one task per supernode, below whole subtrees of a thirty-second of the
/// work at most.
void CutIntoTasks(LdltAnalysis& a);

/// outerStart, outerRow: gives every root of a task its area and renames the rows of its subtree that lie
/// outside; false when they outnumber an int.
bool LocaliseRows(LdltAnalysis& a);

/// stackDoubles, taskStack and the sizes of the prediction.
void PredictMemory(LdltAnalysis& a);

}  // namespace sparse
}  // namespace Matrix
}  // namespace Vessa
