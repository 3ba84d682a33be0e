// SPDX-License-Identifier: MIT
// A table says which kind of job takes which parameters, and for each of them how its value is checked and
// becomes JSON. The same functions read the values as in the command, so a mistake is told before a worker
// hears of the job.
#include "parameters.h"

#include "jobs/background.h"
#include "jobs/json_text.h"
#include "jobs/output_format.h"
#include "jobs/page_size.h"
#include "jobs/picture_size.h"
#include "jobs/picture_steps.h"

#include <charconv>
#include <climits>
#include <cmath>
#include <cstdio>
#include <optional>
#include <set>
#include <string_view>

namespace service {

namespace {

// The value as JSON; nothing when it is wrong.
using ToJson = std::optional<std::string> (*)(const std::string& value);

struct Parameter {
  const char* name;
  std::string_view kinds;  // of jobs, with spaces around each
  ToJson toJson;
  const char* expected;  // "'x' is no" ...
  bool isStep = false;
};

std::string Quoted(const std::string& text) {
  std::string json;
  jobs::AppendJsonString(json, text);
  return json;
}

template <int least, int most>
std::optional<std::string> WholeNumber(const std::string& value) {
  int number = 0;
  const char* const end = value.data() + value.size();
  const auto [at, error] = std::from_chars(value.data(), end, number);
  if (error != std::errc() || at != end || number < least || number > most) return std::nullopt;
  return std::to_string(number);
}

std::optional<std::string> Dpi(const std::string& value) {
  double number = NAN;
  const char* const end = value.data() + value.size();
  const auto [at, error] = std::from_chars(value.data(), end, number, std::chars_format::fixed);
  if (error != std::errc() || at != end || !(number >= 1 && number <= 4800)) return std::nullopt;
  char text[40];
  std::snprintf(text, sizeof text, "%.9g", number);
  return text;
}

std::optional<std::string> Flag(const std::string& value) {
  if (value.empty() || value == "1" || value == "true") return "true";
  if (value == "0" || value == "false") return "false";
  return std::nullopt;
}

std::optional<std::string> PageSize(const std::string& value) {
  return jobs::ParsePageSize(value) ? std::optional(Quoted(value)) : std::nullopt;
}

std::optional<std::string> Background(const std::string& value) {
  return jobs::ParseBackground(value) ? std::optional(Quoted(value)) : std::nullopt;
}

std::optional<std::string> NewSize(const std::string& value) {
  return jobs::ParsePictureSize(value) ? std::optional(Quoted(value)) : std::nullopt;
}

std::optional<std::string> Filter(const std::string& value) {
  return jobs::FindFilter(value) ? std::optional(Quoted(value)) : std::nullopt;
}

std::optional<std::string> PageFormat(const std::string& value) {
  return jobs::FindOutputFormat(value, jobs::OutputKind::kPage) ? std::optional(Quoted(value)) : std::nullopt;
}

std::optional<std::string> PictureFormat(const std::string& value) {
  return jobs::FindOutputFormat(value, jobs::OutputKind::kPicture) ? std::optional(Quoted(value))
                                                                   : std::nullopt;
}

std::optional<std::string> Rectangle(const std::string& value) {
  std::string json = "[";
  std::size_t from = 0;
  for (int i = 0; i < 4; ++i) {
    const std::size_t to = i == 3 ? value.size() : value.find(',', from);
    if (to == std::string::npos) return std::nullopt;
    const auto edge = WholeNumber<INT_MIN, INT_MAX>(value.substr(from, to - from));
    if (!edge) return std::nullopt;
    json += (i == 0 ? "" : ",") + *edge;
    from = to + 1;
  }
  return json + "]";
}

constexpr char kPageFormats[] = "format: png, jpg, tif, webp, jp2, bmp, pdf or svg";
constexpr char kPictureFormats[] = "format: png, jpg, tif, webp, jp2 or bmp";

constexpr Parameter kParameters[] = {
    {"format", " draw ", PageFormat, kPageFormats},
    {"format", " image map ", PictureFormat, kPictureFormats},
    {"size", " draw describe ", PageSize, "size such as 800x600, 210x297mm or A4"},
    {"size", " map ", WholeNumber<1, 2048>, "whole number from 1 to 2048"},
    {"dpi", " draw ", Dpi, "number from 1 to 4800"},
    {"background", " draw ", Background, "color: none, #gg, #rgb, #rrggbb, #ccmmyykk, or 1, 3 or 4 numbers"},
    {"one-page", " draw describe ", Flag, "flag: true or false"},
    {"effort", " draw image map ", WholeNumber<1, 9>, "whole number from 1 to 9"},
    {"frame", " image ", WholeNumber<1, 1 << 30>, "whole number from 1 on"},
    {"quality", " image ", WholeNumber<1, 100>, "whole number from 1 to 100"},
    {"filter", " image ", Filter, "filter: nearest, linear, cubic or lanczos"},
    {"crop", " image ", Rectangle, "rectangle LEFT,TOP,RIGHT,BOTTOM in pixels", true},
    {"erase", " image ", Rectangle, "rectangle LEFT,TOP,RIGHT,BOTTOM in pixels", true},
    {"resize", " image ", NewSize, "size such as 800x600, 800x, x600 or 50%", true},
    {"upright", " image ", Flag, "flag: true or false", true},
};

const Parameter& ParameterOf(const std::string& kind, const std::string& name) {
  const std::string wanted = " " + kind + " ";
  std::string names;
  for (const Parameter& parameter : kParameters) {
    if (parameter.kinds.find(wanted) == std::string_view::npos) continue;
    if (parameter.name == name) return parameter;
    names += (names.empty() ? "" : ", ") + std::string(parameter.name);
  }
  throw ParameterError(name,
                       "unknown parameter; " + (names.empty() ? "there are none" : "there are " + names));
}

// The members of a job's options, and what it is to be written as.
class Options {
 public:
  explicit Options(std::string kind) : kind_(std::move(kind)) {}

  void Take(const std::string& name, const std::string& value) {
    const Parameter& parameter = ParameterOf(kind_, name);
    if (!parameter.isStep && !seen_.insert(name).second) throw ParameterError(name, "stands twice");
    const auto json = parameter.toJson(value);
    if (!json) throw ParameterError(name, "'" + value + "' is no " + parameter.expected);
    if (name == "format") format_ = value;
    if (name == "filter") {
      filter_ = *json;
    } else if (parameter.isStep) {
      if (*json != "false") steps_.emplace_back(name, *json);
    } else if (name != "format") {
      members_ += ",\"" + name + "\":" + *json;
    }
  }

  JobOptions Finish() const {
    std::string members = members_;
    std::string mediaType = "application/json";
    if (kind_ == "draw" || kind_ == "image" || kind_ == "map") {
      const auto format = jobs::FindOutputFormat(format_, jobs::OutputKind::kPage);
      if (seen_.count("effort") != 0 && !jobs::HasEffort(*format)) {
        throw ParameterError("effort", "there is no choice of it for " + format_);
      }
      mediaType = jobs::MediaTypeOf(*format);
      members += ",\"format\":" + Quoted(format_);
    }
    const std::string steps = Steps();
    if (!steps.empty()) members += ",\"steps\":[" + steps + "]";
    return {"{\"" + kind_ + "\":{" + members.substr(members.empty() ? 0 : 1) + "}}", mediaType};
  }

 private:
  // The filter is that of every resize.
  std::string Steps() const {
    std::string steps;
    bool hasResize = false;
    for (const auto& [name, json] : steps_) {
      steps.append(steps.empty() ? "{\"" : ",{\"").append(name).append("\":").append(json);
      if (name == "resize" && !filter_.empty()) steps += ",\"filter\":" + filter_;
      hasResize = hasResize || name == "resize";
      steps += '}';
    }
    if (!filter_.empty() && !hasResize) throw ParameterError("filter", "needs resize");
    return steps;
  }

  std::string kind_;
  std::string format_ = "png";
  std::string filter_;   // JSON, empty without one
  std::string members_;  // each behind a comma
  std::vector<std::pair<std::string, std::string>> steps_;
  std::set<std::string> seen_;
};

}  // namespace

JobOptions OptionsOf(const std::string& kind, const QueryPairs& pairs) {
  Options options(kind);
  for (const auto& [name, value] : pairs) options.Take(name, value);
  return options.Finish();
}

}  // namespace service
