// The program's command line, run in this process in a folder of its own: real commands and options with
// sensible and senseless arguments. Whatever comes, the exit code is a documented one, a failure says why, a
// document is JSON and repeats the code, a solution that counts as good has a small residual, only files in
// the folder change, nothing unfinished stays behind, and what is too large is refused.
#include <fcntl.h>

#include <cmath>
#include <ctime>
#include <filesystem>
#include <map>

#include "CapturedOutput.h"
#include "ProgramArguments.h"
#include "ReaderChecks.h"
#include "cli/Commands.h"
#include "cli/Program.h"
#include "models/Registry.h"
#include "models/io/HarwellBoeingReader.h"
#include "models/io/VtuMesh.h"

namespace {

namespace files = std::filesystem;
using namespace vematrix;
using fuzz::contradiction;

constexpr double kLongest =
    60.0;  // seconds of processor time, for what takes milliseconds without sanitizers

/// The folder in which commands run, with input files that are put back after each.
class Workspace {
public:
  Workspace() : m_outer(m_folder.Path()), m_home(m_outer / "work") {
    files::create_directory(m_home);
    m_start = ::open(".", O_RDONLY | O_DIRECTORY);
    const models::Model beam = models::makeModel("cantilever:1");
    models::writeMatrixMarket(path("K.mtx"), beam.stiffnessTerms());
    models::writeMatrixMarket(path("M.mtx"), beam.massTerms());
    models::writeVtu(path("model.vtu"), models::toVtuMesh(beam));
    models::writeVtu(path("other.vtu"), models::toVtuMesh(models::makeModel("truss:2")));
    models::writeDenseColumns(path("f.mtx"), Eigen::MatrixXd::Identity(beam.numDofs(), 2));
    const std::string banner = "%%MatrixMarket matrix coordinate real symmetric\n";
    write("S.mtx", banner + "3 3 5\n1 1 1\n2 1 -1\n2 2 2\n3 2 -1\n3 3 1\n");
    write("I.mtx", banner + "4 4 5\n1 1 2\n2 1 3\n2 2 -1\n3 3 0.5\n4 4 -7\n");
    write("scale.mtx", banner + "3 3 4\n1 1 1e300\n2 1 1e-300\n2 2 1e-300\n3 3 5e-324\n");
    write("one.mtx", banner + "1 1 1\n1 1 4\n");
    write("huge.mtx", banner + "2147483646 2147483646 1\n1 1 1\n");
    write("empty.mtx", "");
    write("P.mtx", "%%MatrixMarket matrix coordinate pattern symmetric\n4 4 3\n2 1\n3 2\n4 3\n");
    write("H.rsa",
          "chain\n 3 1 1 1\nrsa 2 2 3 0\n(3I3)           (4I2)           (4E8.1)             \n"
          "  1  3  4\n 1 2 2\n     2.0    -1.0     2.0\n");
    write("G.mtx.gz", std::string("\x1f\x8b\x08\x00", 4));
    files::create_directory(m_home / "folder");
    for (const auto& entry : files::directory_iterator(m_home))
      if (entry.is_regular_file()) m_inputs[entry.path().filename().string()] = stateOf(entry.path());
  }
  ~Workspace() { ::close(m_start); }

  void enter() const { files::current_path(m_home); }
  void leave() const {
    if (::fchdir(m_start) != 0) contradiction("the way back");
  }

  /// Looks at what a run has left, and puts the inputs back.
  void tidy() {
    if (std::distance(files::directory_iterator(m_outer), files::directory_iterator()) != 1)
      contradiction("a file outside the folder");
    std::vector<files::path> left;
    for (const auto& entry : files::recursive_directory_iterator(m_home)) {
      if (entry.path().extension() == ".part") contradiction("an unfinished file is left");
      if (m_inputs.count(entry.path().filename().string()) == 0 && entry.path() != m_home / "folder")
        left.push_back(entry.path());
    }
    for (const auto& path : left) files::remove_all(path);
    for (auto& [name, state] : m_inputs) {
      std::error_code missing;
      if (files::last_write_time(m_home / name, missing) == state.time && !missing) continue;
      files::remove_all(m_home / name);
      write(name, state.bytes);
      state.time = files::last_write_time(m_home / name);
    }
  }

  std::string path(const std::string& name) const { return (m_home / name).string(); }

private:
  struct State {
    std::string bytes;
    files::file_time_type time;
  };
  State stateOf(const files::path& file) const {
    return {m_folder.Read("work/" + file.filename().string()), files::last_write_time(file)};
  }
  void write(const std::string& name, const std::string& bytes) const {
    m_folder.Write("work/" + name, bytes);
  }

  test_support::TempFolder m_folder;
  files::path m_outer, m_home;
  int m_start = -1;
  std::map<std::string, State> m_inputs;
};

struct Run {
  std::vector<std::string> arguments;
  int code = -1;
  std::string out, err;

  bool has(const std::string& argument) const {
    for (const std::string& a : arguments)
      if (a.compare(0, argument.size(), argument) == 0) return true;
    return false;
  }
  std::string commandLine() const {
    std::string text;
    for (const std::string& a : arguments) text += " '" + a + "'";
    return text;
  }
  [[noreturn]] void fail(const char* what) const {
    contradiction("%s: code %d of vematrix%s\n%s%s", what, code, commandLine().c_str(), out.c_str(),
                  err.c_str());
  }
};

void execute(Run& run) {
  static fuzz::CapturedOutput capture;
  std::vector<char*> argv;
  std::string name = "vematrix";
  argv.push_back(&name[0]);
  std::vector<std::string> copies = run.arguments;
  for (std::string& argument : copies) argv.push_back(&argument[0]);
  argv.push_back(nullptr);
  const std::clock_t start = std::clock();
  capture.begin();
  std::string thrown;
  try {
    cli::Program program;
    cli::addCommands(program);
    run.code = program.run(static_cast<int>(argv.size()) - 1, argv.data());
  } catch (const std::exception& error) {
    thrown = std::string("an exception: ") + error.what();
  }
  capture.end(run.out, run.err);
  if (!thrown.empty()) run.fail(thrown.c_str());
  if (double(std::clock() - start) > kLongest * CLOCKS_PER_SEC) run.fail("a small request takes a minute");
}

/// With --json the output of a command is one document, which repeats its exit code.
void checkDocument(const Run& run) {
  const auto document = nlohmann::json::parse(run.out, nullptr, false);
  if (!document.is_object() || document.value("exit_code", -1) != run.code)
    run.fail("the document is none, or has another exit code");
  if (run.code == 1 && document.value("error", "").empty() && document.value("ok", true))
    run.fail("a document that does not say why");
  if (document.contains("ok") && document["ok"].get<bool>() != (run.code == 0))
    run.fail("\"ok\" of the document");
}

/// The first solution that was written solves K x = 1, when that is what was asked for.
void checkSolution(const Run& run, const std::string& matrix, const std::string& solution) {
  const models::SymmetricTerms terms = models::readSymmetricMatrix(matrix);
  const models::DenseColumns x = models::readDenseColumns(solution);
  if (x.rows != terms.n) run.fail("a solution of another size");
  std::vector<long double> residual(std::size_t(terms.n), -1.0L), rows(std::size_t(terms.n), 0.0L);
  long double normX = 0, normK = 0, normR = 0;
  const auto add = [&](int i, int j, double v) {
    residual[std::size_t(i) - 1] += static_cast<long double>(v) * x.value[std::size_t(j) - 1];
    rows[std::size_t(i) - 1] += std::fabs(v);
  };
  terms.forEach([&](int i, int j, double v) {
    add(i, j, v);
    if (i != j) add(j, i, v);
  });
  for (std::size_t i = 0; i < residual.size(); ++i) {
    normX = std::max(normX, std::fabs(static_cast<long double>(x.value[i])));
    normK = std::max(normK, rows[i]);
    normR = std::max(normR, std::fabs(residual[i]));
  }
  if (!(normR <= 1e-11L * (normK * normX + 1.0L)))
    run.fail("a solution that counts as good has a large residual");
}

void check(const Run& run, const Workspace& workspace) {
  if (run.code < 0 || run.code > 2) run.fail("an undocumented exit code");
  const std::string command = run.arguments.empty() ? "" : run.arguments.front();
  const bool parsed =
      run.err.compare(0, 10 + command.size(), "vematrix " + command + ":") == 0 || run.err.empty();
  const bool help =
      run.out.find("vematrix [OPTIONS]") != std::string::npos || run.out.find("Usage:") != std::string::npos;
  if (run.code == 2 && run.err.empty()) run.fail("misuse without a message");
  if (run.code == 1 && run.err.empty() && run.out.empty()) run.fail("a failure without a word");
  if (run.code == 0 && !run.err.empty()) run.fail("a message with success");
  if (run.has("--json") && parsed && !help && !run.out.empty()) checkDocument(run);
  if (run.code == 1 && run.err.empty() && !run.has("--json") &&
      run.out.find("must not be trusted") == std::string::npos)
    run.fail("a failure that does not say so");
  if (run.code != 0 || command != "solve" || run.has("--rhs") || run.has("--load") || run.has("--pattern"))
    return;
  for (std::size_t k = 2; k + 1 < run.arguments.size(); ++k)
    if (run.arguments[k] == "-o" && run.arguments[k + 1] == "x.mtx" && files::exists(workspace.path("x.mtx")))
      return checkSolution(run, workspace.path(run.arguments[1]), workspace.path("x.mtx"));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Workspace workspace;
  fuzz::Choices choices(data, size);
  Run run;
  run.arguments = fuzz::drawCommandLine(choices);
  workspace.enter();
  execute(run);
  workspace.leave();
  check(run, workspace);
  workspace.tidy();
  return 0;
}
