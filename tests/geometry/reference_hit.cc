// SPDX-License-Identifier: MIT
#include "reference_hit.h"

#include <cmath>
#include <cstdlib>

namespace reference {

namespace {

float Distance(float ax, float ay, float bx, float by) {
  const float dx = ax - bx;
  const float dy = ay - by;
  return std::sqrt(dx * dx + dy * dy);  // float
}

struct Box {
  float minX, minY, maxX, maxY;
};

// The first point opens the box; a later one widens it where it compares as outside.
Box BoxOf(const Segment& segment, int count) {
  Box box = {segment.points[0].x, segment.points[0].y, segment.points[0].x, segment.points[0].y};
  for (int i = 1; i < count; ++i) {
    const CorePathPoint& p = segment.points[i];
    if (p.x < box.minX) box.minX = p.x;
    if (p.x > box.maxX) box.maxX = p.x;
    if (p.y < box.minY) box.minY = p.y;
    if (p.y > box.maxY) box.maxY = p.y;
  }
  return box;
}

bool Hit(Counters& counters) {
  ++counters.right;
  ++counters.downSide;
  ++counters.left;
  ++counters.upSide;
  return true;
}

bool TestLine(const Segment& segment, const CorePointF& p, float tolerance, Counters& counters) {
  if (segment.points.GetSize() != 2) return false;
  const CorePathPoint a = segment.points[0];
  const CorePathPoint b = segment.points[1];
  const float d1 = Distance(p.x, p.y, a.x, a.y);
  const float d2 = Distance(p.x, p.y, b.x, b.y);
  const Box box = BoxOf(segment, 2);

  const float yAtX = a.y + (p.x - a.x) * (b.y - a.y) / (b.x - a.x);
  const float xAtY = a.x + (b.x - a.x) * (p.y - a.y) / (b.y - a.y);
  const float t2 = static_cast<float>(static_cast<double>(tolerance) * 1.4142135623730951);

  if (box.minY <= yAtX && yAtX <= box.maxY) {
    if (p.y - yAtX > t2)
      ++counters.upSide;
    else if (yAtX - p.y > t2)
      ++counters.downSide;
  }
  if (box.minX <= xAtY && xAtY <= box.maxX) {
    if (xAtY - p.x > t2)
      ++counters.right;
    else if (p.x - xAtY > t2)
      ++counters.left;
  }

  const bool outsideX = p.x < box.minX || p.x > box.maxX;
  const bool outsideY = p.y < box.minY || p.y > box.maxY;
  const bool nearEnd = d1 <= tolerance || d2 <= tolerance;
  bool hit = false;
  if (outsideX && outsideY)
    hit = nearEnd;
  else if (box.minX < p.x && p.x < box.maxX && outsideY)
    hit = nearEnd || std::fabs(p.y - yAtX) <= t2;
  else if (box.minY < p.y && p.y < box.maxY && outsideX)
    hit = nearEnd || std::fabs(p.x - xAtY) <= t2;
  else
    hit = std::fabs(p.x - xAtY) <= t2 || std::fabs(p.y - yAtX) <= t2;
  return hit && Hit(counters);
}

// Bernstein form: a quadratic in float; a cubic in double from the float t and 1 - t, stored as float.
float CurveAt(int type, const float c[4], float t) {
  const float u = 1.0f - t;
  if (type == 2) return u * u * c[0] + 2.0f * t * u * c[1] + t * t * c[2];
  const double du = u;
  const double dt = t;
  return static_cast<float>(std::pow(du, 3) * c[0] + 3.0 * dt * du * du * c[1] + 3.0 * dt * dt * du * c[2] +
                            std::pow(dt, 3) * c[3]);
}

CorePointF CurvePoint(const Segment& segment, float t) {
  float x[4] = {};
  float y[4] = {};
  for (int i = 0; i <= segment.type; ++i) {
    x[i] = segment.points[i].x;
    y[i] = segment.points[i].y;
  }
  return {CurveAt(segment.type, x, t), CurveAt(segment.type, y, t)};
}

// Nearest value above and nearest value below `value`, closer together than `step`.
bool Crosses(const std::vector<float>& list, float value, float step) {
  bool hasAbove = false;
  bool hasBelow = false;
  float above = 0.0f;
  float below = 0.0f;
  for (const float v : list) {
    if (v > value && (!hasAbove || v < above)) {
      above = v;
      hasAbove = true;
    }
    if (v < value && (!hasBelow || v > below)) {
      below = v;
      hasBelow = true;
    }
  }
  return hasAbove && hasBelow && above - below < step;
}

bool TestCurve(const Segment& segment, const CorePointF& p, float tolerance, Counters& counters) {
  if (segment.points.GetSize() < segment.type + 1) return false;
  const Box box = BoxOf(segment, segment.type + 1);
  if ((p.x < box.minX || p.x > box.maxX) && (p.y < box.minY || p.y > box.maxY)) return false;

  std::vector<float> leftY, rightY, upSideX, downSideX;
  float stepX = 0.0f;
  float stepY = 0.0f;
  float nearest = 0.0f;
  float tb = 0.0f;
  CorePointF last;
  for (int k = 0; k <= 50; ++k) {
    const float t = static_cast<float>(k) / 50.0f;
    const CorePointF s = CurvePoint(segment, t);
    (p.x >= s.x ? leftY : rightY).push_back(s.y);
    (p.y >= s.y ? upSideX : downSideX).push_back(s.x);
    const float d = Distance(p.x, p.y, s.x, s.y);
    if (k == 0) {
      nearest = d;
      tb = 0.0f;
    } else {
      if (std::fabs(s.x - last.x) > stepX) stepX = std::fabs(s.x - last.x);
      if (std::fabs(s.y - last.y) > stepY) stepY = std::fabs(s.y - last.y);
      if (d < nearest) {
        nearest = d;
        tb = t;
      }
    }
    last = s;
  }
  if (nearest <= tolerance) return Hit(counters);

  const auto distanceAt = [&](float t) {
    const CorePointF s = CurvePoint(segment, t);
    return Distance(p.x, p.y, s.x, s.y);
  };
  const float lo = tb - 0.02f > 0.0f ? tb - 0.02f : 0.0f;
  const float hi = tb + 0.02f < 1.0f ? tb + 0.02f : 1.0f;
  const float lowDistance = distanceAt((tb + lo) / 2.0f);
  const float highDistance = distanceAt((tb + hi) / 2.0f);
  const bool lowSide = !(lowDistance > highDistance);
  float t = (tb + hi) / 2.0f;
  float previous = nearest;
  float current = lowSide ? lowDistance : highDistance;
  for (;;) {
    if (!(static_cast<double>(previous - current) > 0.0001)) break;
    const float width = lowSide ? t - lo : hi - t;
    if (static_cast<double>(width) < 0.000001) break;
    t = lowSide ? (t + lo) / 2.0f : (t + hi) / 2.0f;
    const float d = distanceAt(t);
    previous = current;
    current = d;
    if (d <= tolerance) return Hit(counters);
  }

  if (Crosses(leftY, p.y, stepY)) ++counters.left;
  if (Crosses(rightY, p.y, stepY)) ++counters.right;
  if (Crosses(upSideX, p.x, stepX)) ++counters.upSide;
  if (Crosses(downSideX, p.x, stepX)) ++counters.downSide;
  return false;
}

bool TestSegment(const Segment& segment, const CorePointF& p, float tolerance, Counters& counters) {
  if (segment.type == 1) return TestLine(segment, p, tolerance, counters);
  if (segment.type == 2 || segment.type == 3) return TestCurve(segment, p, tolerance, counters);
  return false;
}

bool OutlineTest(const CoreArray<Segment>& segments, const CorePointF& p, float tolerance) {
  Counters counters;
  for (int i = 0; i < segments.GetSize(); ++i) {
    if (TestSegment(segments[i], p, tolerance, counters)) return true;
  }
  return false;
}

bool InsideTest(const CoreArray<Segment>& segments, const CorePointF& p, float tolerance) {
  Counters counters;
  for (int i = 0; i < segments.GetSize(); ++i) {
    if (TestSegment(segments[i], p, tolerance, counters)) return true;
  }
  return counters.right != 0 && counters.downSide != 0 && counters.left != 0 && counters.upSide != 0;
}

void AddSegment(CoreArray<Segment>& segments, int type, const std::vector<CorePathPoint>& points) {
  Segment segment;
  segment.type = type;
  for (const CorePathPoint& p : points) segment.points.Add(p);
  segments.Add(std::move(segment));
}

}  // namespace

float ReduceTurns(float rotation) {
  while (rotation >= 6.2831855f) {
    const float next = rotation - 6.2831855f;
    if (next == rotation) return rotation;
    rotation = next;
  }
  while (rotation < -0.0001f) {
    const float next = rotation + 6.2831855f;
    if (next == rotation) return rotation;
    rotation = next;
  }
  return rotation;
}

int ConvertArc(const CorePath& arc, CorePath& output) {
  const CorePathPoint* record = arc.GetPoints();
  const double xs = record[0].x;
  const double ys = record[0].y;
  const double xe = record[4].x;
  const double ye = record[4].y;
  const bool largeArc = record[2].y != 0.0f;
  const bool sweep = record[3].x != 0.0f;
  // 1, 2
  double rx = std::fabs(record[1].x);
  double ry = std::fabs(record[1].y);
  const double phi = ReduceTurns(record[2].x);
  // 3
  const double sinPhi = std::sin(phi);
  const double cosPhi = std::cos(phi);
  const double dx = (xe - xs) / 2;
  const double dy = (ye - ys) / 2;
  const double p = cosPhi * dx + sinPhi * dy;
  const double q = -sinPhi * dx + cosPhi * dy;
  const double lambda = p * p / (rx * rx) + q * q / (ry * ry);
  if (lambda > 1) {
    rx *= std::sqrt(lambda);
    ry *= std::sqrt(lambda);
  }
  // 4
  const double a00 = cosPhi / rx;
  const double a01 = sinPhi / rx;
  const double a10 = -sinPhi / ry;
  const double a11 = cosPhi / ry;
  const double ex = a00 * xe + a01 * ye;
  const double ey = a10 * xe + a11 * ye;
  const double sx = a00 * xs + a01 * ys;
  const double sy = a10 * xs + a11 * ys;
  // 5
  double d = 1 / ((sx - ex) * (sx - ex) + (sy - ey) * (sy - ey)) - 0.25;
  if (d < 0) d = 0;
  double s = std::sqrt(d);
  if (largeArc == sweep) s = -s;
  const double cx = (ex + sx) / 2 - s * (sy - ey);
  const double cy = (ey + sy) / 2 + s * (sx - ex);
  // 6
  const double theta0 = std::atan2(ey - cy, ex - cx);
  const double theta1 = std::atan2(sy - cy, sx - cx);
  double delta = theta1 - theta0;
  if (delta < 0 && sweep)
    delta += 6.2831855;
  else if (delta > 0 && !sweep)
    delta -= 6.2831855;
  // 7
  const double quarters = std::ceil(std::fabs(delta / 1.5717964));
  const int n = quarters >= 1 ? static_cast<int>(quarters) : 0;  // none for NaN
  // 8, 9
  output.MoveTo(record[0].x, record[0].y);
  const double mx = (xs + xe) / 2;
  const double my = (ys + ye) / 2;
  for (int k = 0; k < n; ++k) {
    const double a = theta0 + k * delta / n;
    const double b = theta0 + (k + 1) * delta / n;
    const double h = (b - a) / 2;
    const double t = 8.0 / 3.0 * std::sin(h / 2) * std::sin(h / 2) / std::sin(h);
    const double x1 = cx + std::cos(a) - t * std::sin(a);
    const double y1 = cy + std::sin(a) + t * std::cos(a);
    const double x3 = cx + std::cos(b);
    const double y3 = cy + std::sin(b);
    const double x2 = x3 + t * std::sin(b);
    const double y2 = y3 - t * std::cos(b);
    const auto backX = [&](double x, double y) {
      return static_cast<float>(2 * mx - (cosPhi * rx * x + -sinPhi * ry * y));
    };
    const auto backY = [&](double x, double y) {
      return static_cast<float>(2 * my - (sinPhi * rx * x + cosPhi * ry * y));
    };
    output.CubicTo(backX(x1, y1), backY(x1, y1), backX(x2, y2), backY(x2, y2), backX(x3, y3), backY(x3, y3));
  }
  return n;
}

void BreakIntoSegments(const CorePath& path, CoreArray<Segment>& segments) {
  CoreArray<CorePathPoint> records;
  for (int i = 0; i <= path.GetPointCounter(); ++i) records.Add(path.GetPoints()[i]);

  const int count = records.GetSize();
  CorePathPoint start;  // the origin until a segment was started
  CorePathPoint current;
  for (int i = 0; i < count; ++i) {
    const CorePathPoint record = records[i];
    if (record.flags & 0x100) {
      start = record;
    } else if (i == 0) {
      // nothing
    } else if (record.flags & 0x200) {
      AddSegment(segments, 1, {current, record});
    } else if ((record.flags & 0x400) && i < count - 1) {
      AddSegment(segments, 2, {current, record, records[i + 1]});
      i += 1;
    } else if ((record.flags & 0x800) && i < count - 2) {
      AddSegment(segments, 3, {current, record, records[i + 1], records[i + 2]});
      i += 2;
    } else if ((record.flags & 0x1000) && i < count - 3) {
      CorePath arc;
      arc.MoveTo(current.x, current.y);
      arc.ArcTo(record.x, record.y, records[i + 1].x, records[i + 1].y, records[i + 2].x, records[i + 3].x,
                records[i + 3].y);
      CorePath converted;
      const int n = ConvertArc(arc, converted);
      const CorePathPoint* points = converted.GetPoints();
      for (int k = 0; k < n; ++k) {
        AddSegment(segments, 3, {points[3 * k], points[3 * k + 1], points[3 * k + 2], points[3 * k + 3]});
      }
      i += 3;
    }
    if (records[i].flags & 0x2) AddSegment(segments, 1, {records[i], start});
    current = records[i];
  }
}

bool ReferenceHitTestPath(const CorePointF& point, float tolerance, const CorePath& path, float,
                          bool testFill, CoreFillMode) {
  CoreArray<Segment> segments;
  BreakIntoSegments(path, segments);
  if (testFill && InsideTest(segments, point, tolerance)) return true;
  return OutlineTest(segments, point, tolerance);
}

}  // namespace reference
