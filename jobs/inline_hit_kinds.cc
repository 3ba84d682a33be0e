// SPDX-License-Identifier: MIT
// Paths that come with their job: which points touch them and why, or a picture of what does.
#include "inline_kinds.h"

#include "error.h"
#include "hit_map.h"
#include "hit_members.h"
#include "json_source.h"
#include "output_members.h"
#include "path_reader.h"
#include "picture_writer.h"

#include <tovkit/geometry.h>
#include <tovmx/device.h>
#include <tovmx/path_walk.h>

#include <cmath>
#include <cstdio>
#include <map>

namespace jobs {

namespace {

constexpr std::size_t kMostPoints = 10000;
constexpr int kUsualSize = 512;
constexpr int kLargestSize = 2048;

struct Question {
  CorePath path;
  HitJob job;
};

// Errors of a member tell its pointer.
Question ReadQuestion(const JobBench& bench) {
  JsonSource source(InlineInput(bench));
  try {
    RefuseDoubleMembers(source.root(), kInlineName);
    Members hit(source.root(), kInlineName);
    const std::string text = hit.NeedText("path");
    Question question{{}, HitJob{Input::Memory(text, "path")}};
    TakeHitMembers(hit, false, question.job);
    hit.Finish();
    if (question.job.points.size() > kMostPoints) hit.Refuse("points", "more than 10000");
    try {
      question.path = ReadPath(question.job.path, question.job.id, bench.observer);
    } catch (const Error& e) {
      throw Error(e.kind(), std::string(kInlineName) + ": path", e.what());
    }
    question.job.path = Input::Memory({}, "path");
    return question;
  } catch (const Error& e) {
    // "body: points", "body/points"
    constexpr std::size_t kLength = std::string_view(kInlineName).size();
    std::string pointer = e.place().size() > kLength ? e.place().substr(kLength) : "";
    if (pointer.compare(0, 2, ": ") == 0) pointer = "/" + pointer.substr(2);
    if (e.kind() != ErrorKind::kInput) throw;
    throw source.ErrorAt(pointer, e.text());
  }
}

void AppendNumber(std::string& json, double number) {
  char text[40];
  std::snprintf(text, sizeof text, "%.9g", number);
  json += text;
}

// The segments of a path by the record that they begin with, as HitTestDetail counts.
class Segments {
 public:
  explicit Segments(const CorePath& path) : records_(path.GetPoints()) {
    CoreWalkPath(path.GetPoints(), path.GetPointCounter() + 1, *this);
  }

  // The segment that decided a point, as JSON; null for a record that begins none.
  std::string JsonOf(int record, const CorePointF& decided, float tolerance) const {
    const Segment* const segment = Find(record, decided, tolerance);
    if (segment == nullptr) return "null";
    std::string json = std::string(R"({"type":")") + segment->type + R"(","points":[)";
    for (const CorePointF& point : segment->points) {
      json += json.back() == '[' ? "[" : ",[";
      AppendNumber(json, static_cast<double>(point.x));
      json += ',';
      AppendNumber(json, static_cast<double>(point.y));
      json += ']';
    }
    return json + "]}";
  }

  bool Line(const CorePathPoint& from, const CorePathPoint& to) {
    return Add("line", &to, {&from, &to}, segments_);
  }
  bool Quad(const CorePathPoint* p) { return Add("quadratic", p + 1, {p, p + 1, p + 2}, segments_); }
  bool Cubic(const CorePathPoint* p) { return Add("cubic", p + 1, {p, p + 1, p + 2, p + 3}, segments_); }
  bool Arc(const CorePathPoint* p) { return Add("arc", p + 1, {p, p + 4}, segments_); }
  bool Close(const CorePathPoint& from, const CorePathPoint& start) {
    return Add("close", &from, {&from, &start}, closings_);
  }

 private:
  struct Segment {
    const char* type;
    std::vector<CorePointF> points;
  };

  using ByRecord = std::map<int, Segment>;

  bool Add(const char* type, const CorePathPoint* record, std::initializer_list<const CorePathPoint*> points,
           ByRecord& segments) {
    Segment segment{type, {}};
    for (const CorePathPoint* const point : points) segment.points.push_back({point->x, point->y});
    segments.emplace(static_cast<int>(record - records_), std::move(segment));
    return false;
  }

  // A line that a subpath is closed after and the closing have one record. The line is tested first, so the
  // closing decided where the line by itself is no hit.
  const Segment* Find(int record, const CorePointF& decided, float tolerance) const {
    const auto segment = segments_.find(record);
    const auto closing = closings_.find(record);
    if (closing == closings_.end()) return segment == segments_.end() ? nullptr : &segment->second;
    if (segment == segments_.end()) return &closing->second;
    CorePath line;
    line.MoveTo(segment->second.points.front().x, segment->second.points.front().y);
    line.LineTo(segment->second.points.back().x, segment->second.points.back().y);
    const bool isLine = tovkit::HitTestPath(decided, tolerance, line, 0, false, kCoreFillWinding);
    return isLine ? &segment->second : &closing->second;
  }

  const CorePathPoint* records_;
  ByRecord segments_;
  ByRecord closings_;
};

void AppendRays(std::string& json, unsigned rays) {
  constexpr struct {
    unsigned bit;
    const char* name;
  } kRays[] = {{tovkit::kHitTestRayRight, "\"right\""},
               {tovkit::kHitTestRayDown, "\"down\""},
               {tovkit::kHitTestRayLeft, "\"left\""},
               {tovkit::kHitTestRayUp, "\"up\""}};
  json += R"(,"rays":[)";
  for (const auto& ray : kRays) {
    if ((rays & ray.bit) == 0) continue;
    if (json.back() != '[') json += ',';
    json += ray.name;
  }
  json += ']';
}

void AppendDetail(std::string& json, const CorePointF& point, float tolerance,
                  const tovkit::HitTestDetail& detail, const Segments& segments) {
  json += detail.hit ? R"({"hit":true,"distance":)" : R"({"hit":false,"distance":)";
  if (std::isfinite(detail.distance)) {
    AppendNumber(json, detail.distance);
  } else {
    json += "null";
  }
  json += R"(,"record":)" + (detail.record < 0 ? "null" : std::to_string(detail.record));
  json += R"(,"segment":)" + segments.JsonOf(detail.record, point, tolerance);
  AppendRays(json, detail.rays);
  json += '}';
}

void AppendMap(std::string& json, const Question& question) {
  const HitMapView view = ViewOfHitMap(question.path, question.job.tolerance, kUsualSize);
  const double right = view.left + view.width / view.scale, bottom = view.top + view.height / view.scale;
  json += R"(,"map":{"left":)";
  AppendNumber(json, view.left);
  json += R"(,"top":)";
  AppendNumber(json, view.top);
  json += R"(,"right":)";
  AppendNumber(json, right);
  json += R"(,"bottom":)";
  AppendNumber(json, bottom);
  json += '}';
}

}  // namespace

void RunInlineHitKind(Members& members, JobBench& bench, JobResult& result) {
  Members(members.Take("hit"), "hit").Finish();
  members.Finish();
  const Question question = ReadQuestion(bench);
  const Segments segments(question.path);
  std::string json = R"({"results":[)";
  for (const CorePointF point : question.job.points) {
    if (json.back() != '[') json += ',';
    AppendDetail(json, point, question.job.tolerance,
                 tovkit::HitTestPathDetail(point, question.job.tolerance, question.path, question.job.fill),
                 segments);
  }
  json += R"(],"records":)" + std::to_string(question.path.GetPointCounter() + 1);
  if (question.path.GetPointCounter() >= 0) AppendMap(json, question);
  AnswerJson(json + "}\n", bench, result);
}

void RunInlineMapKind(Members& members, JobBench& bench, JobResult& result) {
  Members options(members.Take("map"), "map");
  members.Finish();
  const WantedOutput wanted = TakeWantedOutput(options, "", OutputKind::kPicture);
  const int size = options.TakeWhole("size", 1, kLargestSize).value_or(kUsualSize);
  options.Finish();
  const Question question = ReadQuestion(bench);
  if (question.path.GetPointCounter() < 0) throw Error(ErrorKind::kInput, kInlineName, "the path is empty");
  CoreDib map;
  if (!DrawHitMap(question.path, question.job.tolerance, size, bench.observer, map)) {
    throw Error(ErrorKind::kLimit, kAnswerName, "not enough memory");
  }
  WritePicture(map, wanted.format.picture, 0, Output::Memory(&bench.output, kAnswerName), wanted.effort);
  result.mediaType = MediaTypeOf(wanted.format);
}

}  // namespace jobs
