// (grows with its subsystem)
#pragma once

#include <tovkit/export.h>
