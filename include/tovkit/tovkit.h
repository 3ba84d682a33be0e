// SPDX-License-Identifier: MIT
/// \file
/// Everything that libtovkit.so exports.
#pragma once

#include <tovkit/convert.h>
#include <tovkit/export.h>
#include <tovkit/geometry.h>
#include <tovkit/imaging.h>
#include <tovkit/json.h>
#include <tovkit/system.h>
#include <tovkit/util.h>
