// SPDX-License-Identifier: MIT
/// \file
/// What libtovmx.so exports is marked by TOVMX_API; everything else stays inside it.
#pragma once

/// Marks an exported class or function.
#define TOVMX_API __attribute__((visibility("default")))
