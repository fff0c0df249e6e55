// The few facts about the terminal that the tool needs; the only operating-system calls of xqt
// outside the standard library.
#pragma once

#include <cstdio>

namespace xqt::tool {

// Whether `stream` is connected to a terminal (progress is drawn only there).
bool IsTerminal(FILE* stream);

}  // namespace xqt::tool
