#pragma once
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>
#include "../../sparse/LdltTypes.h"
#include "../../sparse/analysis/PanelLayout.h"
#include "../../sparse/analysis/Supernodes.h"

namespace Vessa {
namespace Matrix {
namespace sparse {

/// A piece of the elimination tree that one thread handles without asking the others.
struct TreeTask {
  int begin = 0, end = 0;  ///< supernodes; whole subtrees side by side, or one supernode near the root
  int parent = -1;         ///< the task that needs the results; −1 for none
  int numChildren = 0;     ///< tasks this one waits for
  bool single = false;     ///< one supernode whose children are other tasks' roots
};

/// Everything about a matrix that follows from its pattern: the order of elimination, the shape of the
/// factor, where every stored term goes, the tasks, the cost. Immutable once built; factors point to it.
struct LdltAnalysis {
  int n = 0;
  Triangle triangle = Triangle::Lower;
  std::vector<int> patternStart, patternRow;  ///< the pattern as given

  std::vector<int> dofOf;  ///< dof (0-based) eliminated at step k
  Supernodes tree;
  std::vector<TreeTask> tasks;  ///< in a postorder

  /// A task hands values to its ancestors through an area of its own, so that tasks never write to the same
  /// place: the rows of a task's topmost supernodes (its roots) are steps outerRow[outerStart[s] + i],
  /// outside the task, and everywhere in their subtrees tree.row holds n + position in outerRow instead of
  /// such a step.
  std::vector<int> outerStart;  ///< by supernode; −1 for one that is no root of a task
  std::vector<int> outerRow;

  /// Rows of supernode s as steps, for a root of a task, and the rows as its subtree names them, for any
  /// other.
  const int* RowsAsChild(int s) const {
    return outerStart[s] >= 0 ? outerRow.data() + outerStart[s] : tree.RowsOf(s);
  }
  /// Rows of s in the names that the rows of its children have.
  const int* RowsAsParent(int s) const { return HasOuterChildren(s) ? RowsAsChild(s) : tree.RowsOf(s); }
  bool HasOuterChildren(int s) const {
    return tree.childStart[s] < tree.childStart[s + 1] && outerStart[tree.child[tree.childStart[s]]] >= 0;
  }
  /// The step of a row as tree.row names it.
  int StepOf(int row) const { return row < n ? row : outerRow[row - n]; }

  /// The terms of supernode s are [termStart[s], termStart[s+1]): value[termSource] is added to the stored
  /// panel columns of s at offset termTarget.
  std::vector<int> termStart;
  std::vector<int> termSource;
  std::vector<std::uint32_t> termTarget;

  std::vector<std::int64_t> panelStart;  ///< supernodes+1 offsets of the stored columns in the factor's array
  LdltPrediction prediction;

  std::int64_t stackDoubles = 0;        ///< the stack of contribution blocks at its highest, one thread
  std::vector<std::int64_t> taskStack;  ///< the same within each task, largest first
};

/// What a factorisation takes at its highest beside the analysis, in bytes.
struct FactorizationMemory {
  std::int64_t resident;      ///< pages written to: the factor fills as the stack of blocks rises and falls
  std::int64_t addressSpace;  ///< what is mapped: the whole factor from the beginning
};
/// An estimate: one thread's stack as it is, and for every further thread that of the largest task besides.
FactorizationMemory MemoryOfFactorization(const LdltAnalysis& a, int threads);

/// How an analysis ends: result is set only with Ok.
struct AnalysisOutcome {
  LdltStatus status = LdltStatus::Ok;
  std::string message;
};

/// Checks the arrays (see SymmetricLdlt::Analyse) and does all of it.
AnalysisOutcome AnalysePattern(int n, const int* columnStart, const int* row, Triangle triangle, int threads,
                               LdltAnalysis& result);

/// What of an analysis cannot be found again from the pattern: enough to restore it from a file.
struct AnalysisSeed {
  std::vector<int> dofOf;        ///< as in LdltAnalysis
  std::vector<int> firstColumn;  ///< as in Supernodes
  std::vector<int> parent;       ///< as in Supernodes
  std::int64_t factorTerms = 0;
  double operations = 0.0;
};

/// Rebuilds the analysis from its seed. BadInput when the seed does not fit the pattern.
AnalysisOutcome RestoreAnalysis(int n, const int* columnStart, const int* row, Triangle triangle,
                                const AnalysisSeed& seed, LdltAnalysis& result);

}  // namespace sparse
}  // namespace Matrix
}  // namespace Vessa
