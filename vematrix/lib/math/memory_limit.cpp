#include "memory_limit.h"

#include <algorithm>
#include <exception>
#include <fstream>
#include <limits>
#include <sstream>
#if defined(__linux__)
#include <sys/resource.h>
#include <unistd.h>
#endif

namespace Vessa {
namespace Matrix {
namespace math {
namespace {

constexpr std::int64_t kUnlimited = std::numeric_limits<std::int64_t>::max();

/// The number in a one-line file such as a control group's memory.max; negative when there is none.
std::int64_t NumberIn(const std::string& fileName) {
  std::ifstream file(fileName);
  std::int64_t number = -1;
  return file >> number ? number : -1;
}

/// The number behind `key` in a file of lines "key number"; 0 without such a line.
std::int64_t NumberBehind(const std::string& fileName, const std::string& key) {
  std::ifstream file(fileName);
  std::string name;
  std::int64_t number = 0;
  while (file >> name >> number) {
    if (name == key) return number;
  }
  return 0;
}

/// The file names of one version of the memory control groups.
struct GroupFiles {
  const char* limit;
  const char* use;
  const char* inactivePages;
  const char* activePages;
  const char* mappedPages;
};
constexpr GroupFiles kVersion1{"/memory.limit_in_bytes", "/memory.usage_in_bytes", "total_inactive_file",
                               "total_active_file", "total_mapped_file"};
constexpr GroupFiles kVersion2{"/memory.max", "/memory.current", "inactive_file", "active_file",
                               "file_mapped"};

std::int64_t AvailableIn(const std::string& folder, const GroupFiles& files) {
  const std::int64_t limit = NumberIn(folder + files.limit), use = NumberIn(folder + files.use);
  if (limit < 0 || use < 0) return kUnlimited;
  const std::string statistics = folder + "/memory.stat";
  // Pages that are mapped, as those of libraries, are in use although they are pages of files.
  const std::int64_t ofFiles =
      NumberBehind(statistics, files.inactivePages) + NumberBehind(statistics, files.activePages);
  const std::int64_t droppable =
      std::max<std::int64_t>(0, ofFiles - NumberBehind(statistics, files.mappedPages));
  return std::max<std::int64_t>(0, limit - std::max<std::int64_t>(0, use - droppable));
}

/// The least of a group and all groups above it, up to the mount point. A group that is not to be seen from
/// here (in a container) counts as unlimited; the mount point then shows the container's own.
std::int64_t AvailableUpwards(const std::string& mount, std::string group, const GroupFiles& files) {
  std::int64_t available = kUnlimited;
  while (!group.empty() && group != "/") {
    available = std::min(available, AvailableIn(mount + group, files));
    group.resize(group.find_last_of('/') == std::string::npos ? 0 : group.find_last_of('/'));
  }
  return std::min(available, AvailableIn(mount, files));
}

#if defined(__linux__)
/// MemAvailable of the machine in bytes; unlimited when it cannot be read.
std::int64_t MachineMemory() {
  std::ifstream file("/proc/meminfo");
  std::string name;
  std::int64_t kilobytes = 0;
  while (file >> name >> kilobytes) {
    if (name == "MemAvailable:") return kilobytes * 1024;
    file.ignore(100, '\n');
  }
  return kUnlimited;
}

/// Bytes of address space in use by this process.
std::int64_t AddressSpaceInUse() {
  const std::int64_t pages = NumberIn("/proc/self/statm");
  return pages < 0 ? 0 : pages * sysconf(_SC_PAGESIZE);
}
#endif

}  // namespace

std::int64_t AvailableGroupMemory(const std::string& root, const std::string& groups) {
  std::int64_t available = kUnlimited;
  std::ifstream file(groups);
  for (std::string line; std::getline(file, line);) {  // "4:memory:/group" or, version 2, "0::/group"
    const std::size_t first = line.find(':');
    const std::size_t second = first == std::string::npos ? first : line.find(':', first + 1);
    if (second == std::string::npos) continue;
    const std::string controllers = "," + line.substr(first + 1, second - first - 1) + ",";
    const std::string group = line.substr(second + 1);
    if (controllers == ",,") {
      available = std::min({available, AvailableUpwards(root, group, kVersion2),
                            AvailableUpwards(root + "/unified", group, kVersion2)});
    } else if (controllers.find(",memory,") != std::string::npos) {
      available = std::min(available, AvailableUpwards(root + "/memory", group, kVersion1));
    }
  }
  return available;
}

std::int64_t AvailableAddressSpace() {
#if defined(__linux__)
  rlimit limit;
  if (getrlimit(RLIMIT_AS, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY) {
    return std::max<std::int64_t>(0, static_cast<std::int64_t>(limit.rlim_cur) - AddressSpaceInUse());
  }
#endif
  return kUnlimited;
}

std::int64_t AvailableMemory() noexcept {
#if defined(__linux__)
  try {
    return std::min({MachineMemory(), AvailableGroupMemory("/sys/fs/cgroup", "/proc/self/cgroup"),
                     AvailableAddressSpace()});
  } catch (const std::exception&) {  // no memory even to read the files
  }
#endif
  return kUnlimited;
}

std::string ShortageText(const std::string& what, std::int64_t wanted, std::int64_t available) {
  constexpr std::int64_t megabyte = 1000000;
  std::ostringstream text;
  text << what << " needs " << wanted / megabyte + (wanted % megabyte != 0 ? 1 : 0) << " MB, ";
  if (available == kUnlimited)
    text << "which the system did not give";
  else
    text << "this process may take " << available / megabyte << " MB more";
  return text.str();
}

void RequireMemory(const char* what, std::int64_t bytes) {
  if (bytes < kAskFirst) return;
  const std::int64_t available = AvailableMemory();
  if (bytes > available) throw OutOfMemory(ShortageText(what, bytes, available));
}

}  // namespace math
}  // namespace Matrix
}  // namespace Vessa
