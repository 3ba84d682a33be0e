// SPDX-License-Identifier: MIT
// Numbers as text, by printf into buffers of fixed size: a text that does not fit ends the process.
#include "fixed_buffer.h"
#include "stored_value.h"
#include "tovkit/convert.h"

#include <cmath>
#include <cstdint>

namespace tovkit {

namespace {

struct TextRule {
  int precision;

  CoreString operator()(std::int32_t number) const {
    base::FixedBuffer<50> text;
    text.Format("%d", number);
    return text.text();
  }

  // Compatibility: as a signed number.
  CoreString operator()(std::uint32_t number) const { return (*this)(static_cast<std::int32_t>(number)); }

  CoreString operator()(double number) const {
    base::FixedBuffer<64> text;
    if (precision <= 0) {
      text.Format("%f", number);
      return text.text();
    }
    // printf would allocate as much as the precision asks for before it finds that the text does not fit.
    const auto decimals = static_cast<std::size_t>(precision);
    if (decimals >= text.capacity() && std::isfinite(number))
      base::FailOnOverflow(decimals + 2, text.capacity());
    text.Format("%0.*f", precision, number);
    return text.text();
  }

  CoreString operator()(const char* text) const { return text; }
  CoreString operator()(bool flag) const { return flag ? "true" : "false"; }
};

}  // namespace

CoreString Convert::ToText(const SharedPtr<const JsonValue>& value, int precision) {
  return ConvertStored(value, CoreString(), TextRule{precision});
}

}  // namespace tovkit
