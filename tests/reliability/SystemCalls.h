#pragma once
#include <cstdint>
#include <vector>

/// System calls of this process turned into a function call. Linux on x86-64 with glibc only.
///
/// A filter of the kernel (seccomp) sends SIGSYS for the calls of a list that are made from the code of the C
/// library; the handler asks `Answer` what the caller shall see. The filter stays for the life of the
/// process, in the threads started after it, and a child that executes another program must not be started
/// any more.
namespace system_calls {

using Word = long long;

/// What the caller sees: the result of the call, or minus an error number. Runs in a signal handler.
using Answer = Word (*)(long number, const Word* arguments);

/// Installs the filter; null when that succeeded, else the reason.
const char* Install(const std::vector<long>& numbers, Answer answer);

/// A system call that the filter lets pass.
Word Call(Word number, Word a = 0, Word b = 0, Word c = 0, Word d = 0, Word e = 0, Word f = 0);

inline Word Address(const void* p) {
  return static_cast<Word>(reinterpret_cast<std::uintptr_t>(p));
}

}  // namespace system_calls
