#include "image_job.h"

#include "picture_reader.h"
#include "picture_writer.h"

#include <tovkit/imaging.h>

#include <memory>

namespace jobs {

void Run(const ImageJob& job, Observer& observer) {
  PictureReader reader(job.picture);
  reader.CheckFrame(job.frame);
  observer.PictureOpened(reader.format(), reader.info());
  if (!job.target) return;
  const std::unique_ptr<CoreDib> bitmap = reader.ReadFrame(job.frame);
  for (const CoreRect& rect : job.erased) tovkit::DeleteRectDib(bitmap.get(), rect);
  WritePicture(*bitmap, job.target->format, job.target->quality, job.target->output, job.target->effort);
}

}  // namespace jobs
