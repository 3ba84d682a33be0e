// SPDX-License-Identifier: MIT
/// \file
/// What libtovkit.so exports is marked by TOVKIT_API; everything else stays inside it.
#pragma once

/// Marks an exported class or function.
#define TOVKIT_API __attribute__((visibility("default")))
