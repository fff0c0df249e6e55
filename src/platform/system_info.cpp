#include "platform/system_info.h"

#include <cstdlib>
#include <ctime>

namespace platform {

void SeedRandomFromTime() { std::srand(static_cast<unsigned>(std::time(nullptr))); }

}  // namespace platform
