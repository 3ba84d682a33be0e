// SPDX-License-Identifier: MIT
// Read, change, write, through the streams of the core.
#include "image_job.h"

#include "picture_reader.h"
#include "picture_writer.h"

#include <memory>

namespace jobs {

void Run(const ImageJob& job, Observer& observer) {
  PictureReader reader(job.picture);
  reader.CheckFrame(job.frame);
  observer.PictureOpened(reader.format(), reader.info());
  if (!job.target) return;
  const std::unique_ptr<CoreDib> bitmap = reader.ReadFrame(job.frame);
  if (!job.steps.empty()) {
    Apply(job.steps, *bitmap, reader.ReadOrientation(job.frame), job.picture.name());
  }
  WritePicture(*bitmap, job.target->format, job.target->quality, job.target->output, job.target->effort);
}

}  // namespace jobs
