#include "FailingFiles.h"

#if defined(__linux__) && defined(__x86_64__) && defined(__GLIBC__)
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>

#include <cerrno>
#include <cstring>
#include <vector>

#include "SystemCalls.h"

namespace failing_files {
namespace {

using system_calls::Address;
using system_calls::Call;
using system_calls::Word;

// ---- Which calls, and how they name their file

enum class Names { Descriptor, Path, PathAt };

struct Watched {
  long number;
  const char* name;
  Names names;
  bool writes;  ///< a full disk is the reason to fail
  bool moves;   ///< moves data
};

constexpr Watched kWatched[] = {
    {SYS_read, "read", Names::Descriptor, false, true},
    {SYS_readv, "readv", Names::Descriptor, false, true},
    {SYS_write, "write", Names::Descriptor, true, true},
    {SYS_writev, "writev", Names::Descriptor, true, true},
    {SYS_lseek, "lseek", Names::Descriptor, false, false},
    {SYS_fstat, "fstat", Names::Descriptor, false, false},
    {SYS_close, "close", Names::Descriptor, true, false},
    {SYS_open, "open", Names::Path, false, false},
    {SYS_openat, "openat", Names::PathAt, false, false},
    {SYS_newfstatat, "newfstatat", Names::PathAt, false, false},
    {SYS_rename, "rename", Names::Path, true, false},
    {SYS_mkdir, "mkdir", Names::Path, true, false},
    {SYS_unlink, "unlink", Names::Path, false, false},
    {SYS_unlinkat, "unlinkat", Names::PathAt, false, false},
};

// ---- State; changed by Arm and Disarm, read in the handler

Record ownRecord;
Record* record = &ownRecord;
volatile bool armed = false;
Fault fault = Fault::Error;
long failAt = 0;
long long room = 0;
char folder[4096];
std::size_t folderLength = 0;

bool Below(const char* path) {
  return std::strncmp(path, folder, folderLength) == 0 &&
         (path[folderLength] == '\0' || path[folderLength] == '/');
}

/// Whether a link of /proc/self leads into the folder.
bool LinkBelow(const char* link) {
  char target[4096];
  const Word length = Call(SYS_readlink, Address(link), Address(target), sizeof target - 1);
  if (length <= 0) return false;
  target[length] = '\0';
  return Below(target);
}

/// Writes "/proc/self/fd/<descriptor>".
void LinkOf(Word descriptor, char (&link)[64]) {
  char digits[24];
  int count = 0;
  do digits[count++] = static_cast<char>('0' + descriptor % 10);
  while ((descriptor /= 10) > 0);
  std::strcpy(link, "/proc/self/fd/");
  char* at = link + std::strlen(link);
  while (count > 0) *at++ = digits[--count];
  *at = '\0';
}

bool DescriptorBelow(Word descriptor) {
  char link[64];
  if (descriptor < 0) return false;
  LinkOf(descriptor, link);
  return LinkBelow(link);
}

bool Concerns(const Watched& call, const Word* argument) {
  if (call.names == Names::Descriptor) return DescriptorBelow(argument[0]);
  const char* path = reinterpret_cast<const char*>(argument[call.names == Names::PathAt ? 1 : 0]);
  if (path == nullptr) return false;
  if (*path == '\0') return DescriptorBelow(argument[0]);
  return *path == '/' ? Below(path) : LinkBelow("/proc/self/cwd");
}

void Deliver(const Watched& call) {
  record->delivered = 1;
  std::strncpy(record->call, call.name, sizeof record->call - 1);
}

bool Creates(const Watched& call, const Word* argument) {
  const int flags = static_cast<int>(argument[call.names == Names::PathAt ? 2 : 1]);
  return (call.number == SYS_open || call.number == SYS_openat) && (flags & O_ACCMODE) != O_RDONLY;
}

// ---- What a caller sees

Word Pass(const Watched& call, const Word* a) {
  return Call(call.number, a[0], a[1], a[2], a[3], a[4], a[5]);
}

/// Moves at most `most` bytes; of a list of blocks only the first that is not empty.
Word Move(const Watched& call, const Word* a, long long most) {
  Word block = a[1], length = a[2];
  if (call.number == SYS_readv || call.number == SYS_writev) {
    const iovec* list = reinterpret_cast<const iovec*>(a[1]);
    for (Word k = 0; k < a[2]; ++k) {
      block = Address(list[k].iov_base);
      length = static_cast<Word>(list[k].iov_len);
      if (length > 0) break;
    }
  }
  const bool reads = call.number == SYS_read || call.number == SYS_readv;
  return Call(reads ? SYS_read : SYS_write, a[0], block, length < most ? length : most);
}

Word WriteWhatFits(const Watched& call, const Word* a) {
  Word wanted = a[2];
  if (call.number == SYS_writev) {
    wanted = 0;
    for (Word k = 0; k < a[2]; ++k) wanted += Word(reinterpret_cast<const iovec*>(a[1])[k].iov_len);
  }
  Word moved = 0;
  if (wanted <= room) {
    moved = Pass(call, a);
  } else {
    Deliver(call);
    if (room == 0) return -ENOSPC;
    moved = Move(call, a, room);
  }
  if (moved > 0) room -= moved;
  return moved;
}

Word Fail(const Watched& call, const Word* a) {
  if (call.number == SYS_close) Pass(call, a);  // the descriptor is gone whatever close says
  return call.writes || Creates(call, a) ? -ENOSPC : -EIO;
}

void CutToHalf(Word descriptor) {
  struct stat status;
  if (Call(SYS_fstat, descriptor, Address(&status)) != 0) return;
  char link[64];
  LinkOf(descriptor, link);
  Call(SYS_truncate, Address(link), status.st_size / 2);
}

Word Answer(const Watched& call, const Word* a) {
  const bool dataOnly = fault == Fault::Short || fault == Fault::Interrupted;
  if (!Concerns(call, a) || (dataOnly && !call.moves)) return Pass(call, a);
  if (fault == Fault::Shrunk && (!call.moves || call.writes)) return Pass(call, a);
  if (fault == Fault::Full) return call.moves && call.writes ? WriteWhatFits(call, a) : Pass(call, a);
  if (++record->count != failAt) return Pass(call, a);
  Deliver(call);
  if (fault == Fault::Short) return Move(call, a, 1);
  if (fault == Fault::Interrupted) return -EINTR;
  if (fault == Fault::Error) return Fail(call, a);
  CutToHalf(a[0]);
  return Pass(call, a);
}

Word OnCall(long number, const Word* arguments) {
  for (const Watched& call : kWatched)
    if (call.number == number) return armed ? Answer(call, arguments) : Pass(call, arguments);
  return -ENOSYS;
}

const char* Install() {
  std::vector<long> numbers;
  for (const Watched& call : kWatched) numbers.push_back(call.number);
  return system_calls::Install(numbers, OnCall);
}

}  // namespace

const char* WhyNot() {
  static const char* const reason = Install();
  return reason;
}

void Arm(Fault kind, long n, const std::string& path) {
  fault = kind;
  failAt = n;
  room = n;
  folderLength = path.copy(folder, sizeof folder - 1);
  folder[folderLength] = '\0';
  *record = Record();
  armed = true;
}

}  // namespace failing_files

#else

namespace failing_files {
namespace {
Record ownRecord;
Record* record = &ownRecord;
bool armed = false;
}  // namespace

const char* WhyNot() {
  return "faults of files are injected on Linux with glibc on x86-64 only";
}
void Arm(Fault, long, const std::string&) {}

}  // namespace failing_files

#endif

namespace failing_files {

bool Available() {
  return WhyNot() == nullptr;
}

long Disarm() {
  armed = false;
  return record->count;
}

bool Delivered() {
  return record->delivered != 0;
}

std::string Where() {
  return record->call;
}

void KeepRecordIn(Record* other) {
  record = other;
}

}  // namespace failing_files
