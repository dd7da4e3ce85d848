#pragma once
#include <string>

/// Makes the n-th system call on the files of one folder fail, or the disk under it full.
///
/// The calls are met where they leave the C library, so it does not matter whether a stream, a stream buffer
/// or a plain descriptor is behind them: a filter of the kernel (seccomp) turns them into a signal, and the
/// handler decides what the caller sees. Descriptors are told by the path they lead to, whoever opened or
/// copied them. The filter stays for the life of the process. Linux on x86-64 with glibc only.
namespace failing_files {

enum class Fault {
  Error,        ///< the call fails: no space for what writes, creates or renames, an input error for the rest
  Short,        ///< the n-th read or write moves a single byte and succeeds
  Interrupted,  ///< the n-th read or write is interrupted (EINTR) before it moves anything
  Shrunk,       ///< before the n-th read somebody cuts the file to half of its length
  Full          ///< after n bytes more the disk is full: a write moves what fits, the next one nothing
};

/// Installs the filter at the first call. False where that is not possible; WhyNot() then says why.
bool Available();
const char* WhyNot();

/// From now on count the calls on files at or below `folder` (an absolute path) and deliver the fault.
void Arm(Fault fault, long n, const std::string& folder);

/// Back to normal. Returns the number of calls counted since Arm.
long Disarm();

/// Whether the armed fault has been delivered, and to which system call.
bool Delivered();
std::string Where();

/// In a process started with FailingFilesPreload in LD_PRELOAD the same is armed by two variables of the
/// environment: VEMATRIX_FAULT="<fault as a number>:<n>:<folder>", and VEMATRIX_FAULT_RECORD, a file of
/// the size of a Record that receives it while the process runs. Where that is not possible the process ends
/// at once with the exit code kNotArmed and a line that says why.
constexpr int kNotArmed = 125;

struct Record {
  long count = 0;      ///< calls met
  long delivered = 0;  ///< 1 once the fault was delivered
  char call[24] = "";  ///< to which call
};

/// Where the record is kept from now on.
void KeepRecordIn(Record* record);

}  // namespace failing_files
