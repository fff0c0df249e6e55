// Facts about the machine and process-wide seeding.
#pragma once

#include <cstdint>

namespace platform {

// The granularity at which a file can be mapped: the page size on Linux and macOS, the allocation
// granularity (64 KiB) on Windows.
int64_t MappingGranularity();
int64_t ProcessorCount();  // at least 1

// Seeds the C library's random generator with the current time.
void SeedRandomFromTime();

}  // namespace platform
