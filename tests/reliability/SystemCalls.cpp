#include "SystemCalls.h"

#if defined(__linux__) && defined(__x86_64__) && defined(__GLIBC__)
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <ucontext.h>

#include <link.h>
#include <signal.h>

#include <cstddef>
#include <cstring>

namespace system_calls {

// Made here and not by the C library: the filter does not mind it.
Word Call(Word number, Word a, Word b, Word c, Word d, Word e, Word f) {
  register Word r10 __asm__("r10") = d;
  register Word r8 __asm__("r8") = e;
  register Word r9 __asm__("r9") = f;
  Word result = number;
  __asm__ volatile("syscall"
                   : "+a"(result)
                   : "D"(a), "S"(b), "d"(c), "r"(r10), "r"(r8), "r"(r9)
                   : "rcx", "r11", "memory");
  return result;
}

namespace {

Answer answerOf = nullptr;

void OnTrap(int, siginfo_t* info, void* context) {
  greg_t* registers = static_cast<ucontext_t*>(context)->uc_mcontext.gregs;
  const Word arguments[6] = {registers[REG_RDI], registers[REG_RSI], registers[REG_RDX],
                             registers[REG_R10], registers[REG_R8],  registers[REG_R9]};
  registers[REG_RAX] = answerOf(info->si_syscall, arguments);
}

struct CodeRange {
  std::uint64_t from = 0, to = 0;
};

int FindCLibrary(dl_phdr_info* info, std::size_t, void* found) {
  if (std::strstr(info->dlpi_name, "/libc.so") == nullptr) return 0;
  for (int k = 0; k < info->dlpi_phnum; ++k) {
    const ElfW(Phdr)& segment = info->dlpi_phdr[k];
    if (segment.p_type != PT_LOAD || (segment.p_flags & PF_X) == 0) continue;
    CodeRange& range = *static_cast<CodeRange*>(found);
    range.from = info->dlpi_addr + segment.p_vaddr;
    range.to = range.from + segment.p_memsz;
    return 1;
  }
  return 0;
}

std::uint32_t High(std::uint64_t address) {
  return static_cast<std::uint32_t>(address >> 32);
}
std::uint32_t Low(std::uint64_t address) {
  return static_cast<std::uint32_t>(address);
}

std::vector<sock_filter> Filter(const CodeRange& range, const std::vector<long>& numbers) {
  constexpr std::uint32_t pointer = offsetof(seccomp_data, instruction_pointer);
  const auto load = [](std::size_t offset) {
    return sock_filter{BPF_LD | BPF_W | BPF_ABS, 0, 0, static_cast<std::uint32_t>(offset)};
  };
  const auto unless = [](std::uint16_t test, std::uint32_t value, bool skipIfTrue) {
    return sock_filter{static_cast<std::uint16_t>(BPF_JMP | test | BPF_K),
                       static_cast<std::uint8_t>(skipIfTrue), static_cast<std::uint8_t>(!skipIfTrue), value};
  };
  const sock_filter pass = {BPF_RET | BPF_K, 0, 0, SECCOMP_RET_ALLOW};
  const sock_filter trap = {BPF_RET | BPF_K, 0, 0, SECCOMP_RET_TRAP};
  std::vector<sock_filter> filter = {load(offsetof(seccomp_data, arch)),
                                     unless(BPF_JEQ, AUDIT_ARCH_X86_64, true),
                                     pass,
                                     load(pointer + 4),
                                     unless(BPF_JEQ, High(range.from), true),
                                     pass,
                                     load(pointer),
                                     unless(BPF_JGE, Low(range.from), true),
                                     pass,
                                     unless(BPF_JGE, Low(range.to), false),
                                     pass,
                                     load(offsetof(seccomp_data, nr))};
  for (const long number : numbers) {
    filter.push_back(unless(BPF_JEQ, static_cast<std::uint32_t>(number), false));
    filter.push_back(trap);
  }
  filter.push_back(pass);
  return filter;
}

}  // namespace

const char* Install(const std::vector<long>& numbers, Answer answer) {
  CodeRange range;
  dl_iterate_phdr(FindCLibrary, &range);
  if (range.to == 0) return "the C library was not found among the loaded ones";
  if (High(range.from) != High(range.to)) return "the C library lies across a border of 4 GiB";
  answerOf = answer;
  struct sigaction action = {};
  action.sa_sigaction = OnTrap;
  action.sa_flags = SA_SIGINFO | SA_NODEFER | SA_RESTART;
  if (sigaction(SIGSYS, &action, nullptr) != 0) return "the signal handler was refused";
  std::vector<sock_filter> filter = Filter(range, numbers);
  const sock_fprog program = {static_cast<unsigned short>(filter.size()), filter.data()};
  if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
      prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0)
    return "the kernel refused the filter for system calls (seccomp)";
  return nullptr;
}

}  // namespace system_calls

#endif
