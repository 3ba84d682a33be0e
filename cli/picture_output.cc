#include "picture_output.h"

#include "job_error.h"
#include "output_file.h"

#include <cerrno>
#include <cstring>

namespace cli {

void WritePicture(const std::string& file, CoreImageFormat format, int quality, const CoreDib& picture,
                  CoreFileOutputStream& stream) {
  const auto encoder = CoreCodecRegistry::Get().GetFactory().CreateEncoder(format);
  encoder->SetQuality(quality);
  const bool encoded = stream.IsOpen() && encoder->Encode(&picture, &stream) != 0;
  // Without an open stream errno still says why.
  if (!stream.IsOpen() || !stream.Close()) throw JobError(file + ": cannot write: " + std::strerror(errno));
  if (!encoded) {
    throw JobError(file + ": " + CoreImageFormatName(format) + " cannot hold a picture of " +
                   std::to_string(picture.GetWidth()) + " x " + std::to_string(picture.GetHeight()) +
                   " pixels");
  }
}

void WritePicture(const std::string& file, CoreImageFormat format, int quality, const CoreDib& picture) {
  OutputFile target(file);
  CoreFileOutputStream stream(target.path().c_str());
  WritePicture(file, format, quality, picture, stream);
  target.Commit();
}

}  // namespace cli
