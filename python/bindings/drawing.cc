// SPDX-License-Identifier: MIT
// Jobs of jobs/ over a JSON text. What a description has that is not used as it stands comes back in words,
// for the package to warn of, or ends the job before anything is drawn.
#include "drawing.h"

#include "arguments.h"
#include "bindings.h"
#include "image.h"

#include "jobs/background.h"
#include "jobs/draw_job.h"
#include "jobs/error.h"
#include "jobs/page_size.h"
#include "jobs/text_review.h"

#include <climits>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

namespace python {

namespace {

constexpr std::uint32_t kMostWarnings = 100;  // of a line
constexpr float kLargestSide = 1e9F;          // before the library's own limit speaks

CoreSizeF SizeOf(const py::object& size) {
  if (PyUnicode_Check(size.ptr())) {
    const std::string text(TextOf(size, "size"));
    const auto parsed = jobs::ParsePageSize(text);
    if (!parsed) {
      RefuseValue("size", "'" + text + "' is no size such as 800x600 or 210x297mm, and no paper of " +
                              jobs::PaperNames());
    }
    return *parsed;
  }
  if (!PySequence_Check(size.ptr())) RefuseType("size", "(width, height) or a str such as 'A4'", size);
  const auto sides = py::reinterpret_borrow<py::sequence>(size);
  if (sides.size() != 2) RefuseValue("size", "a width and a height are expected");
  const auto side = [&](std::size_t i) {
    const float length = NumberOf(py::object(sides[i]), "size", 0, kLargestSide);
    if (length <= 0) RefuseValue("size", "a side of a page is longer than 0");
    return length;
  };
  return {side(0), side(1)};
}

std::uint32_t BackgroundOf(const py::object& background) {
  if (background.is_none()) return 0;
  const std::string text(TextOf(background, "background"));
  const auto color = jobs::ParseBackground(text);
  if (!color) RefuseValue("background", "'" + text + "' is no color: none, " + jobs::kColorForms);
  return *color;
}

// Collects what the package warns of.
class Listener final : public jobs::Observer {
 public:
  explicit Listener(bool strict) : review_(Settings(strict)) {}

  void LineMeasured(const jobs::MeasuredLine& line, const std::optional<CoreSizeF>& page) override {
    review_.Look(line, page);
  }
  void LinesMeasured() override {
    if (!review_.Failures().empty()) throw jobs::Error(review_.Failures().front());
  }

  const std::vector<std::string>& warnings() const { return warnings_; }

 private:
  jobs::TextReview::Settings Settings(bool strict) {
    jobs::TextReview::Settings settings;
    settings.strict = strict ? 1U << static_cast<unsigned>(jobs::Finding::kKeys) : 0;
    settings.limit = kMostWarnings;
    settings.tell = [this](jobs::Finding finding, const std::string& pointer, const std::string& text) {
      if (finding == jobs::Finding::kKeys && warnings_.size() < kMostWarnings) {
        warnings_.push_back(kArgumentName + pointer + ": " + text);
      }
    };
    return settings;
  }

  std::vector<std::string> warnings_;
  jobs::TextReview review_;
};

// The parameters that every way of drawing has.
struct Description {
  Description(const py::object& lines, bool objects, const py::object& size, const py::object& fonts)
      : text(TextOf(lines, kArgumentName)),
        job{{jobs::Input::Memory(text, objects ? kObjectsName : kArgumentName)},
            PathsOf(fonts, "fonts"),
            jobs::Output::Memory(&output, kArgumentName),
            {}} {
    if (!size.is_none()) job.size = SizeOf(size);
  }

  std::string text;
  CoreMemoryOutputStream output;
  jobs::DrawJob job;
};

py::list ListOf(const std::vector<std::string>& texts) {
  py::list list;
  for (const std::string& text : texts) list.append(StrOf(text));
  return list;
}

// What is drawn over: an image, or the bytes or the path of one.
class Under {
 public:
  Under(const py::object& over, jobs::DrawJob& job) {
    if (over.is_none()) return;
    if (job.size) RefuseValue("size", "the picture that is drawn over has a size");
    if (py::isinstance<Image>(over)) {
      const auto& image = py::cast<const Image&>(over);
      image_ = image.pixels();
      job.underPicture = image_.get();
      job.underOrientation = image.origin().orientation;
    } else if (IsPath(over)) {
      job.under = jobs::Input::File(PathOf(over, "over"));
    } else if (PyObject_CheckBuffer(over.ptr()) != 0) {
      bytes_.emplace(over, "over");
      job.under = jobs::Input::Memory(bytes_->view(), "over");
    } else {
      RefuseType("over", "an Image, a path or bytes", over);
    }
  }

 private:
  std::shared_ptr<CoreDib> image_;
  std::optional<Bytes> bytes_;
};

py::tuple Draw(const py::object& lines, bool objects, const py::object& size, const py::object& dpi,
               const py::object& background, const py::object& over, const py::object& fonts, bool strict) {
  Description description(lines, objects, size, fonts);
  jobs::DrawJob& job = description.job;
  job.dpi = NumberOf(dpi, "dpi", 1, 4800);
  job.background = BackgroundOf(background);
  const Under under(over, job);
  Listener listener(strict);
  std::unique_ptr<Image> image;
  {
    const py::gil_scoped_release released;
    image = std::make_unique<Image>(jobs::Render(job, listener), Image::Origin());
  }
  return py::make_tuple(py::cast(std::move(image)), ListOf(listener.warnings()));
}

py::tuple DrawDocument(const py::object& lines, bool objects, const char* format, const py::object& size,
                       const py::object& background, const py::object& fonts, bool strict) {
  Description description(lines, objects, size, fonts);
  description.job.format = *jobs::FindOutputFormat(format, jobs::OutputKind::kPage);
  description.job.background = BackgroundOf(background);
  Listener listener(strict);
  {
    const py::gil_scoped_release released;
    jobs::Run(description.job, listener);
  }
  const CoreMemoryOutputStream& output = description.output;
  return py::make_tuple(py::bytes(reinterpret_cast<const char*>(output.GetData()), output.GetSize()),
                        ListOf(listener.warnings()));
}

// Hands the report of every line on.
class Reporter final : public jobs::Observer {
 public:
  explicit Reporter(std::uint32_t limit) : review_(Settings(limit)) {}

  void LineMeasured(const jobs::MeasuredLine& line, const std::optional<CoreSizeF>& page) override {
    review_.Look(line, page);
  }

  // A JSON array.
  std::string reports() const { return "[" + reports_ + "]"; }

 private:
  jobs::TextReview::Settings Settings(std::uint32_t limit) {
    jobs::TextReview::Settings settings;
    settings.limit = limit;
    settings.sink = [this](const tovkit::JsonValue& report) {
      if (!reports_.empty()) reports_ += ',';
      const CoreString text = report.ToString();
      reports_.append(text.c_str(), static_cast<std::size_t>(text.GetLength()));
    };
    return settings;
  }

  std::string reports_;
  jobs::TextReview review_;
};

py::str Describe(const py::object& lines, bool objects, const py::object& size, const py::object& fonts,
                 const py::object& limit) {
  Description description(lines, objects, size, fonts);
  Reporter reporter(static_cast<std::uint32_t>(WholeOf(limit, "limit", 0, INT_MAX)));
  std::string reports;
  {
    const py::gil_scoped_release released;
    jobs::Measure(description.job, reporter);
    reports = reporter.reports();
  }
  return {reports};
}

}  // namespace

void BindDrawing(py::module_& module) {
  module.def("draw", &Draw,
             "draw(lines, objects, size, dpi, background, over, fonts, strict, /)\n--\n\n"
             "The image, and what to warn of.");
  module.def("draw_document", &DrawDocument,
             "draw_document(lines, objects, format, size, background, fonts, strict, /)\n--\n\n"
             "The bytes of a document, and what to warn of.");
  module.def("describe", &Describe,
             "describe(lines, objects, size, fonts, limit, /)\n--\n\n"
             "A JSON array with the report of each line.");
}

}  // namespace python
