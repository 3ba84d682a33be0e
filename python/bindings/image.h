// SPDX-License-Identifier: MIT
// Image: a bitmap as Python sees it. Its shape never changes; its pixels do through views.
#pragma once

#include "arguments.h"

#include <tovmx/dib.h>

#include <array>
#include <memory>
#include <optional>
#include <string>

namespace python {

class Image {
 public:
  // What a file told beside the pixels.
  struct Origin {
    std::string format;  // empty for an image that was made here
    int frames = 1;
    int orientation = 1;
  };

  // A bitmap of fewer than 8 bits a pixel becomes one of 8.
  Image(CoreDib bitmap, Origin origin);

  // Throws a Python ValueError after Close.
  std::shared_ptr<CoreDib> pixels() const;
  bool isClosed() const { return closed_; }
  const Origin& origin() const { return origin_; }
  // "L", "P", "BGR" or "BGRA".
  const char* mode() const;

  // Lets go of the pixels. Throws a Python BufferError while views of them are held.
  void Close();

  // The dictionary of NumPy's array interface. From then on Close keeps the memory, since nothing tells when
  // the last user of the address is gone.
  py::dict ArrayInterface();

  // The buffer protocol, whose views count as users of the pixels.
  static int GetBuffer(PyObject* self, Py_buffer* view, int flags);
  static void ReleaseBuffer(PyObject* self, Py_buffer* view);

 private:
  int channels() const { return pixels_->GetBitsPerPixel() / 8; }
  int dimensions() const { return channels() == 1 ? 2 : 3; }
  int FillView(Py_buffer& view, int flags);

  std::shared_ptr<CoreDib> pixels_;
  Origin origin_;
  // Rows, columns, bytes of a pixel; views point at them.
  std::array<Py_ssize_t, 3> shape_;
  std::array<Py_ssize_t, 3> strides_;
  int views_ = 0;
  bool addressTaken_ = false;
  bool closed_ = false;
};

// Image.open, fromarray and from_pillow.
std::unique_ptr<Image> OpenImage(const py::object& source, const py::object& frame);
std::unique_ptr<Image> ImageFromArray(const py::object& array, const py::object& mode, const py::object& dpi);
std::unique_ptr<Image> ImageFromPillow(const py::object& picture);
py::object ImageToPillow(const Image& image);

// A contiguous view of bytes (rows, columns, 3 or 4) in the order red, green, blue, alpha.
py::object RgbOf(const Image& image);

// A copy of the bitmap; throws the package's LimitError.
CoreDib CopyOf(const CoreDib& bitmap);

}  // namespace python
