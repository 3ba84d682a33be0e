// Text, path and file helpers, and what a client can ask about the library itself.
//
// Thread-safety: every function may be called from any thread unless its comment says otherwise.
//
//   std::printf("tovkit %s\n", tovkit::GetLibraryVersion());
#pragma once

#include <tovkit/export.h>

namespace tovkit {

// The version of the library, "5.0.23.1211.2158". A static text; every call gives the same pointer.
TOVKIT_API const char* GetLibraryVersion();

}  // namespace tovkit
