// Facts about the machine and process-wide seeding.
#pragma once

#include <cstdint>

namespace platform {

int64_t PageSize();
int64_t ProcessorCount();  // at least 1

// Seeds the C library's random generator with the current time.
void SeedRandomFromTime();

}  // namespace platform
