// SPDX-License-Identifier: MIT
// Pillow, called in an interpreter inside this process: what starts once is not on the clock.
#define PY_SSIZE_T_CLEAN
#include <Python.h>

#include "codec_peers.h"

#include <cstdlib>
#include <memory>

namespace peers {

namespace {

constexpr char kScript[] = R"(
import io
from PIL import Image

OPTIONS = {
    "PNG": {},
    "JPEG": {"quality": 90, "subsampling": 0},
    "TIFF": {"compression": "tiff_lzw", "tiffinfo": {317: 2}},
    "WEBP": {"quality": 80},
    "WEBP_LOSSLESS": {"lossless": True, "quality": 75, "exact": True},
    "JPEG2000": {},
    "BMP": {},
}

def encoder(pixels, width, height, format):
    image = Image.frombytes("RGB", (width, height), pixels, "raw", "BGR")
    def encode():
        out = io.BytesIO()
        image.save(out, format.split("_")[0], **OPTIONS[format])
        return out.tell()
    return encode

def decoder(data, format):
    def decode():
        image = Image.open(io.BytesIO(data))
        image.load()
        return image.width
    return decode
)";

using Object = std::shared_ptr<PyObject>;

Object Owned(PyObject* object) {
  if (object == nullptr) {
    PyErr_Print();
    std::exit(1);
  }
  return Object(object, [](PyObject* o) { Py_DECREF(o); });
}

// The script's globals. The interpreter stays: the functions that use it may outlive any order of
// destruction.
PyObject* Globals() {
  static PyObject* const globals = [] {
    PyConfig config;
    PyConfig_InitIsolatedConfig(&config);
    PyConfig_SetBytesString(&config, &config.program_name, TOVKIT_BENCH_PYTHON);
    Py_InitializeFromConfig(&config);
    PyConfig_Clear(&config);
    PyObject* const names = PyModule_GetDict(PyImport_AddModule("__main__"));
    Owned(PyRun_String(kScript, Py_file_input, names, names));
    return names;
  }();
  return globals;
}

long Call(const Object& function) {
  const Object result = Owned(PyObject_CallNoArgs(function.get()));
  return PyLong_AsLong(result.get());
}

}  // namespace

Encode PillowEncoder(const direct::Picture& picture, const std::string& format) {
  const auto size = static_cast<Py_ssize_t>(picture.width) * picture.height * 3;
  const Object encode = Owned(PyObject_CallFunction(PyDict_GetItemString(Globals(), "encoder"), "y#iis",
                                                    reinterpret_cast<const char*>(picture.pixels), size,
                                                    picture.width, picture.height, format.c_str()));
  return [encode] { return static_cast<std::size_t>(Call(encode)); };
}

Decode PillowDecoder(const std::string& bytes, const std::string& format) {
  const Object decode =
      Owned(PyObject_CallFunction(PyDict_GetItemString(Globals(), "decoder"), "y#s", bytes.data(),
                                  static_cast<Py_ssize_t>(bytes.size()), format.c_str()));
  return [decode] { return Call(decode) > 0; };
}

}  // namespace peers
