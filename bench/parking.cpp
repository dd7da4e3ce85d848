// Parking a large skyline on disk: the speed of Write and Read beside dd in the same folder, and what it does
// to memory.
//
// usage: parking [FOLDER] [MEBIBYTES]     (default: the present folder, 1024)
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "solution/CSolnMatrix.h"
#include "support/Silence.h"

namespace {

using namespace Vessa::Matrix;
using Clock = std::chrono::steady_clock;

template <class F>
double Seconds(F f) {
  const Clock::time_point begin = Clock::now();
  f();
  return std::chrono::duration<double>(Clock::now() - begin).count();
}

long PeakKibibytes() {
  rusage usage;
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

// Waits until the file is on the disk and forgets what the system keeps of it in memory.
bool ToDisk(const std::string& name) {
  const int file = open(name.c_str(), O_RDONLY);
  if (file < 0) return false;
  const bool ok = fsync(file) == 0 && posix_fadvise(file, 0, 0, POSIX_FADV_DONTNEED) == 0;
  close(file);
  return ok;
}

// A profile of about `mebibytes`, every column as high as it can be up to 8000 terms.
void Build(CSolnMatrix& k, long mebibytes) {
  const int height = 8000;
  const int n = static_cast<int>(mebibytes * 131072L / height) + height / 2;
  k.SetNumDof(n);
  for (int j = 1; j <= n; ++j) {
    k.AddTerm(j, j, 4.0 + j);
    k.AddTerm(std::max(1, j - height + 1), j, 1.0 / j);
  }
  k.Finalize();
}

bool Dd(const std::string& input, const std::string& output, long mebibytes) {
  const std::string command =
      "dd if='" + input + "' of='" + output + "' bs=1M count=" + std::to_string(mebibytes) + " status=none";
  return std::system(command.c_str()) == 0;
}

void Report(const char* what, double bytes, double seconds, double reference) {
  std::printf("%-6s %8.3f s %8.0f MB/s   dd %8.3f s %8.0f MB/s   ratio to dd %.2f\n", what, seconds,
              bytes / seconds * 1e-6, reference, bytes / reference * 1e-6, seconds / reference);
}

}  // namespace

int main(int argc, char** argv) {
  const std::string folder = argc > 1 ? argv[1] : ".";
  const long mebibytes = argc > 2 ? std::atol(argv[2]) : 1024;
  const std::string name = folder + "/parking.tmp", other = folder + "/parking-dd.tmp";
  CSolnMatrix k;
  double write = 0.0, read = 0.0;
  bool ok = true;
  long before = 0, after = 0;
  {
    const bench::Silence silence;
    Build(k, mebibytes);
    k.Scale(1.0);  // every page is there before the clock starts
    ok = k.OpenFile(name.c_str());
    before = PeakKibibytes();
    write = Seconds([&] { ok = ok && k.Write(false) && ToDisk(name); });
    const double value = k.GetAt(k.NumDof(), k.NumDof());
    k.SetZero();
    k.SetPhase(PhaseAssembled);
    read = Seconds([&] { ok = ok && k.Read(); });
    ok = ok && k.GetAt(k.NumDof(), k.NumDof()) == value;
    after = PeakKibibytes();
    k.CloseFile();
  }
  if (!ok) {
    std::fprintf(stderr, "parking: cannot save and load %ld MiB in %s\n", mebibytes, folder.c_str());
    return 1;
  }
  const double bytes = 8.0 * k.NumTerm();
  const long count = static_cast<long>(bytes / 1048576.0);
  const double ddWrite = Seconds([&] { ok = ok && Dd("/dev/zero", other, count) && ToDisk(other); });
  const double ddRead = Seconds([&] { ok = ok && Dd(other, "/dev/null", count); });
  std::remove(other.c_str());
  if (!ok) {
    std::fprintf(stderr, "parking: dd failed in %s\n", folder.c_str());
    return 1;
  }
  std::printf("%d dofs, %.2f GiB of terms in %s\n", k.NumDof(), bytes / 1073741824.0, folder.c_str());
  Report("write", bytes, write, ddWrite);
  Report("read", bytes, read, ddRead);
  std::printf("memory beside the matrix while parking: %ld KiB\n", after - before);
  return 0;
}
