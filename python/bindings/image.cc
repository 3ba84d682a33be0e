// SPDX-License-Identifier: MIT
// The class Image as Python sees it.
#include "image.h"

#include "bindings.h"
#include "errors.h"

#include "jobs/output_format.h"
#include "jobs/picture_steps.h"
#include "jobs/picture_turn.h"
#include "jobs/picture_writer.h"

#include <tovkit/imaging.h>

#include <climits>
#include <utility>

namespace python {

namespace {

constexpr char kName[] = "image";  // in messages

// An image that a step made of another one: what the file told stays true of it, but for its frames.
std::unique_ptr<Image> Derived(const Image& from, CoreDib bitmap) {
  Image::Origin origin = from.origin();
  origin.frames = 1;
  return std::make_unique<Image>(std::move(bitmap), std::move(origin));
}

jobs::PictureSize SizeOf(const py::object& size) {
  if (PyUnicode_Check(size.ptr())) {
    const std::string text(TextOf(size, "size"));
    const auto parsed = jobs::ParsePictureSize(text);
    if (!parsed) RefuseValue("size", "'" + text + "' is no size such as 800x600, 800x, x600 or 50%");
    return *parsed;
  }
  if (!PySequence_Check(size.ptr())) RefuseType("size", "(width, height) or a str such as '50%'", size);
  const auto sides = py::reinterpret_borrow<py::sequence>(size);
  if (sides.size() != 2) RefuseValue("size", "a width and a height are expected");
  const auto side = [&](std::size_t i) { return WholeOrNone(py::object(sides[i]), "size", 1, INT_MAX); };
  jobs::PictureSize parsed;
  parsed.pixels = {side(0), side(1)};
  if (parsed.pixels.width == 0 && parsed.pixels.height == 0)
    RefuseValue("size", "one side at least is expected");
  return parsed;
}

std::unique_ptr<Image> Resize(const Image& image, const py::object& size, const py::object& filter) {
  const std::string name(TextOf(filter, "filter"));
  const auto known = jobs::FindFilter(name);
  if (!known) RefuseValue("filter", "'" + name + "' is none of nearest, linear, cubic and lanczos");
  const jobs::ResizeStep step{SizeOf(size), *known};
  const auto pixels = image.pixels();
  const py::gil_scoped_release released;
  return Derived(image, jobs::Resized(*pixels, step, kName));
}

std::unique_ptr<Image> Crop(const Image& image, const py::object& rectangle) {
  const CoreRect rect = RectangleOf(rectangle, "rectangle");
  const auto pixels = image.pixels();
  const py::gil_scoped_release released;
  return Derived(image, jobs::Cropped(*pixels, rect, kName));
}

std::unique_ptr<Image> Erase(const Image& image, const py::object& rectangle) {
  const CoreRect rect = RectangleOf(rectangle, "rectangle");
  const auto pixels = image.pixels();
  const py::gil_scoped_release released;
  CoreDib erased = CopyOf(*pixels);
  tovkit::DeleteRectDib(&erased, rect);
  return Derived(image, std::move(erased));
}

std::unique_ptr<Image> Upright(const Image& image) {
  const auto pixels = image.pixels();
  const py::gil_scoped_release released;
  CoreDib turned = CopyOf(*pixels);
  Image::Origin origin = image.origin();
  jobs::TurnUpright(turned, origin.orientation, kName);
  origin.orientation = 1;
  origin.frames = 1;
  return std::make_unique<Image>(std::move(turned), std::move(origin));
}

CoreImageFormat FormatOf(const std::string& name) {
  const auto format = jobs::FindOutputFormat(name, jobs::OutputKind::kPicture);
  if (!format) RefuseValue("format", jobs::WhyNoOutputFormat(name));
  return format->picture;
}

// How a picture is written.
struct Encoding {
  int quality;
  int effort;
  CoreImageFormat format;
};

Encoding EncodingOf(const std::string& format, const py::object& quality, const py::object& effort) {
  return {WholeOrNone(quality, "quality", 1, 100), WholeOrNone(effort, "effort", 1, 9), FormatOf(format)};
}

py::bytes Encode(const Image& image, const Encoding& encoding) {
  const auto pixels = image.pixels();
  CoreMemoryOutputStream bytes;
  {
    const py::gil_scoped_release released;
    jobs::WritePicture(*pixels, encoding.format, encoding.quality, jobs::Output::Memory(&bytes, kName),
                       encoding.effort);
  }
  return {reinterpret_cast<const char*>(bytes.GetData()), bytes.GetSize()};
}

void Save(const Image& image, const py::object& target, const py::object& format, const py::object& quality,
          const py::object& effort) {
  std::string name(format.is_none() ? std::string_view() : TextOf(format, "format"));
  if (!IsPath(target) && !PyBytes_Check(target.ptr())) {
    if (!py::hasattr(target, "write")) RefuseType("target", "a path or a file object", target);
    if (format.is_none()) RefuseValue("format", "a file object needs the name of a format");
    target.attr("write")(Encode(image, EncodingOf(name, quality, effort)));
    return;
  }
  const std::string path = PathOf(target, "target");
  if (format.is_none()) name = jobs::ExtensionOf(path);
  const Encoding encoding = EncodingOf(name, quality, effort);
  const auto pixels = image.pixels();
  const py::gil_scoped_release released;
  jobs::WritePicture(*pixels, encoding.format, encoding.quality, jobs::Output::File(path), encoding.effort);
}

py::object DpiOf(const Image& image) {
  const auto pixels = image.pixels();
  if (pixels->GetDpiX() <= 0 || pixels->GetDpiY() <= 0) return py::none();
  return py::make_tuple(pixels->GetDpiX(), pixels->GetDpiY());
}

py::object PaletteOf(const Image& image) {
  const auto pixels = image.pixels();
  if (pixels->GetPaletteSize() == 0) return py::none();
  py::list colors;
  for (int i = 0; i < pixels->GetPaletteSize(); ++i) {
    const std::uint32_t color = pixels->GetPaletteEntry(i);
    colors.append(
        py::make_tuple(color & 0xFF, color >> 8 & 0xFF, color >> 16 & 0xFF, pixels->GetPaletteAlpha(i)));
  }
  return colors;
}

py::str Represent(const Image& image) {
  if (image.isClosed()) return "<tovkit.Image closed>";
  const auto pixels = image.pixels();
  return py::str("<tovkit.Image {} {} x {}>").format(image.mode(), pixels->GetWidth(), pixels->GetHeight());
}

PyObject* RefuseNewImage(PyTypeObject*, PyObject*, PyObject*) {
  PyErr_SetString(PyExc_TypeError, "tovkit.Image has no constructor: use open(), fromarray() or draw()");
  return nullptr;
}

// An object that was made past everything that makes images would hold none, and its memory anything.
void SetSlots(PyHeapTypeObject* type) {
  type->ht_type.tp_new = RefuseNewImage;
  type->ht_type.tp_as_buffer = &type->as_buffer;
  type->as_buffer.bf_getbuffer = Image::GetBuffer;
  type->as_buffer.bf_releasebuffer = Image::ReleaseBuffer;
}

using Class = py::class_<Image>;

void BindSources(Class& image) {
  image.def_static("open", &OpenImage, py::arg("source"), py::arg("frame") = 1, R"(open(source, frame=1)
--

Reads a picture: PNG, JPEG, TIFF, WebP, JPEG 2000, BMP or GIF, told by its content.

``source`` is a path (str or os.PathLike), the bytes of a file (any buffer), or a file object, of which
``read()`` is called once. ``frame`` counts from 1: a page of a TIFF, a frame of an animation. Pixels of 1
and 4 bits become 8; rows stay as they are stored (see ``upright``).

Raises DecodeError for bytes that are no picture and for a frame that is not there, LimitError beyond
1 GiB of pixels, FileError (an OSError) when the file cannot be read, TypeError.

>>> import tovkit
>>> drawn = tovkit.draw({"Content": "Hello"}, size=(200, 60))
>>> tovkit.Image.open(drawn.to_bytes("png"))
<tovkit.Image BGR 200 x 60>
)");
  image.def_static("fromarray", &ImageFromArray, py::arg("array"), py::arg("mode") = py::none(),
                   py::kw_only(), py::arg("dpi") = py::none(), R"(fromarray(array, mode=None, *, dpi=None)
--

Makes an image of an array of unsigned bytes; the pixels are copied.

``array`` is anything with a buffer (NumPy's arrays, memoryviews), of the shape (height, width) for ``L``
or (height, width, 3 or 4), with any strides. ``mode`` says what the bytes are: ``L``, ``BGR``, ``BGRA``,
``RGB`` or ``RGBA``; without one it is the order in which images are stored, blue first, so that
``fromarray(numpy.asarray(image))`` is the image again. ``dpi``, a number or two, is the resolution.

Raises ValueError for another shape, another type of elements, an array without a pixel or a mode that
does not fit, LimitError beyond 1 GiB, TypeError.

>>> import tovkit
>>> tovkit.Image.fromarray(memoryview(bytes(12)).cast("B", (2, 2, 3)), "RGB", dpi=300)
<tovkit.Image BGR 2 x 2>
)");
  image.def_static("from_pillow", &ImageFromPillow, py::arg("picture"), R"(from_pillow(picture)
--

Makes an image of a ``PIL.Image.Image``; the pixels are copied.

``L``, ``RGB`` and ``RGBA`` come as they are, ``1`` as ``L``; every other mode is converted to RGBA where
it has transparency and to RGB where not. The resolution comes along.

Raises ValueError for a picture without pixels, TypeError for what is no picture.

>>> import tovkit
>>> from PIL import Image
>>> tovkit.Image.from_pillow(Image.new("RGBA", (4, 3)))
<tovkit.Image BGRA 4 x 3>
)");
}

void BindFacts(Class& image) {
  image.def_property_readonly(
      "size",
      [](const Image& self) {
        const auto pixels = self.pixels();
        return py::make_tuple(pixels->GetWidth(), pixels->GetHeight());
      },
      R"(Width and height in pixels.

>>> import tovkit
>>> tovkit.draw({"Content": "a"}, size=(30, 20), dpi=192).size
(60, 40)
)");
  image.def_property_readonly("mode", &Image::mode,
                              R"(What a pixel is made of, in the order of its bytes: "BGR", "BGRA" (alpha is
straight, not multiplied in), "L" (a gray) or "P" (an index into ``palette``).

>>> import tovkit
>>> tovkit.draw({"Content": "a"}, background="none").mode
'BGRA'
)");
  image.def_property_readonly("dpi", &DpiOf,
                              R"(Pixels per inch across and down as two floats, None when unknown.

>>> import tovkit
>>> tovkit.draw({"Content": "a"}, dpi=300).dpi
(300.0, 300.0)
)");
  image.def_property_readonly(
      "frames", [](const Image& self) { return self.origin().frames; },
      R"(How many frames or pages the file has that this image is one of; 1 for an image that was made.

>>> import tovkit
>>> tovkit.draw({"Content": "a"}).frames
1
)");
  image.def_property_readonly(
      "format",
      [](const Image& self) {
        return self.origin().format.empty() ? py::object(py::none())
                                            : py::object(py::str(self.origin().format));
      },
      R"(The name of the format that the image was read from, None for one that was made.

>>> import tovkit
>>> tovkit.Image.open(tovkit.draw({"Content": "a"}).to_bytes("jp2")).format
'JPEG 2000'
)");
  image.def_property_readonly(
      "palette", &PaletteOf,
      R"(The colors of a "P" image as a list of (red, green, blue, alpha), None for the other modes.

>>> import tovkit
>>> tovkit.draw({"Content": "a"}).palette is None
True
)");
}

void BindSteps(Class& image) {
  image.def("resize", &Resize, py::arg("size"), py::arg("filter") = "lanczos",
            R"(resize(self, size, filter='lanczos')
--

Returns the picture in another size; this image stays as it is.

``size`` is (width, height) in pixels, where a side of None keeps the proportions, or a str as the command
takes it: "800x600", "800x", "x600", "50%". ``filter`` is "nearest", "linear", "cubic" or "lanczos". An
image with a palette becomes BGR or BGRA. The resolution follows the size.

Raises ValueError for another size or filter, LimitError beyond 1 GiB of pixels, TypeError.

>>> import tovkit
>>> tovkit.draw({"Content": "a"}, size=(200, 60)).resize((100, None)).size
(100, 30)
)");
  image.def("crop", &Crop, py::arg("rectangle"), R"(crop(self, rectangle)
--

Returns the part of the picture that lies in a rectangle: (left, top, right, bottom), whole pixels, right
and bottom not included; reversed edges are swapped, and what lies outside the picture is cut off.

Raises ValueError when nothing is left, TypeError.

>>> import tovkit
>>> tovkit.draw({"Content": "a"}, size=(200, 60)).crop((10, 10, 60, 500)).size
(50, 50)
)");
  image.def("erase", &Erase, py::arg("rectangle"), R"(erase(self, rectangle)
--

Returns the picture with a rectangle blanked to its brightest color: white, or of a palette the color with
the greatest sum of components. (left, top, right, bottom) as for ``crop``; what misses the picture
blanks nothing.

Raises ValueError for another number of edges, TypeError.

>>> import tovkit
>>> black = tovkit.draw({"Content": "a"}, background="#000", size=(4, 4))
>>> bytes(black.erase((0, 0, 2, 4)).rgb())[:12].hex()
'ffffffffffff000000000000'
)");
  image.def("upright", &Upright, R"(upright(self)
--

Returns the picture turned and mirrored as the orientation mark of its file says (EXIF, TIFF); a copy where
there is none. The result has no mark, so that a second call changes nothing.

>>> import tovkit
>>> tovkit.draw({"Content": "a"}, size=(4, 2)).upright().size
(4, 2)
)");
  image.def(
      "copy",
      [](const Image& self) {
        const auto pixels = self.pixels();
        const py::gil_scoped_release released;
        return std::make_unique<Image>(CopyOf(*pixels), self.origin());
      },
      R"(copy(self)
--

Returns an image with pixels of its own.

>>> import tovkit
>>> image = tovkit.draw({"Content": "a"}, size=(2, 2))
>>> memoryview(image.copy())[0, 0, 0] = 7     # the image itself stays white
>>> memoryview(image)[0, 0, 0]
255
)");
}

void BindTargets(Class& image) {
  image.def("save", &Save, py::arg("target"), py::arg("format") = py::none(), py::kw_only(),
            py::arg("quality") = py::none(), py::arg("effort") = py::none(),
            R"(save(self, target, format=None, *, quality=None, effort=None)
--

Writes the picture to a path, which holds the whole file or what it held before, or to a file object.

``format`` is "png", "jpg", "tif", "webp", "jp2" or "bmp"; without one the extension of the path says it.
``quality`` goes from 1 to 100: 90 by default for JPEG, and no loss for the others. ``effort``, 1 to 9 and
5 by default, is how much work goes into a smaller PNG. Pixels must not change meanwhile.

Raises ValueError for an unknown format and numbers out of range, FileError (an OSError) when the file
cannot be written, TypeError.

>>> import io, tovkit
>>> file = io.BytesIO()
>>> tovkit.draw({"Content": "a"}).save(file, "png")
>>> file.getvalue()[:4]
b'\x89PNG'
)");
  image.def(
      "to_bytes",
      [](const Image& self, const py::object& format, const py::object& quality, const py::object& effort) {
        return Encode(self, EncodingOf(std::string(TextOf(format, "format")), quality, effort));
      },
      py::arg("format"), py::kw_only(), py::arg("quality") = py::none(), py::arg("effort") = py::none(),
      R"(to_bytes(self, format, *, quality=None, effort=None)
--

Returns the picture as the bytes of a file; ``format``, ``quality`` and ``effort`` as for ``save``.

Raises ValueError for an unknown format and numbers out of range, TypeError.

>>> import tovkit
>>> tovkit.draw({"Content": "a"}).to_bytes("bmp")[:2]
b'BM'
)");
  image.def("rgb", &RgbOf, R"(rgb(self)
--

Returns a copy of the pixels as a memoryview of bytes, (height, width, 3) in the order red, green, blue, or
(height, width, 4) with alpha where the picture has it; grays and palettes become colors. It is contiguous
and can be written to, and ``numpy.asarray`` takes it as it is.

>>> import tovkit
>>> tovkit.draw({"Content": "a"}, background="#123456", size=(2, 1)).rgb().tolist()
[[[18, 52, 86], [18, 52, 86]]]
)");
  image.def("to_pillow", &ImageToPillow, R"(to_pillow(self)
--

Returns a ``PIL.Image.Image`` with a copy of the pixels and the resolution: RGB, RGBA, L or P.

Raises ImportError without Pillow.

>>> import tovkit
>>> tovkit.draw({"Content": "a"}, size=(3, 2)).to_pillow().mode
'RGB'
)");
  image.def(
      "_repr_png_", [](const Image& self) { return Encode(self, EncodingOf("png", py::none(), py::none())); },
      R"(_repr_png_(self)
--

The picture for notebooks.

>>> import tovkit
>>> tovkit.draw({"Content": "a"})._repr_png_()[1:4]
b'PNG'
)");
  image.def_property_readonly(
      "__array_interface__", &Image::ArrayInterface,
      R"(The pixels where they lie, for NumPy: version 3, "|u1", (height, width[, 3 or 4]), with strides.

>>> import tovkit
>>> tovkit.draw({"Content": "a"}, size=(3, 2)).__array_interface__["strides"]
(12, 3, 1)
)");
}

void BindLife(Class& image) {
  image.def("close", &Image::Close, R"(close(self)
--

Lets go of the pixels at once; a second call does nothing. The image is of no use afterwards: what needs
pixels raises ValueError. ``with`` does it at the end of its block.

Raises BufferError while views of the pixels (memoryviews, arrays) are held. Once ``__array_interface__``
was asked for the memory stays until the image itself is gone.

>>> import tovkit
>>> with tovkit.draw({"Content": "a"}) as image:
...     view = memoryview(image)
...     view.release()
>>> image
<tovkit.Image closed>
)");
  image.def(
      "__enter__",
      [](const py::object& self) {
        py::cast<const Image&>(self).pixels();
        return self;
      },
      "__enter__(self)\n--\n\nReturns the image.");
  image.def(
      "__exit__", [](Image& self, const py::args&) { self.Close(); },
      "__exit__(self, /, *args)\n--\n\nCloses the image.");
  image.def("__repr__", &Represent, "__repr__(self)\n--\n\nMode and size.");
}

}  // namespace

void BindImage(py::module_& module) {
  Class image(module, "Image", py::custom_type_setup(SetSlots), R"(A picture in memory.

``open`` reads one, ``tovkit.draw`` draws one, ``fromarray`` and ``from_pillow`` take one over. Methods
that change a picture return a new one and leave this one alone, so images can be shared among threads;
only writing through a view changes pixels in place.

Views share the memory: ``memoryview(image)`` and ``numpy.asarray(image)`` are (height, width) for the
modes L and P and (height, width, 3 or 4) for BGR and BGRA, unsigned bytes in stored order, rows padded to
4 bytes. Whoever needs bytes in one piece, red first, takes ``rgb()``.

>>> import tovkit
>>> image = tovkit.draw({"Content": "Hello"}, size=(200, 60))
>>> memoryview(image).shape
(60, 200, 3)
)");
  BindSources(image);
  BindFacts(image);
  BindSteps(image);
  BindTargets(image);
  BindLife(image);
}

}  // namespace python
