// SPDX-License-Identifier: MIT
// Reads a JSON document, changes it, and writes it back.
#include <tovkit/json.h>

#include <cstdio>

using namespace tovkit;

int main() {
  const char text[] = R"({"Title": "Report", "Pages": [{"Width": 595}, {"Width": 842}], "Draft": true})";
  SharedPtr<JsonValue> root = Json::Parse(text, sizeof text - 1, nullptr);
  if (!root) return 1;  // the reason is on standard output

  // Reads never fail loudly: a missing member or another type returns the value that stands beside the key.
  std::printf("%s, by %s\n", root->GetMemberString("Title", "untitled"),
              root->GetMemberString("Author", "unknown"));

  // Elements are handles into the document; the root keeps them alive.
  SharedPtr<JsonValue> pages = root->GetMember("Pages");
  for (std::uint32_t i = 0; i < pages->Size(); ++i) {
    SharedPtr<JsonValue> page = pages->GetAt(static_cast<std::int32_t>(i));
    page->SetMemberInt("Number", static_cast<std::int32_t>(i) + 1);
  }

  pages->InsertObject(-1)->SetMemberDouble("Width", 419.5);  // -1 appends
  root->RemoveMember("Draft");
  root->SetMemberString("Author", "A. Writer");

  std::printf("%s\n", Json::Write(root, nullptr).c_str());
  return 0;
}
