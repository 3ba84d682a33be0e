// SPDX-License-Identifier: MIT
// An encoder over the output of a job.
#include "picture_writer.h"

#include "error.h"

namespace jobs {

void EncodePicture(const CoreDib& picture, CoreImageFormat format, int quality, const std::string& place,
                   OutputWriter& writer, int effort) {
  const auto encoder = CoreCodecRegistry::Get().GetFactory().CreateEncoder(format);
  encoder->SetQuality(quality);
  if (effort != 0) CoreSetEffort(encoder.get(), effort);
  const bool encoded = encoder->Encode(&picture, &writer.stream()) != 0;
  // If writing failed, the system's reason (a full disk) is the better message.
  writer.Close();
  if (!encoded) {
    throw Error(ErrorKind::kOutput, place,
                std::string(CoreImageFormatName(format)) + " cannot hold a picture of " +
                    std::to_string(picture.GetWidth()) + " x " + std::to_string(picture.GetHeight()) +
                    " pixels");
  }
}

void WritePicture(const CoreDib& picture, CoreImageFormat format, int quality, const Output& output,
                  int effort) {
  OutputWriter writer(output);
  EncodePicture(picture, format, quality, output.name(), writer, effort);
  writer.Commit();
}

}  // namespace jobs
