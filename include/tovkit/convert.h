// SPDX-License-Identifier: MIT
/// \file
/// Between JSON values and plain things: numbers, texts, packed colors, geometric records, arrays, string
/// lists, paths.
///
/// Reading never fails loudly: a value of the wrong type, a missing element and an empty handle have fixed
/// results, given below. Components and fields are neither masked nor clamped. Colors, records, arrays,
/// lists and paths travel as JSON arrays, never as objects. Handles that the functions return own their
/// documents. Only a failed allocation throws.
///
/// Thread-safety: no state. Any thread may convert values that no other thread is changing.
///
/// \code{.cc}
/// using namespace tovkit;
/// const char text[] = "{\"Box\": [0, 0, 595, 842], \"Ink\": [0, 0, 0, 255]}";
/// SharedPtr<JsonValue> page = Json::Parse(text, sizeof text - 1, nullptr);
/// CoreRect box;
/// Convert::JsonToRect(page->GetMember("Box"), box);   // true
/// unsigned ink = 0;
/// Convert::ToCMYK(page->GetMember("Ink"), ink);       // true; ink is 0x000000FF
/// \endcode
#pragma once

#include <tovkit/export.h>
#include <tovkit/json.h>
#include <tovmx/array.h>
#include <tovmx/color_space.h>
#include <tovmx/geometry.h>
#include <tovmx/path.h>
#include <tovmx/string.h>
#include <tovmx/string_list.h>

namespace tovkit {

/// \defgroup convert Conversions
/// @{

/// The conversions, all of them static.
class TOVKIT_API Convert {
 public:
  /// \name Scalars
  /// @{

  /// What each kind of value becomes. Kinds that are not listed (null, integers outside both 32-bit ranges,
  /// arrays, objects) and an empty handle return the fallback: -1 for ToInt, else 0, 0.0, false.
  ///
  ///              ToInt                 ToUint                 ToFloat, ToDouble        ToBoolean
  ///     int      the value             the same 32 bits       the value, rounded       not 0
  ///     uint     the same 32 bits      the value              the value, rounded       not 0
  ///     double   cut to 32 bits        cut to 64 bits, the    the value, rounded       not 0.0; NaN is true
  ///              or -2147483648        low 32 kept
  ///     string   strtol, the low       strtol, the low        strtod                   exactly "true"
  ///              32 bits               32 bits
  ///     boolean  1 or 0                1 or 0                 1.0 or 0.0               the value
  ///
  /// Numbers are cut toward zero. In ToInt every double outside the 32-bit range, and NaN, is -2147483648; in
  /// ToUint one outside the signed 64-bit range, and NaN, is 0. Strings are read up to the first character
  /// that does not fit, and no digits are 0; a sign is allowed, so that "-1" is 4294967295 in ToUint. strtol
  /// reads in base 10; strtod reads hexadecimal numbers, infinities and NaN too and follows the decimal point
  /// of the process's locale.
  static int ToInt(const SharedPtr<const JsonValue>& value);
  static unsigned ToUint(const SharedPtr<const JsonValue>& value);
  static float ToFloat(const SharedPtr<const JsonValue>& value);
  static double ToDouble(const SharedPtr<const JsonValue>& value);
  static bool ToBoolean(const SharedPtr<const JsonValue>& value);
  /// @}

  /// The value as text: integers in decimal, doubles with `precision` decimals (six for 0 or less), "true" or
  /// "false", and a string as it is up to a NUL character. The empty text for every other kind and for an
  /// empty handle.
  ///
  /// An integer above 2147483647 prints NEGATIVE: 4294967295 becomes "-1". A double whose text has more than
  /// 63 characters ends the process: above some 1e56 with six decimals, or with too many decimals. The
  /// decimal point is that of the process's locale.
  static CoreString ToText(const SharedPtr<const JsonValue>& value, int precision);

  /// \name Colors
  /// @{

  ///     gray  [g]             g in bits 0-7, 8-15 and 16-23
  ///     RGB   [r, g, b]       r in bits 0-7, g in 8-15, b in 16-23
  ///     CMYK  [c, m, y, k]    c in bits 24-31, m in 16-23, y in 8-15, k in 0-7
  ///     ARGB  [a, r, g, b]    as CMYK
  ///
  /// Packing reads each component with ToInt and neither masks nor clamps it: 300 reaches into the next byte,
  /// and a missing component is -1, which sets every bit from its place upwards. Elements beyond the last are
  /// ignored. True; or false, with `color` untouched, for a value that is no array and for an empty handle.
  static bool ToGray(const SharedPtr<const JsonValue>& value, unsigned& color);
  static bool ToRGB(const SharedPtr<const JsonValue>& value, unsigned& color);
  static bool ToCMYK(const SharedPtr<const JsonValue>& value, unsigned& color);
  static bool ToARGB(const SharedPtr<const JsonValue>& value, unsigned& color);
  /// @}

  /// Packs for kind 1 (gray), 2 (RGB) or 3 (CMYK). Every other kind returns false, `color` untouched.
  static bool ToColor(const SharedPtr<const JsonValue>& value, const CoreColorSpace& space, unsigned& color);

  /// @{
  /// A new array of the components, each 0 to 255. FromGray reads bits 0-7 only.
  static SharedPtr<JsonValue> FromGray(unsigned color);
  static SharedPtr<JsonValue> FromRGB(unsigned color);
  static SharedPtr<JsonValue> FromCMYK(unsigned color);
  static SharedPtr<JsonValue> FromARGB(unsigned color);
  /// @}

  /// Unpacks for kind 1, 2 or 3. Every other kind returns an empty handle.
  static SharedPtr<JsonValue> FromColor(const CoreColorSpace& space, unsigned color);

  /// \name Records
  /// @{

  /// One array element for each field, in the order of declaration. Float fields are written as the doubles
  /// of the same value.
  ///
  /// Reading: true; or false, with the record untouched, for a value that is no array and for an empty
  /// handle. Elements are read with ToInt or ToFloat, so a missing integer field becomes -1 and a missing
  /// float field 0.0. Elements beyond the last field are ignored.
  static SharedPtr<JsonValue> MatrixToJson(const CoreMatrix& matrix);
  static SharedPtr<JsonValue> RectToJson(const CoreRect& rect);
  static SharedPtr<JsonValue> RectFToJson(const CoreRectF& rect);
  static SharedPtr<JsonValue> PointToJson(const CorePoint& point);
  static SharedPtr<JsonValue> PointFToJson(const CorePointF& point);
  static SharedPtr<JsonValue> SizeToJson(const CoreSize& size);
  static SharedPtr<JsonValue> SizeFToJson(const CoreSizeF& size);
  static bool JsonToMatrix(const SharedPtr<const JsonValue>& value, CoreMatrix& matrix);
  static bool JsonToRect(const SharedPtr<const JsonValue>& value, CoreRect& rect);
  static bool JsonToRectF(const SharedPtr<const JsonValue>& value, CoreRectF& rect);
  static bool JsonToPoint(const SharedPtr<const JsonValue>& value, CorePoint& point);
  static bool JsonToPointF(const SharedPtr<const JsonValue>& value, CorePointF& point);
  static bool JsonToSize(const SharedPtr<const JsonValue>& value, CoreSize& size);
  static bool JsonToSizeF(const SharedPtr<const JsonValue>& value, CoreSizeF& size);
  /// @}

  /// \name Arrays and string lists
  /// @{

  /// A new array with one element for each of the source's. Wide texts are encoded as UTF-8; a text ends at
  /// its first NUL character. The source array stays locked meanwhile.
  static SharedPtr<JsonValue> ArrayToJson(const CoreArray<int>& array);
  static SharedPtr<JsonValue> ArrayToJson(const CoreArray<float>& array);
  static SharedPtr<JsonValue> ArrayToJson(const CoreArray<unsigned char>& array);
  static SharedPtr<JsonValue> ArrayToJson(const CoreArray<unsigned short>& array);
  static SharedPtr<JsonValue> ArrayToJson(const CoreArray<unsigned int>& array);
  static SharedPtr<JsonValue> StringListToJson(const CoreStringList<CoreString>& list);
  static SharedPtr<JsonValue> StringListToJson(const CoreStringList<CoreWideString>& list);
  /// @}

  /// @{
  /// Appends the elements, and then ONE MORE: 0 or the empty text. So [1, 2] appends three elements and []
  /// appends one. What the destination already holds stays. An element that the type does not accept is 0 or
  /// the empty text: the unsigned arrays accept the integers from -2147483648 to 4294967295 and keep their
  /// low 8, 16 or 32 bits (300 as an unsigned char is 44), the float array what JsonValue::GetFloat accepts,
  /// the lists strings.
  ///
  /// True; or false, with the destination untouched, for a value that is no array and for an empty handle.
  /// When an array cannot grow for lack of memory, that element is skipped and the result is true all the
  /// same. The array stays locked meanwhile.
  static bool JsonToArray(const SharedPtr<const JsonValue>& value, CoreArray<float>& array);
  static bool JsonToArray(const SharedPtr<const JsonValue>& value, CoreArray<unsigned char>& array);
  static bool JsonToArray(const SharedPtr<const JsonValue>& value, CoreArray<unsigned short>& array);
  static bool JsonToArray(const SharedPtr<const JsonValue>& value, CoreArray<unsigned int>& array);
  static bool JsonToStringList(const SharedPtr<const JsonValue>& value, CoreStringList<CoreString>& list);
  static bool JsonToStringList(const SharedPtr<const JsonValue>& value, CoreStringList<CoreWideString>& list);
  /// @}

  /// \name Paths
  /// @{

  /// A new array with one [x, y] for each record of the path, the records of arcs too. The kinds are not
  /// written, so a path cannot be made from the result.
  static SharedPtr<JsonValue> PathToJson(const CorePath& path);
  /// @}

  Convert() = delete;
};

/// @}

}  // namespace tovkit
