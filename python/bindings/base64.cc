// SPDX-License-Identifier: MIT
// The library ends at the first character that is not its alphabet's. Here white space is passed over and
// anything else is an error, as `tovkit base64` has it; text that is nothing but alphabet and padding costs
// one look.
#include "bindings.h"

#include "arguments.h"

#include "jobs/error.h"

#include <tovkit/util.h>

#include <algorithm>
#include <climits>
#include <optional>
#include <string>

namespace python {

namespace {

constexpr std::size_t kMostToEncode = std::size_t{3} << 29;  // what it becomes fits a core string
constexpr std::size_t kFewBytes = 4096;                      // done sooner than the lock is released

jobs::Error TooLong() { return {jobs::ErrorKind::kLimit, "data", "longer than 1.5 GiB"}; }

// Runs without the interpreter's lock where that is worth it.
template <typename Work>
CoreString Unlocked(std::size_t size, const Work& work) {
  std::optional<py::gil_scoped_release> released;
  if (size > kFewBytes) released.emplace();
  return work();
}

py::bytes Taken(const CoreString& bytes) {
  return {bytes.c_str(), static_cast<std::size_t>(bytes.GetLength())};
}

py::bytes Encode(const py::object& data) {
  const Bytes bytes(data, "data");
  const std::string_view view = bytes.view();
  if (view.size() > kMostToEncode) throw TooLong();
  return Taken(Unlocked(view.size(), [view] {
    return tovkit::Base64Encode(reinterpret_cast<const unsigned char*>(view.data()),
                                static_cast<int>(view.size()));
  }));
}

bool IsSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

bool IsOfAlphabet(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' || c == '/';
}

// Decoded, without padding; throws for what is no Base64.
CoreString DecodeText(std::string_view text) {
  const auto end =
      static_cast<std::size_t>(std::find_if_not(text.begin(), text.end(), IsOfAlphabet) - text.begin());
  if (end % 4 == 1) throw jobs::Error(jobs::ErrorKind::kInput, "data", "the Base64 text is cut short");
  const std::string_view rest = text.substr(end);
  if (rest.find_first_not_of('=') != std::string_view::npos || rest.size() > 2) {
    throw jobs::Error(
        jobs::ErrorKind::kInput, "data",
        "not Base64 from character " + std::to_string(end + 1) + " on, white space not counted");
  }
  return tovkit::Base64Decode(text.data(), static_cast<int>(end));
}

// The library decodes and stops by itself; what it made tells how far it came, and only a text that has more
// is looked at.
CoreString DecodeFast(std::string_view text) {
  std::size_t end = text.size();
  while (end > 0 && text.size() - end < 2 && text[end - 1] == '=') --end;
  CoreString decoded = tovkit::Base64Decode(text.data(), static_cast<int>(end));
  // A group cut short makes one byte less than it has characters.
  const std::size_t whole = end / 4 * 3 + (end % 4 == 0 ? 0 : end % 4 - 1);
  if (end % 4 != 1 && static_cast<std::size_t>(decoded.GetLength()) == whole) return decoded;
  std::string dense(text);
  dense.erase(std::remove_if(dense.begin(), dense.end(), IsSpace), dense.end());
  return DecodeText(dense);
}

py::bytes Decode(const py::object& data) {
  std::optional<Bytes> bytes;
  std::string_view view;
  if (PyUnicode_Check(data.ptr())) {
    view = TextOf(data, "data");
  } else {
    view = bytes.emplace(data, "data").view();
  }
  if (view.size() > INT_MAX) throw TooLong();
  return Taken(Unlocked(view.size(), [view] { return DecodeFast(view); }));
}

}  // namespace

void BindBase64(py::module_& module) {
  module.def("b64encode", &Encode, py::arg("data"), R"(b64encode(data)
--

The Base64 of any buffer, as bytes: RFC 4648's standard alphabet, padded, on one line.

Raises LimitError for more than 1.5 GiB, TypeError for what has no buffer, such as a str.

>>> import tovkit
>>> tovkit.b64encode(b"tovkit")
b'dG92a2l0'
)");
  module.def("b64decode", &Decode, py::arg("data"), R"(b64decode(data)
--

The bytes of a Base64 text, a str or any buffer. White space is passed over, and padding may be missing.

Raises InputError (a ValueError) for any other character, with its place, and for a text that is cut short,
LimitError for more than 2 GiB, TypeError.

>>> import tovkit
>>> tovkit.b64decode("dG92 a2l0")
b'tovkit'
>>> tovkit.b64decode("dG92!")
Traceback (most recent call last):
...
tovkit.InputError: data: not Base64 from character 5 on, white space not counted
)");
}

}  // namespace python
