// Builds without cairo and gd (Windows): their pictures cannot be made, and tests that need them
// report themselves skipped.
#include "host/picture_stores.h"

namespace xqt::host {

std::unique_ptr<PixelStore> MakeCairoStore(int64_t, int64_t, bool) { return nullptr; }
std::unique_ptr<PixelStore> MakeGdStore(int64_t, int64_t, bool, bool) { return nullptr; }
bool HasPictureLibraries() { return false; }

}  // namespace xqt::host
