// Runnable: a unit of work and its "finished" flag.
#include <tovkit/system.h>

#include "shared_field.h"

namespace tovkit {

Runnable::Runnable() : finished(false) {}

Runnable::~Runnable() = default;

int Runnable::Task() {
  StoreShared(finished, false);
  run();
  StoreShared(finished, true);
  return 0;
}

bool Runnable::isFinished() const { return LoadShared(finished); }

}  // namespace tovkit
