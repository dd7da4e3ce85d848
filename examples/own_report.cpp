// A host with its own report: every message of the library in the host's own log, and trouble named in its
// own terms.
//
// The structure is a frame with one dof that nothing holds. The skyline suppresses it and says which; PARDISO
// fails.
#include <cstdio>
#include <string>
#include <vector>

#include "models/structures/Structures.h"
#include "solution/CSolnMatrix.h"

using namespace Vessa::Matrix;
namespace models = vematrix::models;

namespace {

// What a host makes of a CReport: it takes over the entries and empties the report, whose status stays.
class HostLog {
public:
  CReport& report() { return m_report; }
  void drain(const char* during) {
    if (!m_report.Note().empty()) m_lines.push_back(std::string(during) + ": " + m_report.Note());
    for (int i = 0; i < m_report.NumLog(); ++i)
      m_lines.push_back(std::string(during) + (m_report.LogStatus(i) >= 2 ? ": ERROR " : ": notice ") +
                        m_report.LogMessage(i));
    m_report.Clear();
  }
  const std::vector<std::string>& lines() const { return m_lines; }

private:
  CReport m_report;
  std::vector<std::string> m_lines;
};

int reduceWith(SolMethod method, const models::Model& model, HostLog& log, std::vector<int>& zeroDofs) {
  CSolnMatrix K;
  K.SetMethod(method);  // before SetLog, which hands the report to the engine of the method
  K.SetLog(&log.report());
  K.SetNumDof(model.numDofs());
  model.assembleStiffness([&](int i, int j, double v) { K.AddTerm(i, j, v); });
  K.Finalize();
  log.drain("assembly");
  const int code = K.Reduce(OptStiffness, zeroDofs);
  log.drain("reduction");
  CVector u(model.loads(0));
  K.BackSubstitute(u);
  log.drain("solution");
  return code;
}

}  // namespace

int main() {
  // 1. A frame with a loose dof.
  models::Model model = models::spaceFrame({2, 2, 3});
  const int loose = models::addLooseDof(model);

  // 2. The skyline: code -5, the dof in the list, and a finite solution for the rest.
  HostLog log;
  std::vector<int> zeroDofs;
  const int skyline = reduceWith(SolSkyline, model, log, zeroDofs);
  std::printf("skyline: code %d\n", skyline);
  for (int dof : zeroDofs) std::printf("  nothing holds dof %d, %s\n", dof, model.describeDof(dof).c_str());

  // 3. PARDISO: no list, but a code; the solution that was asked for all the same ends in a note.
  std::vector<int> none;
  const int pardiso = reduceWith(SolPardiso, model, log, none);
  std::printf("PARDISO: code %d\n", pardiso);

  // 4. All of it is in the host's log.
  bool noted = false, refused = false;
  for (const std::string& line : log.lines()) {
    std::printf("  log: %s\n", line.c_str());
    noted |= line == "reduction: Reducing Stiffness Matrix";
    refused |= line.find("Error solving for right hand side") != std::string::npos;
  }
  const bool good = skyline == -5 && zeroDofs == std::vector<int>{loose} && pardiso < 0 && none.empty() &&
                    noted && refused && log.report().NumLog() == 0;
  return good ? 0 : 1;
}
