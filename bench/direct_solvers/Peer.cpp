#include "Peer.h"

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <exception>
#include <fstream>
#include <functional>
#include <iostream>
#include <sstream>

namespace bench {
namespace {

double Now() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

double CpuNow() {
  return static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
}

/// Elapsed seconds and the processor seconds of all threads.
struct Duration {
  double wall, cpu;
};

Duration Measure(const std::function<void()>& work) {
  const double wall = Now(), cpu = CpuNow();
  work();
  return {Now() - wall, CpuNow() - cpu};
}

std::ostream& operator<<(std::ostream& out, const Duration& d) {
  return out << d.wall << ' ' << d.cpu;
}

/// A line of /proc/self/status in megabytes; 0 where there is none.
double StatusMb(const char* key) {
  std::ifstream file("/proc/self/status");
  std::string line;
  while (std::getline(file, line))
    if (line.compare(0, std::strlen(key), key) == 0)
      return std::atof(line.c_str() + std::strlen(key) + 1) * 1024.0 / 1e6;
  return 0.0;
}

class Session {
public:
  Session(const SymmetricMatrix& a, DirectSolver& solver) : m_a(a), m_solver(solver) {
    for (int i = 0; i < 20 * m_a.n; ++i) m_b.push_back(1.0 + i % 7);
    m_x.resize(m_b.size());
    m_before = StatusMb("VmRSS");
  }

  std::string Answer(const std::string& command) {
    std::istringstream in(command);
    std::string word;
    int count = 1;
    in >> word >> count;
    std::ostringstream out;
    out.precision(9);
    out << "ok ";
    if (word == "analyse")
      out << Measure([&] { m_solver.Analyse(); });
    else if (word == "factor")
      out << Factor();
    else if (word == "solve" || word == "refine")
      out << Solve(count, word == "refine");
    else if (word == "facts")
      out << m_solver.FactorTerms() << ' ' << m_solver.Operations() << ' ' << m_peak << ' ' << m_error << ' '
          << m_solver.CanRefine();
    else
      return "error unknown command " + command;
    return out.str();
  }

private:
  Duration Factor() {
    const Duration time = Measure([&] { m_solver.Factorize(); });
    if (m_peak == 0.0) m_peak = StatusMb("VmHWM") - m_before;  // after the first analysis and factorisation
    return time;
  }

  Duration Solve(int count, bool refine) {
    if (count < 1 || count > 20) throw std::runtime_error("solve: expected 1 to 20 vectors");
    const Duration time = Measure([&] { m_solver.Solve(m_b.data(), m_x.data(), count, refine); });
    const std::size_t last = static_cast<std::size_t>(count - 1) * static_cast<std::size_t>(m_a.n);
    m_error = std::max(m_error, BackwardError(m_a, m_x.data() + last, m_b.data() + last));
    return time;
  }

  const SymmetricMatrix& m_a;
  DirectSolver& m_solver;
  std::vector<double> m_b, m_x;
  double m_before = 0.0, m_peak = 0.0, m_error = 0.0;
};

}  // namespace

int RunPeer(int argc, char** argv, DirectSolver& solver) {
  if (argc != 3) {
    std::cerr << argv[0]
              << ": expected a matrix file and a number of threads; direct_solvers starts this program\n";
    return 2;
  }
  try {
    const SymmetricMatrix a = ReadMatrix(argv[1]);
    solver.Bind(a, std::atoi(argv[2]));
    Session session(a, solver);
    std::cout << "ok ready" << std::endl;
    for (std::string command; std::getline(std::cin, command) && command != "quit";)
      std::cout << session.Answer(command) << std::endl;
    return 0;
  } catch (const std::exception& e) {
    std::cout << "error " << e.what() << std::endl;
    return 1;
  }
}

}  // namespace bench
