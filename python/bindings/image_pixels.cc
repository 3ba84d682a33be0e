// SPDX-License-Identifier: MIT
// The pixels of an Image and who may look at them. The bitmap's rows are padded to 4 bytes, so that a view of
// them has strides; whoever asks for bytes in one piece is refused when there is padding.
#include "image.h"

#include "jobs/error.h"

#include <cstring>
#include <new>

namespace python {

namespace {

// A bitmap of 1 or 4 bits a pixel with 8, the same palette, or grays that are spread over 0 to 255.
CoreDib Widened(const CoreDib& packed) {
  const int bits = packed.GetBitsPerPixel();
  const unsigned most = (1U << bits) - 1;
  CoreDib wide;
  if (!wide.Create(packed.GetWidth(), packed.GetHeight(), 8)) throw std::bad_alloc();
  wide.SetDpi(packed.GetDpiX(), packed.GetDpiY());
  const int colors = packed.GetPaletteSize();
  std::vector<std::uint32_t> palette(static_cast<std::size_t>(colors));
  for (int i = 0; i < colors; ++i) palette[static_cast<std::size_t>(i)] = packed.GetPaletteEntry(i);
  if (colors > 0) wide.SetPalette(palette.data(), colors);
  for (int i = 0; i < colors; ++i) wide.SetPaletteAlpha(i, packed.GetPaletteAlpha(i));
  const unsigned scale = colors > 0 ? 1 : 255 / most;
  for (int y = 0; y < wide.GetHeight(); ++y) {
    const std::uint8_t* const from = packed.GetRow(y);
    std::uint8_t* const to = wide.GetRow(y);
    for (int x = 0; x < wide.GetWidth(); ++x) {
      const int bit = x * bits;
      to[x] = static_cast<std::uint8_t>((from[bit / 8] >> (8 - bits - bit % 8) & most) * scale);
    }
  }
  return wide;
}

}  // namespace

Image::Image(CoreDib bitmap, Origin origin) : origin_(std::move(origin)) {
  if (bitmap.GetBitsPerPixel() < 8) bitmap = Widened(bitmap);
  pixels_ = std::make_shared<CoreDib>(std::move(bitmap));
  shape_ = {pixels_->GetHeight(), pixels_->GetWidth(), channels()};
  strides_ = {pixels_->GetStride(), channels(), 1};
}

std::shared_ptr<CoreDib> Image::pixels() const {
  if (closed_) throw py::value_error("the image is closed");
  return pixels_;
}

const char* Image::mode() const {
  switch (pixels()->GetBitsPerPixel()) {
    case 24:
      return "BGR";
    case 32:
      return "BGRA";
    default:
      return pixels_->GetPaletteSize() > 0 ? "P" : "L";
  }
}

void Image::Close() {
  if (views_ > 0) throw py::buffer_error("views of the image's pixels are held");
  closed_ = true;
  if (!addressTaken_) pixels_.reset();
}

py::dict Image::ArrayInterface() {
  const std::shared_ptr<CoreDib> bitmap = pixels();
  py::tuple shape(static_cast<std::size_t>(dimensions()));
  py::tuple strides(shape.size());
  for (std::size_t i = 0; i < shape.size(); ++i) {
    shape[i] = shape_[i];
    strides[i] = strides_[i];
  }
  py::dict interface;
  interface["version"] = 3;
  interface["typestr"] = "|u1";
  interface["shape"] = shape;
  interface["strides"] = strides;
  interface["data"] = py::make_tuple(reinterpret_cast<std::uintptr_t>(bitmap->GetBuffer()), false);
  addressTaken_ = true;
  return interface;
}

int Image::FillView(Py_buffer& view, int flags) {
  const auto refuse = [&view](const char* text) {
    view.obj = nullptr;
    PyErr_SetString(PyExc_BufferError, text);
    return -1;
  };
  if (closed_) return refuse("the image is closed");
  const auto asks = [flags](int what) { return (flags & what) == what; };
  const bool inOnePiece = strides_[0] == shape_[1] * shape_[2] || shape_[0] == 1;
  if (!inOnePiece && (!asks(PyBUF_STRIDES) || asks(PyBUF_C_CONTIGUOUS) || asks(PyBUF_ANY_CONTIGUOUS))) {
    return refuse("the rows of the image are padded: ask for strides, or for rgb() or to_bytes()");
  }
  if (asks(PyBUF_F_CONTIGUOUS)) return refuse("the image lies row by row");
  view.buf = pixels_->GetBuffer();
  view.len = shape_[0] * shape_[1] * shape_[2];
  view.itemsize = 1;
  view.readonly = 0;
  // Who asks for no shape gets bytes in one row.
  view.ndim = asks(PyBUF_ND) ? dimensions() : 1;
  static char format[] = "B";
  view.format = asks(PyBUF_FORMAT) ? format : nullptr;
  view.shape = asks(PyBUF_ND) ? shape_.data() : nullptr;
  view.strides = asks(PyBUF_STRIDES) ? strides_.data() : nullptr;
  view.suboffsets = nullptr;
  view.internal = nullptr;
  ++views_;
  return 0;
}

int Image::GetBuffer(PyObject* self, Py_buffer* view, int flags) {
  if (view == nullptr) {
    PyErr_SetString(PyExc_BufferError, "no view is given");
    return -1;
  }
  if (py::cast<Image&>(py::handle(self)).FillView(*view, flags) != 0) return -1;
  Py_INCREF(self);
  view->obj = self;
  return 0;
}

void Image::ReleaseBuffer(PyObject* self, Py_buffer*) { --py::cast<Image&>(py::handle(self)).views_; }

CoreDib CopyOf(const CoreDib& bitmap) {
  CoreDib copy;
  if (!copy.CopyFrom(bitmap)) throw std::bad_alloc();
  return copy;
}

py::object RgbOf(const Image& image) {
  const std::shared_ptr<CoreDib> bitmap = image.pixels();
  const int channels = bitmap->HasAlpha() ? 4 : 3;
  const int width = bitmap->GetWidth();
  const int height = bitmap->GetHeight();
  const auto size =
      static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * static_cast<std::size_t>(channels);
  const auto bytes = py::reinterpret_steal<py::bytearray>(
      PyByteArray_FromStringAndSize(nullptr, static_cast<Py_ssize_t>(size)));
  if (!bytes) throw py::error_already_set();
  auto* to = reinterpret_cast<std::uint8_t*>(PyByteArray_AS_STRING(bytes.ptr()));
  {
    const py::gil_scoped_release released;
    const bool direct = bitmap->GetBitsPerPixel() >= 24;
    for (int y = 0; y < height; ++y) {
      const std::uint8_t* from = bitmap->GetRow(y);
      for (int x = 0; x < width; ++x, to += channels) {
        if (direct) {
          to[0] = from[2];
          to[1] = from[1];
          to[2] = from[0];
          if (channels == 4) to[3] = from[3];
          from += channels;
          continue;
        }
        const std::uint32_t argb = bitmap->GetArgb(x, y);
        to[0] = static_cast<std::uint8_t>(argb >> 16);
        to[1] = static_cast<std::uint8_t>(argb >> 8);
        to[2] = static_cast<std::uint8_t>(argb);
        if (channels == 4) to[3] = static_cast<std::uint8_t>(argb >> 24);
      }
    }
  }
  const auto view = py::reinterpret_steal<py::object>(PyMemoryView_FromObject(bytes.ptr()));
  return view.attr("cast")("B", py::make_tuple(height, width, channels));
}

}  // namespace python
