/// \file
/// TOVMX_API marks what libtovmx.so exports; everything else stays inside it.
#pragma once

#define TOVMX_API __attribute__((visibility("default")))
