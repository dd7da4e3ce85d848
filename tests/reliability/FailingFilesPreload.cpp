// Loaded into the program before it starts: arms the fault that the environment describes.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "FailingFiles.h"

namespace {

void KeepRecordInFile(const char* path) {
  const int descriptor = open(path, O_RDWR | O_CLOEXEC);
  if (descriptor < 0) return;
  void* memory =
      mmap(nullptr, sizeof(failing_files::Record), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
  close(descriptor);
  if (memory != MAP_FAILED) failing_files::KeepRecordIn(static_cast<failing_files::Record*>(memory));
}

__attribute__((constructor)) void ArmFromEnvironment() {
  const char* fault = std::getenv("VEMATRIX_FAULT");
  const char* record = std::getenv("VEMATRIX_FAULT_RECORD");
  if (fault == nullptr || record == nullptr || !failing_files::Available()) return;
  const std::string text = fault;
  const std::size_t first = text.find(':'), second = text.find(':', first + 1);
  KeepRecordInFile(record);
  failing_files::Arm(static_cast<failing_files::Fault>(std::stoi(text.substr(0, first))),
                     std::stol(text.substr(first + 1, second - first - 1)), text.substr(second + 1));
}

}  // namespace
