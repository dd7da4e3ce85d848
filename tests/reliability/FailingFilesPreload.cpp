// Loaded into the program before it starts: arms the fault that the environment describes.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "FailingFiles.h"

namespace {

/// A program that runs without the fault would look like one that has survived it.
[[noreturn]] void GiveUp(const char* reason) {
  std::fprintf(stderr, "the fault cannot be armed: %s\n", reason);
  _exit(failing_files::kNotArmed);
}

void KeepRecordInFile(const char* path) {
  const int descriptor = open(path, O_RDWR | O_CLOEXEC);
  if (descriptor < 0) GiveUp("the record cannot be opened");
  void* memory =
      mmap(nullptr, sizeof(failing_files::Record), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
  close(descriptor);
  if (memory == MAP_FAILED) GiveUp("the record cannot be mapped");
  failing_files::KeepRecordIn(static_cast<failing_files::Record*>(memory));
}

__attribute__((constructor)) void ArmFromEnvironment() {
  const char* fault = std::getenv("VEMATRIX_FAULT");
  const char* record = std::getenv("VEMATRIX_FAULT_RECORD");
  if (fault == nullptr || record == nullptr) return;
  if (!failing_files::Available()) GiveUp(failing_files::WhyNot());
  const std::string text = fault;
  const std::size_t first = text.find(':'), second = text.find(':', first + 1);
  KeepRecordInFile(record);
  failing_files::Arm(static_cast<failing_files::Fault>(std::stoi(text.substr(0, first))),
                     std::stol(text.substr(first + 1, second - first - 1)), text.substr(second + 1));
}

}  // namespace
