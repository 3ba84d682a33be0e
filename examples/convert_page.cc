// SPDX-License-Identifier: MIT
// Takes numbers, a box, colors and a list out of a JSON document, and puts a box and a color back.
#include <tovkit/convert.h>

#include <cstdio>

using namespace tovkit;

int main() {
  const char text[] = R"({"Zoom": "1.5", "Box": [10, 20, 110, 70], "Ink": [192, 57, 43],
                          "Fonts": ["SimSun", "Times New Roman"]})";
  SharedPtr<JsonValue> page = Json::Parse(text, sizeof text - 1, nullptr);
  if (!page) return 1;

  // A number that was written as text is still a number to Convert.
  std::printf("zoom %g\n", Convert::ToDouble(page->GetMember("Zoom")));

  CoreRect box;
  if (Convert::JsonToRect(page->GetMember("Box"), box)) {
    std::printf("box %d x %d\n", box.right - box.left, box.bottom - box.top);
  }

  unsigned ink = 0;
  if (Convert::ToRGB(page->GetMember("Ink"), ink)) std::printf("ink %06X\n", ink);  // red is the lowest byte

  // The list gets one text more than the array has, an empty one.
  CoreStringList<CoreString> fonts;
  Convert::JsonToStringList(page->GetMember("Fonts"), fonts);
  for (int i = 0; i + 1 < fonts.GetCount(); ++i) std::printf("font %s\n", fonts.GetAt(i).c_str());

  box.right += 50;
  page->SetMember("Box", Convert::RectToJson(box));
  page->SetMember("Paper", Convert::FromCMYK(0x00051000));
  std::printf("%s\n", Json::Write(page, nullptr).c_str());
  return 0;
}
