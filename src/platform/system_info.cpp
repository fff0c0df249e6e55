#include "platform/system_info.h"

#include <unistd.h>

#include <cstdlib>
#include <ctime>

namespace platform {

int64_t PageSize() {
  long size = sysconf(_SC_PAGESIZE);
  return size > 0 ? size : 4096;
}

int64_t ProcessorCount() {
  long count = sysconf(_SC_NPROCESSORS_ONLN);
  return count > 0 ? count : 1;
}

void SeedRandomFromTime() { std::srand(static_cast<unsigned>(std::time(nullptr))); }

}  // namespace platform
