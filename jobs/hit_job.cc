// SPDX-License-Identifier: MIT
// One path, many points: the path is read once.
#include "hit_job.h"

#include "error.h"
#include "hit_map.h"
#include "path_reader.h"
#include "picture_writer.h"

#include <tovkit/geometry.h>

#include <memory>

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
  const std::unique_ptr<bool[]> hits(new bool[job.points.size()]);
  tovkit::HitTestPathPoints(job.points.data(), job.points.size(), job.tolerance, path, job.fill, hits.get());
  if (job.map) WriteMap(job, path, observer);
  return std::vector<bool>(hits.get(), hits.get() + job.points.size());
}

}  // namespace jobs
