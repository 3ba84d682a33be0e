// SPDX-License-Identifier: MIT
// A description of text becomes calls of a device.
#include "text_request.h"
#include "tovkit/imaging.h"

#include <tovmx/device.h>

namespace tovkit {

// NOLINTNEXTLINE(performance-unnecessary-value-param): handles are passed by value throughout
bool DrawTextOnDevice(CoreDevice* device, SharedPtr<const JsonValue> description) {
  if (device == nullptr || !description) return false;
  const TextRequest request = ReadTextRequest(*description);
  if (request.text.IsEmpty()) return false;

  const CoreFontLoader fonts = request.Fonts();
  device->DrawText(request.text.c_str(), request.text.GetLength(), fonts, request.Place(), request.color,
                   request.PixelSize());
  device->EndText();
  device->Flush();
  return true;
}

}  // namespace tovkit
