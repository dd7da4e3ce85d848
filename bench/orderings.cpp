// The fill-reducing orders beside each other: operations of the factorisation and time.
//
//   orderings [--threads 2] [--runs 5] brick:20 plate:182:182 ...
//
// Lowest of several interleaved runs: processor time on one thread, elapsed time on more. "analysis" is all
// of it, from the pattern to the tree that the factorisation follows, with the order that wins there.
#include <time.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <functional>
#include <string>
#include <vector>

#include "models/Registry.h"
#include "sparse/analysis/CompressedGraph.h"
#include "sparse/analysis/LdltAnalysis.h"

using namespace Vessa::Matrix::sparse;

namespace {

struct Pattern {
  int n = 0;
  std::vector<int> start, row;
};

/// Lower triangle by columns, 0-based.
Pattern PatternOf(const vematrix::models::Model& model) {
  std::vector<std::vector<int>> columns(model.numDofs());
  model.assembleStiffness(
      [&](int i, int j, double) { columns[std::min(i, j) - 1].push_back(std::max(i, j) - 1); });
  Pattern p;
  p.n = model.numDofs();
  p.start.push_back(0);
  for (std::vector<int>& column : columns) {
    std::sort(column.begin(), column.end());
    column.erase(std::unique(column.begin(), column.end()), column.end());
    p.row.insert(p.row.end(), column.begin(), column.end());
    p.start.push_back(static_cast<int>(p.row.size()));
  }
  return p;
}

double Now(int threads) {
  timespec t;
  clock_gettime(threads > 1 ? CLOCK_MONOTONIC : CLOCK_PROCESS_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

struct Candidate {
  const char* name;
  std::function<void()> run;
  double seconds = 1e300;
};

void Compare(const std::string& name, int threads, int runs) {
  const Pattern p = PatternOf(vematrix::models::makeModel(name));
  const Graph graph = CompressGraph(p.n, p.start.data(), p.row.data()).graph;
  std::vector<int> degree, own, metis;
  LdltAnalysis analysis;
  std::vector<Candidate> candidates = {
      {"minimum degree", [&] { OrderByMinimumDegree(graph, degree); }},
      {"METIS", [&] { OrderByMetis(graph, 1, metis); }},
      {"own dissection", [&] { OrderByNestedDissection(graph, 1, threads, own); }},
      {"analysis",
       [&] {
         analysis = LdltAnalysis();
         AnalysePattern(p.n, p.start.data(), p.row.data(), Triangle::Lower, threads, analysis);
       }},
  };
  for (int run = 0; run < runs; ++run) {
    for (Candidate& candidate : candidates) {
      const double start = Now(threads);
      candidate.run();
      candidate.seconds = std::min(candidate.seconds, Now(threads) - start);
    }
  }
  std::printf("%s: %d dofs, %d groups, %zu neighbours, %d threads\n", name.c_str(), p.n, graph.n,
              graph.neighbour.size(), threads);
  const std::vector<int>* order[] = {&degree, &metis, &own};
  for (std::size_t k = 0; k < candidates.size(); ++k) {
    const double operations = k < 3 ? CountFactor(graph, BuildEliminationTree(graph, *order[k])).operations
                                    : analysis.prediction.operations;
    std::printf("  %-16s %9.3f ms  %.4e operations  %s\n", candidates[k].name, 1e3 * candidates[k].seconds,
                operations, k < 3 ? "" : analysis.prediction.ordering.c_str());
  }
}

}  // namespace

int main(int argc, char** argv) {
  int threads = 1, runs = 5;
  try {
    for (int k = 1; k < argc; ++k) {
      const std::string word = argv[k];
      if (word == "--threads" && k + 1 < argc)
        threads = std::max(1, std::atoi(argv[++k]));
      else if (word == "--runs" && k + 1 < argc)
        runs = std::max(1, std::atoi(argv[++k]));
      else
        Compare(word, threads, runs);
    }
  } catch (const std::exception& e) {
    std::fprintf(stderr, "orderings: %s\n", e.what());
    return 1;
  }
  return 0;
}
