// SPDX-License-Identifier: MIT
// Many points at once: the lock of the interpreter is released, and enough work is split over threads, which
// copy their points as pairs of floats. Answers come in the kind of the question: an array for an array, else
// a list.
#include "bindings.h"
#include "path.h"

#include "jobs/error.h"

#include <tovkit/geometry.h>

#include <emmintrin.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <system_error>
#include <thread>
#include <type_traits>
#include <vector>

namespace python {

namespace {

constexpr std::size_t kHitTestsForThread = 1 << 14;  // points that are tested against a prepared path
constexpr std::size_t kWorkForThread = 1 << 14;      // points times records, each of which is looked at
constexpr std::size_t kMostThreads = 64;
constexpr std::size_t kMostPoints = std::size_t{1} << 28;  // their copy takes 2 GiB
constexpr char kPointsWanted[] = "an array of (n, 2) or pairs";

jobs::Error TooMany() { return {jobs::ErrorKind::kLimit, "points", "more than 268435456"}; }

// Reads pairs of numbers that lie `row` bytes apart, the second of each `column` bytes behind the first.
using ReadPairs = void (*)(const char* from, Py_ssize_t row, Py_ssize_t column, CorePointF* to,
                           std::size_t count);

template <typename Number>
float ReadAs(const char* from) {
  Number number;
  std::memcpy(&number, from, sizeof number);
  return static_cast<float>(number);
}

// Beyond what a float holds a number is infinite, which no segment reaches.
template <>
float ReadAs<double>(const char* from) {
  double number = 0;
  std::memcpy(&number, from, sizeof number);
  if (std::abs(number) > double{std::numeric_limits<float>::max()}) {
    return std::copysign(std::numeric_limits<float>::infinity(), static_cast<float>(number > 0 ? 1 : -1));
  }
  return static_cast<float>(number);
}

// Pairs that lie side by side, as nearly all do, are made floats two at a time.
void ReadPairsOfDoubles(const char* from, Py_ssize_t row, CorePointF* to, std::size_t count) {
  const __m128d most = _mm_set1_pd(double{std::numeric_limits<float>::max()});
  const __m128d sign = _mm_set1_pd(-0.0);
  for (std::size_t i = 0; i < count; ++i, from += row) {
    double pair[2];
    std::memcpy(pair, from, sizeof pair);
    const __m128d numbers = _mm_loadu_pd(pair);
    if (_mm_movemask_pd(_mm_cmpgt_pd(_mm_andnot_pd(sign, numbers), most)) != 0) {
      to[i] = {ReadAs<double>(from), ReadAs<double>(from + sizeof(double))};
      continue;
    }
    _mm_storel_pi(reinterpret_cast<__m64*>(to + i), _mm_cvtpd_ps(numbers));
  }
}

template <typename Number>
void ReadPairsAs(const char* from, Py_ssize_t row, Py_ssize_t column, CorePointF* to, std::size_t count) {
  if constexpr (std::is_same_v<Number, double>) {
    if (column == sizeof(double)) return ReadPairsOfDoubles(from, row, to, count);
  }
  for (std::size_t i = 0; i < count; ++i, from += row)
    to[i] = {ReadAs<Number>(from), ReadAs<Number>(from + column)};
}

// How elements of a buffer's format are read; null for what is no number in the machine's order.
ReadPairs ReaderOf(const Py_buffer& view) {
  std::string_view format = view.format == nullptr ? "B" : view.format;
  if (format.size() == 2 && (format[0] == '@' || format[0] == '=' || format[0] == '<'))
    format.remove_prefix(1);
  if (format.size() != 1) return nullptr;
  switch (format[0]) {
    case 'f':
      return view.itemsize == 4 ? &ReadPairsAs<float> : nullptr;
    case 'd':
      return view.itemsize == 8 ? &ReadPairsAs<double> : nullptr;
    case 'b':
      return &ReadPairsAs<std::int8_t>;
    case 'B':
      return &ReadPairsAs<std::uint8_t>;
    case 'h':
      return &ReadPairsAs<std::int16_t>;
    case 'H':
      return &ReadPairsAs<std::uint16_t>;
    case 'i':
    case 'l':
    case 'q':
    case 'n':
      return view.itemsize == 8 ? &ReadPairsAs<std::int64_t> : &ReadPairsAs<std::int32_t>;
    case 'I':
    case 'L':
    case 'Q':
    case 'N':
      return view.itemsize == 8 ? &ReadPairsAs<std::uint64_t> : &ReadPairsAs<std::uint32_t>;
    default:
      return nullptr;
  }
}

// Calls work(from, to) for ranges that cover 0 to `count`, in threads when each has `least` to do.
template <typename Work>
void Split(std::size_t count, std::size_t least, const Work& work) {
  const std::size_t parts = std::clamp<std::size_t>(
      std::min<std::size_t>(count / least, std::thread::hardware_concurrency()), 1, kMostThreads);
  std::vector<std::thread> threads;
  std::size_t from = 0;
  for (std::size_t part = 1; part < parts; ++part) {
    const std::size_t to = count / parts * part;
    try {
      threads.emplace_back(work, from, to);
    } catch (const std::system_error&) {
      work(from, to);
    }
    from = to;
  }
  work(from, count);
  for (std::thread& thread : threads) thread.join();
}

// The points of a question, read when they are answered: the memory for them is touched first by the thread
// that needs it.
class Points {
 public:
  explicit Points(const py::object& points);

  std::size_t size() const { return count_; }
  // Those from `from` to `to`. Wants no lock.
  const CorePointF* Read(std::size_t from, std::size_t to) const {
    if (read_ == nullptr) return pairs_.data() + from;
    const Py_buffer& view = buffer_->view();
    read_(static_cast<const char*>(view.buf) + static_cast<Py_ssize_t>(from) * view.strides[0],
          view.strides[0], view.strides[1], room_.get() + from, to - from);
    return room_.get() + from;
  }

 private:
  void TakeBuffer(const py::object& array);

  std::size_t count_ = 0;
  std::vector<CorePointF> pairs_;  // without a buffer
  std::unique_ptr<Buffer> buffer_;
  ReadPairs read_ = nullptr;
  struct Deleter {
    void operator()(void* room) const { ::operator delete(room); }
  };
  std::unique_ptr<CorePointF, Deleter> room_;  // nothing is written to it before it is needed
};

void Points::TakeBuffer(const py::object& array) {
  buffer_ = std::make_unique<Buffer>(array, "points", kPointsWanted);
  const Py_buffer& view = buffer_->view();
  read_ = ReaderOf(view);
  if (read_ == nullptr) {
    RefuseValue("points", "elements of the format '" + std::string(view.format) + "' are no numbers to read");
  }
  if (view.ndim != 2 || view.shape[1] != 2 || view.suboffsets != nullptr) {
    RefuseValue("points", "a shape of (n, 2) is expected");
  }
  // Strides of 0 make a large shape of a few bytes.
  if (static_cast<std::size_t>(view.shape[0]) > kMostPoints) throw TooMany();
  count_ = static_cast<std::size_t>(view.shape[0]);
  room_.reset(static_cast<CorePointF*>(::operator new(count_ * sizeof(CorePointF))));
}

// Any sequence of pairs; NaN and infinite numbers are points that hit nothing.
std::vector<CorePointF> PointsOfPairs(const py::object& pairs) {
  const auto iterator = py::reinterpret_steal<py::object>(PyObject_GetIter(pairs.ptr()));
  if (!iterator) {
    PyErr_Clear();
    RefuseType("points", kPointsWanted, pairs);
  }
  std::vector<CorePointF> points;
  for (const py::handle item : py::reinterpret_borrow<py::iterator>(iterator)) {
    if (points.size() == kMostPoints) throw TooMany();
    const auto pair =
        py::reinterpret_steal<py::object>(PySequence_Fast(item.ptr(), "points must be pairs of numbers"));
    if (!pair) throw py::error_already_set();
    if (PySequence_Fast_GET_SIZE(pair.ptr()) != 2) RefuseValue("points", "a pair (x, y) is expected");
    double numbers[2];
    for (int i = 0; i < 2; ++i) {
      numbers[i] = PyFloat_AsDouble(PySequence_Fast_GET_ITEM(pair.ptr(), i));
      if (numbers[i] == -1 && PyErr_Occurred() != nullptr) throw py::error_already_set();
    }
    points.push_back({ReadAs<double>(reinterpret_cast<const char*>(&numbers[0])),
                      ReadAs<double>(reinterpret_cast<const char*>(&numbers[1]))});
  }
  return points;
}

Points::Points(const py::object& points) {
  if (PyObject_CheckBuffer(points.ptr()) != 0) {
    TakeBuffer(points);
  } else {
    pairs_ = PointsOfPairs(points);
    count_ = pairs_.size();
  }
}

// NumPy, when the object is an array of it.
py::object NumpyOf(const py::object& object) {
  PyObject* const numpy = PyDict_GetItemString(PyImport_GetModuleDict(), "numpy");
  if (numpy == nullptr) return py::none();
  const auto module = py::reinterpret_borrow<py::object>(numpy);
  return py::isinstance(object, module.attr("ndarray")) ? module : py::object(py::none());
}

// What `answer` says of the points, in the kind of the question. It is given ranges of them and of their
// values, each of at least `least`.
template <typename Value, typename Answer>
py::object AnswerAll(const py::object& pointsObject, const char* type, std::size_t least,
                     const Answer& answer) {
  const Points points(pointsObject);
  const std::unique_ptr<Value[]> values(new Value[points.size()]);
  {
    const py::gil_scoped_release released;
    Split(points.size(), least, [&](std::size_t from, std::size_t to) {
      answer(points.Read(from, to), to - from, values.get() + from);
    });
  }
  if (const py::object numpy = NumpyOf(pointsObject); !numpy.is_none()) {
    const auto bytes = py::reinterpret_steal<py::object>(PyByteArray_FromStringAndSize(
        reinterpret_cast<const char*>(values.get()), static_cast<Py_ssize_t>(points.size() * sizeof(Value))));
    if (!bytes) throw py::error_already_set();
    return numpy.attr("frombuffer")(bytes, type);
  }
  py::list list(points.size());
  for (std::size_t i = 0; i < points.size(); ++i) {
    if constexpr (std::is_same_v<Value, double>) {
      list[i] = py::float_(values[i]);
    } else {
      list[i] = py::bool_(values[i]);
    }
  }
  return list;
}

// Infinity is a tolerance too.
float ToleranceOf(const py::object& tolerance) {
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  return NumberOf(tolerance, "tolerance", -kInfinity, kInfinity);
}

py::object HitTest(const py::object& path, const py::object& points, const py::object& tolerance, bool fill) {
  const CorePath records = PathFrom(path);
  const float distance = ToleranceOf(tolerance);
  return AnswerAll<bool>(points, "?", kHitTestsForThread,
                         [&](const CorePointF* asked, std::size_t count, bool* hits) {
                           tovkit::HitTestPathPoints(asked, count, distance, records, fill, hits);
                         });
}

py::object Distance(const py::object& path, const py::object& points) {
  const CorePath records = PathFrom(path);
  const std::size_t least = kWorkForThread / static_cast<std::size_t>(records.GetPointCounter() + 2) + 1;
  return AnswerAll<double>(points, "d", least,
                           [&](const CorePointF* asked, std::size_t count, double* distances) {
                             for (std::size_t i = 0; i < count; ++i)
                               distances[i] = tovkit::HitTestPathDetail(asked[i], 0, records, false).distance;
                           });
}

py::object Detail(const py::object& path, const py::object& point, const py::object& tolerance, bool fill) {
  const CorePath records = PathFrom(path);
  const std::vector<CorePointF> points = PointsOfPairs(py::make_tuple(point));
  const tovkit::HitTestDetail detail =
      tovkit::HitTestPathDetail(points[0], ToleranceOf(tolerance), records, fill);
  py::list rays;
  const std::pair<unsigned, const char*> kRays[] = {{tovkit::kHitTestRayRight, "right"},
                                                    {tovkit::kHitTestRayDown, "down"},
                                                    {tovkit::kHitTestRayLeft, "left"},
                                                    {tovkit::kHitTestRayUp, "up"}};
  for (const auto& [bit, name] : kRays) {
    if ((detail.rays & bit) != 0) rays.append(name);
  }
  return py::module_::import("tovkit._records")
      .attr("HitDetail")(detail.hit, detail.record < 0 ? py::object(py::none()) : py::int_(detail.record),
                         py::tuple(rays), detail.distance);
}

}  // namespace

void BindHits(py::module_& module) {
  module.def("hit_test", &HitTest, py::arg("path"), py::arg("points"), py::arg("tolerance") = 1,
             py::arg("fill") = false,
             R"(hit_test(path, points, tolerance=1, fill=False)
--

Tells for each point whether it touches a path.

``path`` is a Path or the text of an SVG path. ``points`` are n pairs in path units: an array of shape
(n, 2) of any number type and strides, or any iterable of pairs. Returns an array of n booleans for a NumPy
array and a list of bool for anything else. ``tolerance`` is how far from the outline counts as a hit; with
a negative one the outline is never hit. With ``fill``, points inside hit as well: those from which the rays
to the left, right, up and down all cross the outline, which is neither the even-odd nor the winding rule.

The interpreter's lock is released, and many points are split over threads. With a finite tolerance, NaN
and infinite coordinates hit nothing.

Raises ValueError for another shape and for elements that are no numbers, LimitError for more than
268,435,456 points, TypeError.

>>> import tovkit
>>> square = tovkit.Path("M 0 0 L 10 0 L 10 10 L 0 10 Z")
>>> tovkit.hit_test(square, [(5, 5), (5, 0.5), (20, 20)])
[False, True, False]
>>> tovkit.hit_test(square, [(5, 5)], fill=True)
[True]
)");
  module.def("distance", &Distance, py::arg("path"), py::arg("points"), R"(distance(path, points)
--

The distance from each point to the nearest point of the outline, in path units, to some seven digits.

``path`` and ``points`` are as for ``hit_test``; the result is an array of n 64-bit floats or a list of
float. It is infinite where the path draws nothing or the point is not finite. It is no verdict: see
``hit_test``, whose rules differ near corners and along the axes.

Raises ValueError for another shape and for elements that are no numbers, LimitError for more than
268,435,456 points, TypeError.

>>> import tovkit
>>> tovkit.distance("M 0 0 L 10 0", [(5, 3), (13, 4)])
[3.0, 5.0]
)");
  module.def("hit_detail", &Detail, py::arg("path"), py::arg("point"), py::arg("tolerance") = 1,
             py::arg("fill") = false,
             R"(hit_detail(path, point, tolerance=1, fill=False)
--

The verdict of ``hit_test`` on one point (x, y) with its reasons, as a HitDetail.

Raises ValueError for what is no pair, TypeError.

>>> import tovkit
>>> tovkit.hit_detail("M 0 0 L 10 0", (5, 3))
HitDetail(hit=False, record=None, rays=(), distance=3.0)
)");
}

}  // namespace python
