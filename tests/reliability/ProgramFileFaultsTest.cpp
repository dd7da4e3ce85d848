// The program with every one of its file calls failing once, or the disk full: it ends with the documented
// exit code and a line that names the file, leaves whole files only, and says nothing wrong.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "FileFaultSweep.h"
#include "cli/RunProgram.h"

namespace {

using failing_files::Fault;
using test_support::ProgramRun;
using test_support::slurp;
using test_support::TempFolder;

struct FaultyRun : ProgramRun {
  failing_files::Record record;
};

/// Runs the program with a fault on the files below `folder`, where its standard output goes too.
FaultyRun RunWith(Fault fault, long n, const TempFolder& folder, const std::string& arguments) {
  const TempFolder aside;
  aside.Write("record", std::string(sizeof(failing_files::Record), '\0'));
  const char* options = std::getenv("ASAN_OPTIONS");  // the address sanitizer wants to be the first library
  const std::string command =
      "ASAN_OPTIONS='" + std::string(options == nullptr ? "" : options) +
      ":verify_asan_link_order=0' LD_PRELOAD='" VEMATRIX_FAILING_FILES "' VEMATRIX_FAULT='" +
      std::to_string(static_cast<int>(fault)) + ":" + std::to_string(n) + ":" + folder.Path() +
      "' VEMATRIX_FAULT_RECORD='" + aside.Path("record") + "' '" VEMATRIX_PROGRAM "' " + arguments + " >'" +
      folder.Path("out") + "' 2>'" + aside.Path("err") + "'";
  const int status = std::system(command.c_str());
  FaultyRun run;
  run.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  run.err = aside.Read("err");
  const std::string bytes = aside.Read("record");
  bytes.copy(reinterpret_cast<char*>(&run.record), sizeof run.record);
  return run;
}

// ---- Comparing results

bool IsPicture(const std::string& text) {
  return text.compare(0, 4, "\x89PNG") == 0;
}

/// The same words, with numbers the same to nine digits; a picture must be whole.
bool SameText(const std::string& a, const std::string& b) {
  if (IsPicture(b)) return IsPicture(a) && a.size() > 8 && a.compare(a.size() - 8, 4, "IEND") == 0;
  std::istringstream left(a), right(b);
  std::string x, y;
  while (left >> x) {
    if (!(right >> y)) return false;
    if (x == y) continue;
    char *xEnd = nullptr, *yEnd = nullptr;
    const double u = std::strtod(x.c_str(), &xEnd), v = std::strtod(y.c_str(), &yEnd);
    if (*xEnd != '\0' || *yEnd != '\0' || !(std::fabs(u - v) <= 1e-9 * std::fabs(v) + 1e-12)) return false;
  }
  return !(right >> y) && (a.empty() || a.back() == '\n');
}

/// Without the times, which differ from run to run.
void DropTimes(nlohmann::json& node) {
  if (node.is_object()) node.erase("seconds");
  for (nlohmann::json& child : node)
    if (child.is_structured()) DropTimes(child);
}

nlohmann::json Timeless(const std::string& text) {
  nlohmann::json document = nlohmann::json::parse(text, nullptr, false);
  DropTimes(document);
  return document;
}

bool SameOutput(const std::string& a, const std::string& b) {
  return b.compare(0, 1, "{") == 0 ? SameText(Timeless(a).dump(1) + "\n", Timeless(b).dump(1) + "\n")
                                   : SameText(a, b);
}

// ---- One command under all faults

struct Command {
  std::string name, arguments;       ///< "@" stands for the folder
  std::vector<std::string> results;  ///< the files it writes
  bool takesLong = false;            ///< it measures the machine: errors only
};

std::string Expanded(std::string text, const std::string& folder) {
  for (std::size_t at = 0; (at = text.find('@')) != std::string::npos;) text.replace(at, 1, folder);
  return text;
}

class ProgramFileFaults : public ::testing::TestWithParam<Command> {
protected:
  void SetUp() override {
    for (const char* name : {"K.mtx", "M.mtx", "f.mtx", "model.vtu"}) inputs.insert(name);
    ASSERT_EQ(test_support::runProgram("model cantilever:3 -o '" + source.Path() + "'").exitCode, 0);
    MakeInputs(baseline);
    const FaultyRun run = RunWith(Fault::Error, 0, baseline, Arguments(baseline));
    if (run.exitCode == failing_files::kNotArmed) GTEST_SKIP() << run.err;
    ASSERT_EQ(run.exitCode, 0) << run.err;
    ASSERT_GT(run.record.count, 0) << "no file call was met";
  }

  void MakeInputs(const TempFolder& folder) const {
    for (const std::string& name : inputs) folder.Write(name, source.Read(name));
  }
  std::string Arguments(const TempFolder& folder) const {
    return Expanded(GetParam().arguments, folder.Path());
  }
  std::string Output(const TempFolder& folder) const {
    std::string text = folder.Read("out");
    for (std::size_t at = 0; (at = text.find(folder.Path())) != std::string::npos;)
      text.replace(at, folder.Path().size(), "@");
    return text;
  }

  static std::string NameIn(const TempFolder& folder, const std::filesystem::directory_entry& entry) {
    return entry.path().lexically_relative(folder.Path()).string();
  }

  void ExpectWholeFilesOnly(const TempFolder& folder) const {
    std::set<std::string> known = inputs;
    known.insert({"out", "trace"});
    for (const std::string& name : GetParam().results) {
      known.insert(name);
      EXPECT_TRUE(!folder.Exists(name) || SameText(folder.Read(name), baseline.Read(name)))
          << name << " is not whole";
    }
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder.Path()))
      EXPECT_TRUE(entry.is_directory() ||
                  known.count(entry.path().lexically_relative(folder.Path()).string()) == 1)
          << entry.path();
  }

  void ExpectSuccess(const TempFolder& folder) const {
    EXPECT_TRUE(SameOutput(Output(folder), Output(baseline))) << Output(folder) << "\nexpected\n"
                                                              << Output(baseline);
    for (const std::string& name : GetParam().results) EXPECT_TRUE(folder.Exists(name)) << name;
  }

  void ExpectFailureWithAName(const FaultyRun& run, const TempFolder& folder) const {
    const bool output = run.err.find("standard output cannot be") != std::string::npos;
    EXPECT_EQ(run.exitCode, output ? 1 : 2);
    EXPECT_TRUE(output || run.err.find(folder.Path()) != std::string::npos) << run.err;
    EXPECT_EQ(run.err.rfind("vematrix ", 0), 0u) << run.err;
    EXPECT_EQ(run.err.find("Success"), std::string::npos) << run.err;
  }

  /// Whether the program makes no n-th call any more. Where two threads make calls at once, the one with the
  /// number n may be missed; those behind it are still there.
  static bool IsTheEnd(Fault fault, long n, const FaultyRun& run) {
    return fault == Fault::Full || run.record.count < n;
  }

  /// Returns whether there may be further places for this fault.
  bool Try(Fault fault, long n, reliability::Counts& counts) {
    SCOPED_TRACE(std::string(reliability::NameOf(fault)) + ", place " + std::to_string(n));
    const TempFolder folder;
    MakeInputs(folder);
    FaultyRun run = RunWith(fault, n, folder, Arguments(folder));
    for (int again = 0; again < 2 && run.exitCode == failing_files::kNotArmed; ++again)
      run = RunWith(fault, n, folder, Arguments(folder));
    SCOPED_TRACE("fault met in " + std::string(run.record.call) + ", exit code " +
                 std::to_string(run.exitCode));
    ExpectWholeFilesOnly(folder);
    if (run.exitCode == 0)
      ExpectSuccess(folder);
    else
      ExpectFailureWithAName(run, folder);
    if (run.record.delivered == 0) return !IsTheEnd(fault, n, run);
    ++counts.faults;
    ++(run.exitCode == 0 ? counts.done : counts.codes);
    return true;
  }

  TempFolder source, baseline;
  std::set<std::string> inputs;
};

TEST_P(ProgramFileFaults, EndInAnExitCodeAndANameOrInTheWholeResult) {
  reliability::Counts counts;
  long bytes = 0;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(baseline.Path()))
    if (entry.is_regular_file() && inputs.count(NameIn(baseline, entry)) == 0)
      bytes += long(entry.file_size());

  for (const Fault fault : {Fault::Error, Fault::Shrunk, Fault::Short, Fault::Interrupted}) {
    if (fault != Fault::Error && GetParam().takesLong) break;
    for (long n = 1; !HasFailure() && Try(fault, n, counts);) ++n;
  }
  const long step = GetParam().takesLong ? bytes : 1 + bytes / 10;
  for (long room = 0; !HasFailure() && Try(Fault::Full, room, counts);) room += step;

  EXPECT_GT(counts.faults, 5);
  std::cerr << "vematrix " << GetParam().name << ": " << counts.faults << " faults: " << counts.codes
            << " exit codes with the file's name, " << counts.done << " done all the same, 0 wrong\n";
}

INSTANTIATE_TEST_SUITE_P(
    Commands, ProgramFileFaults,
    ::testing::Values(
        Command{
            "model", "model cantilever:3 -o @/new", {"new/K.mtx", "new/M.mtx", "new/f.mtx", "new/model.vtu"}},
        Command{"convert", "convert @/K.mtx @/new.mtx", {"new.mtx"}},
        Command{"solve",
                "solve @/K.mtx --rhs @/f.mtx -o @/x.mtx --mesh @/model.vtu --vtu-output "
                "@/x.vtu --picture @/x.png --json",
                {"x.mtx", "x.vtu", "x.png"}},
        Command{"solve with a trace", "solve @/K.mtx --trace @/trace --json", {}},
        Command{"modes",
                "modes @/K.mtx @/M.mtx --count 2 -o @/v.mtx --vtu @/model.vtu --vtu-output "
                "@/v.vtu "
                "--history @/h.png --json --threads 1 --engine own",
                {"v.mtx", "v.vtu", "h.png"},
                true},
        Command{"eig", "eig @/K.mtx --count 2 -o @/v.mtx --json --threads 1 --engine own", {"v.mtx"}},
        Command{"cond", "cond @/K.mtx --json", {}}, Command{"info", "info @/K.mtx --json", {}, true},
        Command{"doctor", "doctor @/K.mtx @/M.mtx --mesh @/model.vtu --json", {}},
        Command{"manual", "manual", {}}),
    [](const auto& info) {
      std::string name = info.param.name;
      for (char& c : name) c = c == ' ' ? '_' : c;
      return name;
    });

// ---- Standard streams that are full or closed

int ExitOf(const std::string& arguments) {
  const int status = std::system(("'" VEMATRIX_PROGRAM "' " + arguments).c_str());
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

class StandardStreams : public ::testing::Test {
protected:
  void SetUp() override {
    if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "no /dev/full on this system";
    ASSERT_EQ(test_support::runProgram("model cantilever:3 -o '" + folder.Path() + "'").exitCode, 0);
  }
  std::string Quoted(const std::string& name) const { return "'" + folder.Path(name) + "'"; }
  TempFolder folder;
};

TEST_F(StandardStreams, ErrorOutputFullOrClosedDoesNotChangeTheExitCode) {
  for (const std::string stream : {"2>/dev/full", "2>&-"}) {
    EXPECT_EQ(ExitOf("solve " + Quoted("none") + " >/dev/null " + stream), 2) << stream;
    EXPECT_EQ(ExitOf("solve --no-such-option >/dev/null " + stream), 2) << stream;
    EXPECT_EQ(ExitOf("solve " + Quoted("K.mtx") + " >/dev/null " + stream), 0) << stream;
  }
}

TEST_F(StandardStreams, OutputFullOrClosedIsTold) {
  for (const std::string command :
       {"--help", "--version", "solve --help", "manual", "completion", "manual --json"}) {
    EXPECT_EQ(ExitOf(command + " >/dev/full 2>" + Quoted("err")), 1) << command;
    EXPECT_NE(folder.Read("err").find("standard output cannot be"), std::string::npos) << command;
    EXPECT_EQ(ExitOf(command + " >&- 2>" + Quoted("err")), 1) << command;
    EXPECT_NE(folder.Read("err").find("standard output cannot be"), std::string::npos) << command;
  }
}

TEST_F(StandardStreams, ClosedOnesAreNotTakenByTheFilesOfTheProgram) {
  ASSERT_EQ(ExitOf("convert " + Quoted("K.mtx") + " " + Quoted("whole.mtx") + " >/dev/null"), 0);

  EXPECT_EQ(ExitOf("convert " + Quoted("K.mtx") + " " + Quoted("new.mtx") + " >/dev/null 2>&- <&-"), 0);
  EXPECT_EQ(folder.Read("new.mtx"), folder.Read("whole.mtx"));
  EXPECT_EQ(ExitOf("convert " + Quoted("none") + " " + Quoted("new.mtx") + " >/dev/null 2>&- <&-"), 2);
  EXPECT_EQ(folder.Read("new.mtx"), folder.Read("whole.mtx"));
}

TEST_F(StandardStreams, TraceThatCannotBeWrittenIsTold) {
  EXPECT_EQ(ExitOf("solve " + Quoted("K.mtx") + " --trace /dev/full >/dev/null 2>" + Quoted("err")), 2);
  EXPECT_NE(folder.Read("err").find("/dev/full: the trace cannot be written to its end"), std::string::npos)
      << folder.Read("err");
}

}  // namespace
