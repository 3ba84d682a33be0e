#include "picture_output.h"

#include "job_error.h"
#include "output_format.h"

namespace cli {

void WritePicture(const std::string& file, CoreImageFormat format, int quality, const CoreDib& picture,
                  OutputStream& output) {
  const auto encoder = CoreCodecRegistry::Get().GetFactory().CreateEncoder(format);
  encoder->SetQuality(quality);
  const bool encoded = encoder->Encode(&picture, &output.bytes()) != 0;
  // A full disk is the better reason.
  output.Close();
  if (!encoded) {
    throw JobError(OutputName(file) + ": " + CoreImageFormatName(format) + " cannot hold a picture of " +
                   std::to_string(picture.GetWidth()) + " x " + std::to_string(picture.GetHeight()) +
                   " pixels");
  }
}

void WritePicture(const std::string& file, CoreImageFormat format, int quality, const CoreDib& picture) {
  OutputStream output(file);
  WritePicture(file, format, quality, picture, output);
  output.Commit();
}

}  // namespace cli
