// SPDX-License-Identifier: MIT
// Members: the members of a JSON object that is read strictly: each is taken by its name and kind, and one
// that nobody took is an error.
//
//   Members members(object, "line 3");
//   const std::optional<double> dpi = members.TakeNumber("dpi", 1, 4800);
//   members.Finish();
#pragma once

#include <tovkit/json.h>

#include <optional>
#include <set>
#include <string>

namespace jobs {

class Members {
 public:
  // `place` names the object in messages; nothing is said of an empty one. Throws Error when it is no object.
  Members(tovkit::SharedPtr<tovkit::JsonValue> object, std::string place);

  // Each returns nothing, or null, when there is no such member, and throws Error when it is of another kind.
  tovkit::SharedPtr<tovkit::JsonValue> Take(const char* name);
  std::optional<std::string> TakeText(const char* name);
  std::optional<double> TakeNumber(const char* name, double least, double most);
  std::optional<int> TakeWhole(const char* name, int least, int most);
  std::optional<bool> TakeFlag(const char* name);
  tovkit::SharedPtr<tovkit::JsonValue> TakeArray(const char* name);

  // As TakeText; throws Error as well when there is none.
  std::string NeedText(const char* name);

  // Throws Error when a member was not taken, or stands twice.
  void Finish() const;

  [[noreturn]] void Refuse(const std::string& name, const std::string& text) const;

 private:
  tovkit::SharedPtr<tovkit::JsonValue> object_;
  std::string place_;
  std::set<std::string> taken_;
};

// Throws Error when a member of the value, or of a value in it, stands twice. `place` names the value; a
// place within is that with an RFC 6901 pointer behind it.
void RefuseDoubleMembers(const tovkit::SharedPtr<tovkit::JsonValue>& value, const std::string& place);

// The value of a JSON number, however large; nothing for any other value.
[[nodiscard]] std::optional<double> NumberOf(const tovkit::JsonValue& value);

// The text of a JSON string. Throws Error naming `place` when it holds a NUL, which no name or text may.
[[nodiscard]] std::string TextOf(const tovkit::JsonValue& string, const std::string& place);

}  // namespace jobs
