// Direct solvers side by side on the same matrices in one run.
//
//   direct_solvers [--threads 2] [--runs 3] [--solvers own,pardiso,cholmod,mumps]
//                  [--clock wall|cpu] [--json results.json] model...
//
// Each solver is a process of its own (direct_solver_<name>, beside this program). They hold the same matrix
// and take turns: every phase is run once by each before it is run again, so that a disturbance hits all of
// them. Printed are medians and, in brackets, the ratio to PARDISO (below 1: faster). --clock cpu takes the
// processor time instead of the elapsed time: on a machine that others use too it still compares solvers at
// one thread. Models: those of vematrix_models, "brick:20".
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <thread>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Matrix.h"
#include "models/Registry.h"

namespace {
namespace fs = std::filesystem;
using bench::SymmetricMatrix;

SymmetricMatrix Assemble(const vematrix::models::Model& model) {
  struct Term {
    int row;
    double value;
  };
  std::vector<std::vector<Term>> columns(static_cast<std::size_t>(model.numDofs()));
  model.assembleStiffness([&](int i, int j, double v) {
    columns[std::min(i, j) - 1].push_back({std::max(i, j) - 1, v});
  });
  SymmetricMatrix a;
  a.n = model.numDofs();
  a.start.push_back(0);
  for (std::vector<Term>& column : columns) {
    std::stable_sort(column.begin(), column.end(),
                     [](const Term& x, const Term& y) { return x.row < y.row; });
    for (const Term& t : column) {
      if (static_cast<int>(a.row.size()) > a.start.back() && a.row.back() == t.row) {
        a.value.back() += t.value;
      } else {
        a.row.push_back(t.row);
        a.value.push_back(t.value);
      }
    }
    a.start.push_back(static_cast<int>(a.row.size()));
    column = {};
  }
  return a;
}

/// A solver's process and the two pipes to it.
class PeerProcess {
public:
  PeerProcess(const fs::path& program, const std::string& matrix, int threads) {
    int down[2], up[2];
    if (pipe2(down, O_CLOEXEC) || pipe2(up, O_CLOEXEC)) throw std::runtime_error("pipe failed");
    m_pid = fork();
    if (m_pid < 0) throw std::runtime_error("fork failed");
    if (m_pid == 0) {
      dup2(down[0], 0);
      dup2(up[1], 1);
      SetEnvironment(threads);
      execl(program.c_str(), program.c_str(), matrix.c_str(), std::to_string(threads).c_str(), nullptr);
      _exit(127);
    }
    close(down[0]);
    close(up[1]);
    m_in.reset(fdopen(up[0], "r"));
    m_out.reset(fdopen(down[1], "w"));
    Receive();
  }
  ~PeerProcess() {
    m_out.reset();
    m_in.reset();
    waitpid(m_pid, nullptr, 0);
  }
  PeerProcess(const PeerProcess&) = delete;
  PeerProcess& operator=(const PeerProcess&) = delete;

  std::vector<double> Ask(const std::string& command) {
    std::fprintf(m_out.get(), "%s\n", command.c_str());
    std::fflush(m_out.get());
    std::istringstream answer(Receive());
    std::vector<double> numbers;
    for (double v; answer >> v;) numbers.push_back(v);
    return numbers;
  }

private:
  /// Threads for every library that a peer may use; idle ones must not spin while another solver works.
  static void SetEnvironment(int threads) {
    const std::string count = std::to_string(threads);
    for (const char* name : {"OMP_NUM_THREADS", "MKL_NUM_THREADS", "OPENBLAS_NUM_THREADS"})
      setenv(name, count.c_str(), 1);
    if (__builtin_cpu_supports("avx512f")) setenv("OPENBLAS_CORETYPE", "SkylakeX", 0);
  }

  std::string Receive() {
    std::string line;
    for (int c; (c = std::fgetc(m_in.get())) != EOF && c != '\n';) line.push_back(static_cast<char>(c));
    if (line.compare(0, 3, "ok ") != 0)
      throw std::runtime_error(line.empty() ? "the solver's process ended" : line);
    return line.substr(3);
  }

  pid_t m_pid;
  bench::File m_in, m_out;
};

struct Options {
  int threads = 2, runs = 3;
  std::vector<std::string> solvers = {"own", "pardiso", "cholmod", "mumps"}, models;
  std::string json;
  bool cpu = false;
};

/// Timings of one solver on one model: phase → seconds of each run.
struct Record {
  std::string solver;
  std::map<std::string, std::vector<double>> seconds;
  double terms = 0.0, operations = 0.0, peakMb = 0.0, error = 0.0;
  bool refines = false;
  std::string failure;

  double Median(const std::string& phase) const {
    const auto found = seconds.find(phase);
    if (found == seconds.end() || found->second.empty()) return 0.0;
    std::vector<double> s = found->second;
    std::sort(s.begin(), s.end());
    return s[s.size() / 2];
  }
};

/// A failure of one solver ends its part and is reported with the others' results.
void Run(PeerProcess& peer, Record& record, const std::string& phase, bool cpu) {
  if (!record.failure.empty()) return;
  try {
    record.seconds[phase].push_back(peer.Ask(phase).at(cpu ? 1 : 0));
    if (phase == "factor" && record.operations == 0.0) {
      const std::vector<double> facts = peer.Ask("facts");
      record.terms = facts.at(0);
      record.operations = facts.at(1);
      record.peakMb = facts.at(2);
      record.refines = facts.at(4) != 0.0;
    }
  } catch (const std::exception& e) {
    record.failure = phase + ": " + e.what();
  }
  std::this_thread::sleep_for(std::chrono::milliseconds(20));  // let idle worker threads fall asleep
}

std::vector<Record> Compare(const Options& options, const fs::path& folder, const std::string& matrix) {
  std::vector<Record> records;
  std::vector<std::unique_ptr<PeerProcess>> peers;
  for (const std::string& name : options.solvers) {
    const fs::path program = folder / ("direct_solver_" + name);
    if (!fs::exists(program)) continue;
    peers.push_back(std::make_unique<PeerProcess>(program, matrix, options.threads));
    records.emplace_back();
    records.back().solver = name;
  }
  const auto turn = [&](const std::string& phase, int runs, bool refine) {
    for (int run = 0; run < runs; ++run)
      for (std::size_t p = 0; p < peers.size(); ++p)
        if (!refine || records[p].refines) Run(*peers[p], records[p], phase, options.cpu);
  };
  turn("analyse", options.runs, false);
  turn("factor", options.runs, false);
  for (const char* phase : {"solve 1", "solve 20"}) turn(phase, std::max(5, options.runs), false);
  for (const char* phase : {"refine 1", "refine 20"}) turn(phase, options.runs, true);
  for (std::size_t p = 0; p < peers.size(); ++p)
    if (records[p].failure.empty()) records[p].error = peers[p]->Ask("facts").at(3);
  return records;
}

std::string WithRatio(double value, double base, const char* format) {
  char text[64], ratio[32] = "";
  std::snprintf(text, sizeof text, format, value);
  if (base > 0.0) std::snprintf(ratio, sizeof ratio, " (%.2f)", value / base);
  return std::string(text) + ratio;
}

void Print(const std::string& model, const SymmetricMatrix& a, const Options& options,
           const std::vector<Record>& records) {
  std::printf("\n### %s: %d dof, %zu terms, %d thread%s%s\n\n", model.c_str(), a.n, a.row.size(),
              options.threads, options.threads == 1 ? "" : "s", options.cpu ? ", processor time" : "");
  std::printf(
      "| solver | analysis s | factorisation s | GF/s | solve 1 ms | solve 20 ms | refined 1 / 20 ms | "
      "nnz(L) M | GFlop | peak MB | backward error |\n|---|---|---|---|---|---|---|---|---|---|---|\n");
  Record none;
  const auto base =
      std::find_if(records.begin(), records.end(), [](const Record& r) { return r.solver == "pardiso"; });
  const Record& reference = base == records.end() ? none : *base;
  for (const Record& r : records) {
    if (!r.failure.empty()) {
      std::printf("| %s | failed: %s |\n", r.solver.c_str(), r.failure.c_str());
      continue;
    }
    const auto cell = [&](const char* phase, double unit, const char* format) {
      return WithRatio(r.Median(phase) * unit, reference.Median(phase) * unit, format);
    };
    std::string refined = "-";
    if (r.refines) refined = cell("refine 1", 1e3, "%.1f") + " / " + cell("refine 20", 1e3, "%.1f");
    std::printf("| %s | %s | %s | %.1f | %s | %s | %s | %.2f | %.2f | %s | %.1e |\n", r.solver.c_str(),
                cell("analyse", 1.0, "%.3f").c_str(), cell("factor", 1.0, "%.4f").c_str(),
                r.operations / r.Median("factor") * 1e-9, cell("solve 1", 1e3, "%.2f").c_str(),
                cell("solve 20", 1e3, "%.2f").c_str(), refined.c_str(), r.terms * 1e-6, r.operations * 1e-9,
                WithRatio(r.peakMb, reference.peakMb, "%.0f").c_str(), r.error);
  }
  std::fflush(stdout);
}

nlohmann::json ToJson(const std::string& model, const SymmetricMatrix& a, const Options& options,
                      const std::vector<Record>& records) {
  nlohmann::json out = {{"model", model},
                        {"dof", a.n},
                        {"terms", a.row.size()},
                        {"threads", options.threads},
                        {"clock", options.cpu ? "cpu" : "wall"}};
  for (const Record& r : records) {
    nlohmann::json one = {{"solver", r.solver},  {"nnz_L", r.terms},          {"operations", r.operations},
                          {"peak_mb", r.peakMb}, {"backward_error", r.error}, {"seconds", r.seconds}};
    if (!r.failure.empty()) one["failure"] = r.failure;
    out["solvers"].push_back(one);
  }
  return out;
}

std::string CpuName() {
  std::ifstream file("/proc/cpuinfo");
  for (std::string line; std::getline(file, line);)
    if (line.compare(0, 10, "model name") == 0) return line.substr(line.find(':') + 2);
  return "unknown processor";
}

void PrintMachine() {
  std::printf("%s, %u cores, %s\n", CpuName().c_str(), std::thread::hardware_concurrency(),
              __builtin_cpu_supports("avx512f") ? "AVX-512"
              : __builtin_cpu_supports("avx2")  ? "AVX2"
                                                : "no AVX2");
}

std::vector<std::string> Split(const std::string& list) {
  std::vector<std::string> items;
  std::istringstream in(list);
  for (std::string item; std::getline(in, item, ',');) items.push_back(item);
  return items;
}

Options ReadOptions(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg.compare(0, 2, "--") != 0) {
      options.models.push_back(arg);
      continue;
    }
    if (i + 1 == argc) throw std::invalid_argument(arg + ": expected a value");
    const std::string value = argv[++i];
    if (arg == "--threads")
      options.threads = std::max(1, std::atoi(value.c_str()));
    else if (arg == "--runs")
      options.runs = std::max(1, std::atoi(value.c_str()));
    else if (arg == "--solvers")
      options.solvers = Split(value);
    else if (arg == "--clock" && (value == "wall" || value == "cpu"))
      options.cpu = value == "cpu";
    else if (arg == "--json")
      options.json = value;
    else
      throw std::invalid_argument(arg +
                                  ": expected --threads, --runs, --solvers, --clock wall|cpu or --json");
  }
  if (options.models.empty()) options.models = {"brick:20", "bar:10:80", "plate:100:100", "shell:70:70"};
  return options;
}

/// The matrix file of a model, gone when the model is done.
class ScratchFile {
public:
  ScratchFile()
      : m_path(fs::temp_directory_path() / ("direct_solvers." + std::to_string(getpid()) + ".matrix")) {}
  ~ScratchFile() {
    std::error_code ignored;
    fs::remove(m_path, ignored);
  }
  std::string Path() const { return m_path.string(); }

private:
  fs::path m_path;
};

int Main(int argc, char** argv) {
  const Options options = ReadOptions(argc, argv);
  const fs::path folder = fs::canonical("/proc/self/exe").parent_path();
  PrintMachine();
  for (const std::string& name : options.solvers)
    if (!fs::exists(folder / ("direct_solver_" + name)))
      std::printf("%s: left out, this build has no direct_solver_%s\n", name.c_str(), name.c_str());
  nlohmann::json all = nlohmann::json::array();
  for (const std::string& model : options.models) {
    const SymmetricMatrix a = Assemble(vematrix::models::makeModel(model));
    const ScratchFile scratch;
    bench::WriteMatrix(scratch.Path(), a);
    const std::vector<Record> records = Compare(options, folder, scratch.Path());
    Print(model, a, options, records);
    all.push_back(ToJson(model, a, options, records));
  }
  if (!options.json.empty()) {
    std::ofstream file(options.json);
    file << nlohmann::json{{"cpu", CpuName()}, {"models", all}}.dump(1) << '\n';
    if (!file.flush()) throw std::runtime_error(options.json + ": cannot be written");
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Main(argc, argv);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "direct_solvers: %s\n", e.what());
    return 2;
  }
}
