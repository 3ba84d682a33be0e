#include "tovkit/util.h"

namespace tovkit {

const char* GetLibraryVersion() { return TOVKIT_VERSION_TEXT; }

}  // namespace tovkit
