// SPDX-License-Identifier: MIT
/// \file
/// CorePath: a vector path as a sequence of 12-byte point records.
///
/// Each record is x, y and flags. The first record of an operation carries the operation's flag, the records
/// that follow it carry 0, and kCorePathClose is added to the last record of a closed subpath. An arc is four
/// records: (rx, ry), (rotation in radians, large-arc flag), (sweep flag, unused), (x, y); its meaning is
/// that of the SVG elliptical arc command (SVG 1.1, implementation notes F.6), with the rotation in radians.
///
/// Thread-safety: as a std::vector.
///
/// \code{.cc}
/// CorePath square;
/// square.MoveTo(0, 0);
/// square.LineTo(10, 0);
/// square.LineTo(10, 10);
/// square.LineTo(0, 10);
/// square.Close();
/// \endcode
#pragma once

#include <tovmx/export.h>
#include <tovmx/geometry.h>

#include <cstdint>
#include <vector>

/// One record of a path.
struct CorePathPoint {
  float x = 0.0f;           ///< what x and y mean, the operation says
  float y = 0.0f;           ///< likewise
  std::uint32_t flags = 0;  ///< bits of CorePathFlag
};
static_assert(sizeof(CorePathPoint) == 12, "path records are exchanged as 12 bytes");

/// What a record does.
enum CorePathFlag : std::uint32_t {
  kCorePathClose = 0x2,    ///< the subpath is closed after this record
  kCorePathMove = 0x100,   ///< starts a subpath here
  kCorePathLine = 0x200,   ///< a line to here
  kCorePathQuad = 0x400,   ///< control point; the end point follows
  kCorePathCubic = 0x800,  ///< first control point; the second and the end point follow
  kCorePathArc = 0x1000,   ///< radii; rotation and large-arc, sweep, end point follow
};

/// Which points a self-crossing outline encloses.
enum CoreFillMode {
  kCoreFillEvenOdd = 0,  ///< those from which a ray crosses the outline an odd number of times
  kCoreFillWinding = 1,  ///< those that the outline winds around
};

/// A vector path.
class TOVMX_API CorePath {
 public:
  /// Starts a subpath at (x, y).
  void MoveTo(float x, float y);

  /// A line to (x, y).
  void LineTo(float x, float y);

  /// A quadratic Bézier curve to (x, y) with the control point (cx, cy).
  void QuadTo(float cx, float cy, float x, float y);

  /// A cubic Bézier curve to (x, y) with the control points (c1x, c1y) and (c2x, c2y).
  void CubicTo(float c1x, float c1y, float c2x, float c2y, float x, float y);

  /// An elliptical arc to (x, y). `rotation` is in radians; `largeArc` and `sweep` are set when not 0.
  void ArcTo(float rx, float ry, float rotation, float largeArc, float sweep, float x, float y);

  /// Closes the current subpath by marking the last record. Does nothing to an empty path.
  void Close();

  /// Appends a record as it stands.
  void AddPoint(const CorePathPoint& point);

  /// Drops every record.
  void Clear() noexcept;

  /// The last record's index, -1 when the path is empty; so a walk from 0 up to and including the counter
  /// meets each record once.
  int GetPointCounter() const noexcept;

  /// Reads one record. False, and the outputs untouched, for an index outside 0 to GetPointCounter().
  bool GetPoint(int index, CorePointF& point, std::uint32_t& flags) const;

  /// The records, null when there are none. Valid until the path changes.
  const CorePathPoint* GetPoints() const noexcept;

 private:
  std::vector<CorePathPoint> points_;
};

/// The most cubic curves that one arc becomes.
constexpr int kCoreMaxArcCurves = 4;

/// Converts an elliptical arc to cubic curves, one for each quarter turn or part of one. `arc` are five
/// records: the point that the arc starts from, then the four records of ArcTo; their flags are not read.
/// `curves` has room for 1 + 3 * kCoreMaxArcCurves records and receives the start as a move, then the three
/// records of each curve, as CubicTo writes them. Returns the number of curves; 0 when the arc is degenerate
/// (equal ends, a radius of 0, numbers that are not finite), and then only the move is written.
///
/// The rule is that of the SVG elliptical arc (SVG 1.1, implementation notes F.6): radii count as their
/// absolute values, and grow when they are too small to join the ends. Results are the same on every machine.
TOVMX_API int CoreArcToCubics(const CorePathPoint* arc, CorePathPoint* curves);
