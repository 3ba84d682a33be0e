// SPDX-License-Identifier: MIT
// One path, many points: the path is read once.
#include "hit_job.h"

#include "error.h"
#include "hit_map.h"
#include "path_reader.h"
#include "picture_writer.h"

#include <tovkit/geometry.h>

namespace jobs {

namespace {

void WriteMap(const HitJob& job, const CorePath& path, Observer& observer) {
  if (path.GetPointCounter() < 0) throw Error(ErrorKind::kInput, job.path.name(), "the path is empty");
  CoreDib map;
  if (!DrawHitMap(path, job.tolerance, job.map->size, observer, map)) {
    throw Error(ErrorKind::kLimit, job.map->output.name(), "not enough memory");
  }
  WritePicture(map, job.map->format, 0, job.map->output);
}

}  // namespace

std::vector<bool> Run(const HitJob& job, Observer& observer) {
  const CorePath path = ReadPath(job.path, job.id, observer);
  std::vector<bool> hits;
  for (const CorePointF point : job.points) {
    hits.push_back(tovkit::HitTestPath(point, job.tolerance, path, 0, job.fill, kCoreFillWinding));
  }
  if (job.map) WriteMap(job, path, observer);
  return hits;
}

}  // namespace jobs
