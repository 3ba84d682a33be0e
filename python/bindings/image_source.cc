// SPDX-License-Identifier: MIT
// Where images come from: files, bytes, objects that read, arrays and Pillow.
#include "errors.h"
#include "image.h"

#include "jobs/picture_reader.h"

#include <tovmx/codec.h>

#include <climits>
#include <cstring>
#include <new>
#include <utility>

namespace python {

namespace {

constexpr int kMostPixels = INT_MAX;

std::unique_ptr<Image> Decode(const jobs::Input& input, int frame) {
  const py::gil_scoped_release released;
  try {
    jobs::PictureReader reader(input);
    reader.CheckFrame(frame);
    auto bitmap = reader.ReadFrame(frame);
    Image::Origin origin{CoreImageFormatName(reader.format()), reader.info().frameCount,
                         reader.ReadOrientation(frame)};
    return std::make_unique<Image>(std::move(*bitmap), std::move(origin));
  } catch (jobs::Error& e) {
    throw DecodeFailure{std::move(e)};
  }
}

// A mode as it is stored, and whether red comes first in the array.
struct ArrayMode {
  int channels;
  bool redFirst;
};

ArrayMode ModeOf(const py::object& mode, int channels) {
  if (mode.is_none()) return {channels, false};
  const std::string_view name = TextOf(mode, "mode");
  const struct {
    const char* name;
    ArrayMode mode;
  } kModes[] = {
      {"L", {1, false}}, {"BGR", {3, false}}, {"RGB", {3, true}}, {"BGRA", {4, false}}, {"RGBA", {4, true}}};
  for (const auto& known : kModes) {
    if (name != known.name) continue;
    if (known.mode.channels == channels) return known.mode;
    RefuseValue("mode", "the array has " + std::to_string(channels) + " bytes to a pixel, and " +
                            std::string(name) + " has " + std::to_string(known.mode.channels));
  }
  RefuseValue("mode", "'" + std::string(name) + "' is none of L, BGR, BGRA, RGB and RGBA");
}

void SetDpi(CoreDib& bitmap, const py::object& dpi) {
  if (dpi.is_none()) return;
  if (PyTuple_Check(dpi.ptr()) || PyList_Check(dpi.ptr())) {
    const auto both = py::reinterpret_borrow<py::sequence>(dpi);
    if (both.size() != 2) RefuseValue("dpi", "one number or two are expected");
    bitmap.SetDpi(NumberOf(py::object(both[0]), "dpi"), NumberOf(py::object(both[1]), "dpi"));
    return;
  }
  const float number = NumberOf(dpi, "dpi");
  bitmap.SetDpi(number, number);
}

void CheckShape(const Py_buffer& view) {
  const std::string_view format = view.format == nullptr ? "B" : view.format;
  if (view.itemsize != 1 || (format != "B" && format != "=B" && format != "|B" && format != "@B")) {
    RefuseValue("array",
                "unsigned bytes are expected, not elements of the format '" + std::string(format) + "'");
  }
  const bool fits = (view.ndim == 2 || (view.ndim == 3 && (view.shape[2] == 3 || view.shape[2] == 4))) &&
                    view.suboffsets == nullptr;
  if (!fits) RefuseValue("array", "a shape of (height, width), or of (height, width, 3) or 4, is expected");
  for (int i = 0; i < 2; ++i) {
    if (view.shape[i] < 1) RefuseValue("array", "it holds no pixel");
    if (view.shape[i] > kMostPixels) RefuseValue("array", "a side is too long");
  }
}

void CopyPixels(const Py_buffer& view, const ArrayMode& mode, CoreDib& bitmap) {
  const auto* const base = static_cast<const std::uint8_t*>(view.buf);
  const bool straight =
      !mode.redFirst && view.strides[1] == mode.channels && (view.ndim == 2 || view.strides[2] == 1);
  const Py_ssize_t between = view.ndim == 2 ? 1 : view.strides[2];
  for (int y = 0; y < bitmap.GetHeight(); ++y) {
    const std::uint8_t* from = base + y * view.strides[0];
    std::uint8_t* to = bitmap.GetRow(y);
    if (straight) {
      std::memcpy(to, from,
                  static_cast<std::size_t>(bitmap.GetWidth()) * static_cast<std::size_t>(mode.channels));
      continue;
    }
    for (int x = 0; x < bitmap.GetWidth(); ++x, from += view.strides[1], to += mode.channels) {
      for (int c = 0; c < mode.channels; ++c) {
        to[mode.redFirst && c < 3 ? 2 - c : c] = from[c * between];
      }
    }
  }
}

}  // namespace

std::unique_ptr<Image> OpenImage(const py::object& source, const py::object& frame) {
  const int number = WholeOf(frame, "frame", 1, INT_MAX);
  if (IsPath(source)) return Decode(jobs::Input::File(PathOf(source, "source")), number);
  if (PyObject_CheckBuffer(source.ptr()) != 0) {
    const Bytes bytes(source, "source");
    return Decode(jobs::Input::Memory(bytes.view(), "picture"), number);
  }
  if (!py::hasattr(source, "read")) RefuseType("source", "a path, bytes or a file object", source);
  const py::object content = source.attr("read")();
  if (PyObject_CheckBuffer(content.ptr()) == 0) RefuseType("source.read()", "bytes", content);
  const Bytes bytes(content, "source.read()");
  return Decode(jobs::Input::Memory(bytes.view(), "picture"), number);
}

std::unique_ptr<Image> ImageFromArray(const py::object& array, const py::object& mode,
                                      const py::object& dpi) {
  Buffer held(array, "array", "an array or another buffer");
  const Py_buffer& view = held.view();
  CheckShape(view);
  const ArrayMode form = ModeOf(mode, view.ndim == 2 ? 1 : static_cast<int>(view.shape[2]));
  const int width = static_cast<int>(view.shape[1]);
  const int height = static_cast<int>(view.shape[0]);
  const std::uint64_t bytes = CoreDib::BytesNeeded(width, height, form.channels * 8);
  CoreDib bitmap;
  if (bytes == 0 || bytes > CoreCodecRegistry::Get().GetPixelLimit()) {
    throw jobs::Error(
        jobs::ErrorKind::kLimit, "array",
        "a picture of " + std::to_string(width) + " x " + std::to_string(height) + " pixels is too large");
  }
  if (!bitmap.Create(width, height, form.channels * 8)) throw std::bad_alloc();
  SetDpi(bitmap, dpi);
  {
    const py::gil_scoped_release released;
    CopyPixels(view, form, bitmap);
  }
  return std::make_unique<Image>(std::move(bitmap), Image::Origin());
}

std::unique_ptr<Image> ImageFromPillow(const py::object& picture) {
  if (!py::hasattr(picture, "tobytes") || !py::hasattr(picture, "convert")) {
    RefuseType("picture", "a PIL.Image.Image", picture);
  }
  py::object source = picture;
  const auto mode = py::str(source.attr("mode")).cast<std::string>();
  const py::dict info = source.attr("info");
  if (mode != "L" && mode != "RGB" && mode != "RGBA") {
    const bool alpha =
        mode == "LA" || mode == "PA" || mode == "RGBa" || mode == "La" || info.contains("transparency");
    source = source.attr("convert")(alpha ? "RGBA" : mode == "1" ? "L" : "RGB");
  }
  const auto form = py::str(source.attr("mode")).cast<std::string>();
  const py::tuple size = source.attr("size");
  const py::object height = size[1], width = size[0];
  const std::string stored = form == "L" ? "L" : form == "RGB" ? "BGR" : "BGRA";
  const py::object bytes = source.attr("tobytes")("raw", stored);
  const py::object view = py::reinterpret_steal<py::object>(PyMemoryView_FromObject(bytes.ptr()));
  const py::object shape =
      form == "L" ? py::make_tuple(height, width) : py::make_tuple(height, width, stored.size());
  const py::object dpi = info.contains("dpi") ? py::object(info["dpi"]) : py::none();
  if (width.equal(py::int_(0)) || height.equal(py::int_(0))) RefuseValue("picture", "it holds no pixel");
  const bool known = PyTuple_Check(dpi.ptr());
  return ImageFromArray(view.attr("cast")("B", shape), py::str(stored),
                        known ? py::tuple(py::make_tuple(py::float_(dpi.attr("__getitem__")(0)),
                                                         py::float_(dpi.attr("__getitem__")(1))))
                              : py::object(py::none()));
}

py::object ImageToPillow(const Image& image) {
  const std::shared_ptr<CoreDib> bitmap = image.pixels();
  const std::string stored = image.mode();
  const std::string mode = stored == "BGR" ? "RGB" : stored == "BGRA" ? "RGBA" : stored;
  const py::bytes bytes(reinterpret_cast<const char*>(bitmap->GetBuffer()), bitmap->GetBufferSize());
  py::object picture = py::module_::import("PIL.Image")
                           .attr("frombytes")(mode, py::make_tuple(bitmap->GetWidth(), bitmap->GetHeight()),
                                              bytes, "raw", stored, bitmap->GetStride());
  if (stored == "P") {
    std::string palette;
    for (int i = 0; i < bitmap->GetPaletteSize(); ++i) {
      const std::uint32_t color = bitmap->GetPaletteEntry(i);
      for (const int shift : {0, 8, 16}) palette += static_cast<char>(color >> shift & 0xFF);
      palette += static_cast<char>(bitmap->GetPaletteAlpha(i));
    }
    picture.attr("putpalette")(py::bytes(palette), bitmap->HasAlpha() ? "RGBA" : "RGBX");
  }
  if (bitmap->GetDpiX() > 0 && bitmap->GetDpiY() > 0) {
    picture.attr("info")["dpi"] = py::make_tuple(bitmap->GetDpiX(), bitmap->GetDpiY());
  }
  return picture;
}

}  // namespace python
