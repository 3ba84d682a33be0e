/// \file
/// TOVKIT_API marks what libtovkit.so exports; everything else stays inside it.
#pragma once

#define TOVKIT_API __attribute__((visibility("default")))
