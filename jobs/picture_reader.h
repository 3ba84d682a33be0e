// SPDX-License-Identifier: MIT
// PictureReader: opens a picture, whose format its content tells, and decodes frames of it.
//
//   PictureReader reader(Input::File("scan.tif"));
//   for (int frame = 1; frame <= reader.info().frameCount; ++frame) Show(*reader.ReadFrame(frame));
#pragma once

#include "input.h"

#include <tovmx/codec.h>
#include <tovmx/dib.h>

#include <memory>
#include <string>

namespace jobs {

class PictureReader {
 public:
  // Throws Error when the input cannot be read, or is no picture that can be opened.
  explicit PictureReader(const Input& input);

  CoreImageFormat format() const { return format_; }
  const CoreImageInfo& info() const { return decoder_->GetInfo(); }

  // Throws Error when there is no such frame; they count from 1.
  void CheckFrame(int frame) const;

  // Throws Error when the frame is broken or beyond the memory limit. Precondition: there is such a frame.
  [[nodiscard]] std::unique_ptr<CoreDib> ReadFrame(int frame);

  // The frame's orientation mark, 1 to 8, as CoreReadOrientation returns it.
  int ReadOrientation(int frame);

 private:
  [[noreturn]] void FailToDecode() const;

  std::string name_;
  InputStream stream_;
  CoreImageFormat format_;
  std::unique_ptr<CoreImageDecoder> decoder_;
};

}  // namespace jobs
