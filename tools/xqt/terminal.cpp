#include "terminal.h"

#include <unistd.h>

namespace xqt::tool {

bool IsTerminal(FILE* stream) { return stream && isatty(fileno(stream)) == 1; }

}  // namespace xqt::tool
