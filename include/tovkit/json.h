// SPDX-License-Identifier: MIT
/// \file
/// The JSON document model: parse a text, read and change its values, write it back.
///
/// Every value is reached through JsonValue and held through SharedPtr, a handle that counts its users. Only
/// a root (from Json::Parse or Clone) owns storage. A handle to a member or an element points into the
/// storage of its root: it is valid only while a handle to the root lives, and while the container it came
/// from is neither grown nor shortened (a setter that appends, an insertion and a removal do that). Nothing
/// that a document holds is freed before its root.
///
/// Nothing here throws for bad input. A failed allocation throws std::bad_alloc, and a document in change is
/// then as before the call; Json::Write throws std::length_error for a text that a core string cannot hold.
///
/// Thread-safety: none. Handle counts, cursors and values are plain data. A document and all handles into it
/// belong to one thread at a time; different documents are independent.
///
/// \code{.cc}
/// using namespace tovkit;
/// const char text[] = "{\"Content\": \"Hello\", \"Font\": {\"FontSize\": 24}}";
/// SharedPtr<JsonValue> root = Json::Parse(text, sizeof text - 1, nullptr);
/// if (root) {                                                 // null when the text is not JSON
///   SharedPtr<JsonValue> font = root->GetMember("Font");
///   double size = font ? font->GetMemberDouble("FontSize", 16.0) : 16.0;
///   root->SetMemberBool("Seen", true);
///   CoreString written = Json::Write(root, nullptr);          // compact text
/// }
/// \endcode
#pragma once

#include <tovkit/export.h>
#include <tovmx/string.h>
#include <tovmx/string_list.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

namespace tovkit {

/// \defgroup json JSON documents
/// @{

/// The kind of a value, as GetType reports it.
enum JsonType : std::int32_t {
  JsonNull = 0,     ///< null
  JsonInt = 1,      ///< a negative integer down to -2147483648
  JsonUint = 2,     ///< an integer from 0 to 4294967295: 0 and 5 are of this kind, not JsonInt
  JsonInt64 = 3,    ///< an integer below -2147483648
  JsonUint64 = 4,   ///< an integer above 4294967295
  JsonFloat = 5,    ///< reserved; GetType never returns it
  JsonDouble = 6,   ///< a number with a fraction or an exponent, or beyond 64 bits
  JsonString = 7,   ///< a string
  JsonBoolean = 8,  ///< true or false
  JsonArray = 9,    ///< an array
  JsonObject = 10,  ///< an object
};

/// A constant text for `type`. The table has nine names for eleven kinds and does not line up with them:
/// JsonNull is "null", JsonInt "int", JsonUint "uint", but JsonInt64 "float", JsonUint64 "double", JsonFloat
/// "string", JsonDouble "boolean", JsonString "array" and JsonBoolean "object"; JsonArray and JsonObject
/// return a null pointer. Every other value, negative ones too, is "unknown". Compatibility: the texts stay
/// as they are.
TOVKIT_API const char* JsonTypeName(JsonType type);

/// The control block of a SharedPtr: the use count, and how the object is deleted. The order of the virtual
/// operations (destructor, deleting destructor, dispose) is part of the binary interface.
class TOVKIT_API sp_counted_base {
 public:
  sp_counted_base() noexcept = default;
  sp_counted_base(const sp_counted_base&) = delete;
  sp_counted_base& operator=(const sp_counted_base&) = delete;
  virtual ~sp_counted_base();

  /// Deletes the object. Called once, when the last handle goes.
  virtual void dispose() noexcept = 0;

  /// Counts one user more.
  void addRef() noexcept { ++useCount; }

  /// Counts one user less; the last one deletes the object and this block.
  void release() noexcept {
    if (--useCount == 0) {
      dispose();
      delete this;
    }
  }

  /// The number of users.
  std::int64_t getUseCount() const noexcept { return useCount; }

  /// The memory of a block. Each thread keeps a few released blocks for its next handles. `new` throws
  /// std::bad_alloc. A derived class has no stricter alignment than std::max_align_t.
  /// @{
  static void* operator new(std::size_t size);
  static void operator delete(void* block, std::size_t size) noexcept;
  /// @}

 private:
  std::int64_t useCount = 1;  // plain, not atomic
};

/// The control block for an object of type T, which has a virtual destructor.
template <typename T>
class sp_counted_impl final : public sp_counted_base {
 public:
  /// Takes ownership of the object, which may be null.
  explicit sp_counted_impl(T* counted) noexcept : object(counted) {}
  void dispose() noexcept override { delete object; }

 private:
  T* object;
};

/// A handle to a counted object: two pointers, the object and its control block.
///
/// A null handle has a null object and, like any other, a control block: callers test the object (`if
/// (handle)`), never the block. Only a handle that was moved from has no block; it is null and may be
/// assigned, copied or destroyed.
template <typename T>
class SharedPtr {
 public:
  /// A null handle. Allocates its control block; throws std::bad_alloc when it cannot.
  SharedPtr() : SharedPtr(static_cast<T*>(nullptr)) {}

  /// Takes ownership of `object`, which may be null. When the control block cannot be allocated, `object` is
  /// deleted and std::bad_alloc is thrown.
  template <typename Y, typename = std::enable_if_t<std::is_convertible_v<Y*, T*>>>
  explicit SharedPtr(Y* object) : object_(object), block_(MakeBlock(object)) {}

  /// Another handle to the same object, or the handle itself taken from `other`.
  /// @{
  SharedPtr(const SharedPtr& other) noexcept : object_(other.object_), block_(other.block_) { AddRef(); }
  SharedPtr(SharedPtr&& other) noexcept
      : object_(std::exchange(other.object_, nullptr)), block_(std::exchange(other.block_, nullptr)) {}
  /// @}

  /// @{
  /// A handle to the same object under a type that its pointer converts to: SharedPtr<JsonValue> to
  /// SharedPtr<const JsonValue>.
  template <typename Y, typename = std::enable_if_t<std::is_convertible_v<Y*, T*>>>
  SharedPtr(const SharedPtr<Y>& other) noexcept  // NOLINT(google-explicit-constructor): as pointers convert
      : object_(other.object_), block_(other.block_) {
    AddRef();
  }
  template <typename Y, typename = std::enable_if_t<std::is_convertible_v<Y*, T*>>>
  SharedPtr(SharedPtr<Y>&& other) noexcept  // NOLINT(google-explicit-constructor): as pointers convert
      : object_(std::exchange(other.object_, nullptr)), block_(std::exchange(other.block_, nullptr)) {}
  /// @}

  /// Lets go of the object, then does the same.
  /// @{
  // NOLINTNEXTLINE(bugprone-unhandled-self-assignment): a swap with itself is harmless
  SharedPtr& operator=(const SharedPtr& other) noexcept {
    SharedPtr(other).Swap(*this);
    return *this;
  }
  SharedPtr& operator=(SharedPtr&& other) noexcept {
    SharedPtr(std::move(other)).Swap(*this);
    return *this;
  }
  /// @}

  /// Lets go of the object, which the last handle deletes.
  ~SharedPtr() {
    if (block_ != nullptr) block_->release();
  }

  /// The object, null in a null handle.
  /// @{
  T* Get() const noexcept { return object_; }
  T* operator->() const noexcept { return object_; }
  /// @}

  /// The object. Precondition: the handle is not null.
  T& operator*() const noexcept { return *object_; }

  /// Whether there is an object.
  explicit operator bool() const noexcept { return object_ != nullptr; }

  /// The number of handles that share the control block; 0 for a handle that was moved from.
  std::int64_t UseCount() const noexcept { return block_ == nullptr ? 0 : block_->getUseCount(); }

  /// Exchanges two handles.
  void Swap(SharedPtr& other) noexcept {
    std::swap(object_, other.object_);
    std::swap(block_, other.block_);
  }

  /// @{
  /// Two handles are equal when they point at the same object. Two calls that return a member return two
  /// objects.
  friend bool operator==(const SharedPtr& a, const SharedPtr& b) noexcept { return a.object_ == b.object_; }
  friend bool operator!=(const SharedPtr& a, const SharedPtr& b) noexcept { return a.object_ != b.object_; }
  /// @}

 private:
  template <typename Y>
  friend class SharedPtr;

  template <typename Y>
  static sp_counted_base* MakeBlock(Y* object) {
    try {
      return new sp_counted_impl<Y>(object);
    } catch (...) {
      delete object;
      throw;
    }
  }
  void AddRef() const noexcept {
    if (block_ != nullptr) block_->addRef();
  }

  T* object_;
  sp_counted_base* block_;
};

/// One value of a document.
///
/// Eight types have families of operations, always in the order Int (32 bits, signed), Uint (32 bits,
/// unsigned), Int64, Uint64, String (NUL-terminated UTF-8), Bool, Float, Double. Every typed read accepts a
/// stored value by one rule:
///
///     Int     integers from -2147483648 to 2147483647
///     Uint    integers from -2147483648 to 4294967295; a negative one comes back as its two's complement
///     Int64   integers from -9223372036854775808 to 9223372036854775807
///     Uint64  every integer; a negative one comes back as its two's complement
///     String  strings; the result points into the document and is valid while the value lives unchanged
///     Bool    true and false
///     Float   doubles from -3.4028234e38 to 3.4028234e38 (not NaN), and what Int accepts
///     Double  doubles, and what Int accepts
///
/// Nothing is converted from or to text. A number written with a fraction or an exponent is a double,
/// even 1.0, and no integer read accepts it; an integer outside 32 signed bits is refused by Float and
/// Double, though it would fit.
///
/// A key is a NUL-terminated UTF-8 text; a null or empty one matches no member. Members are searched from the
/// first to the last, and the first of the same name counts. A read never creates anything.
///
/// The order of the virtual operations is part of the binary interface. The library has the only
/// implementation, so the constructor is private.
class TOVKIT_API JsonValue {
 public:
  /// Frees what this object owns: the document of a root, nothing of any other.
  virtual ~JsonValue();
  JsonValue(const JsonValue&) = delete;
  JsonValue& operator=(const JsonValue&) = delete;

  /// The kind of this value.
  virtual JsonType GetType() const = 0;

  /// @{
  /// Reads this value. True, and `out` written, when the type accepts it; else false, and `out` untouched.
  virtual bool GetInt(std::int32_t& out) const = 0;
  virtual bool GetUint(std::uint32_t& out) const = 0;
  virtual bool GetInt64(std::int64_t& out) const = 0;
  virtual bool GetUint64(std::uint64_t& out) const = 0;
  virtual bool GetString(const char*& out) const = 0;
  virtual bool GetBool(bool& out) const = 0;
  virtual bool GetFloat(float& out) const = 0;
  virtual bool GetDouble(double& out) const = 0;
  /// @}

  /// @{
  /// The value, or 0, 0.0, false or "" (never null) when the type does not accept it. `ok`, which may be
  /// null, tells which of the two it was.
  virtual std::int32_t AsInt(bool* ok) const = 0;
  virtual std::uint32_t AsUint(bool* ok) const = 0;
  virtual std::int64_t AsInt64(bool* ok) const = 0;
  virtual std::uint64_t AsUint64(bool* ok) const = 0;
  virtual const char* AsString(bool* ok) const = 0;
  virtual bool AsBool(bool* ok) const = 0;
  virtual float AsFloat(bool* ok) const = 0;
  virtual double AsDouble(bool* ok) const = 0;
  /// @}

  /// Whether this is an object that has a member named `key`.
  virtual bool HasMember(const char* key) const = 0;

  /// @{
  /// A handle to the member named `key`, null when there is none.
  virtual SharedPtr<JsonValue> GetMember(const char* key) = 0;
  virtual SharedPtr<const JsonValue> GetMember(const char* key) const = 0;
  /// @}

  /// @{
  /// The member named `key`, or `fallback` when there is none or the type does not accept it.
  virtual std::int32_t GetMemberInt(const char* key, std::int32_t fallback) const = 0;
  virtual std::uint32_t GetMemberUint(const char* key, std::uint32_t fallback) const = 0;
  virtual std::int64_t GetMemberInt64(const char* key, std::int64_t fallback) const = 0;
  virtual std::uint64_t GetMemberUint64(const char* key, std::uint64_t fallback) const = 0;
  virtual const char* GetMemberString(const char* key, const char* fallback) const = 0;
  virtual bool GetMemberBool(const char* key, bool fallback) const = 0;
  virtual float GetMemberFloat(const char* key, float fallback) const = 0;
  virtual double GetMemberDouble(const char* key, double fallback) const = 0;
  /// @}

  /// @{
  /// Sets the member named `key`: an existing one is overwritten in place whatever it was, else one is
  /// appended, its name copied. Does nothing when this is no object or the key is null or empty. A string is
  /// copied, and a null one counts as "". A float is stored as the double of the same value.
  virtual void SetMemberInt(const char* key, std::int32_t value) = 0;
  virtual void SetMemberUint(const char* key, std::uint32_t value) = 0;
  virtual void SetMemberInt64(const char* key, std::int64_t value) = 0;
  virtual void SetMemberUint64(const char* key, std::uint64_t value) = 0;
  virtual void SetMemberString(const char* key, const char* value) = 0;
  virtual void SetMemberBool(const char* key, bool value) = 0;
  virtual void SetMemberFloat(const char* key, float value) = 0;
  virtual void SetMemberDouble(const char* key, double value) = 0;
  /// @}

  /// Sets the member named `key` to a deep copy of `value`, as above. Does nothing for a null handle.
  virtual void SetMember(const char* key, SharedPtr<const JsonValue> value) = 0;

  /// @{
  /// Makes the member named `key` an empty array or object, replacing what it was or appending it, and
  /// returns a handle to it. A null handle when this is no object or the key is null or empty.
  virtual SharedPtr<JsonValue> AddArrayMember(const char* key) = 0;
  virtual SharedPtr<JsonValue> AddObjectMember(const char* key) = 0;
  /// @}

  /// Removes the member named `key` if there is one. The last member takes its place, so the order of the
  /// others changes.
  virtual void RemoveMember(const char* key) = 0;

  /// The names of the members in their order, duplicates too; empty when this is no object.
  virtual CoreStringList<CoreString> GetMemberNames() const = 0;

  /// @{
  /// Walks over the members. Each call that finds one writes its name and a handle to it, and returns whether
  /// ANOTHER one follows: on an object with one member FirstMember delivers it and returns false. Without a
  /// member to deliver the result is false and the outputs are untouched. The cursor belongs to this handle,
  /// so that two walks over one handle disturb each other, and NextMember delivers nothing before the first
  /// FirstMember. Test `Size()` first:
  ///
  /// \code{.cc}
  /// const char text[] = "{\"first\": 1, \"second\": 2}";
  /// auto object = tovkit::Json::Parse(text, sizeof text - 1, nullptr);
  /// CoreString name;
  /// tovkit::SharedPtr<tovkit::JsonValue> value;
  /// if (object->Size() != 0) {
  ///   bool more = object->FirstMember(name, value);
  ///   for (;; more = object->NextMember(name, value)) {
  ///     std::printf("%s: %d\n", name.c_str(), value->AsInt(nullptr));
  ///     if (!more) break;
  ///   }
  /// }
  /// \endcode
  virtual bool FirstMember(CoreString& name, SharedPtr<JsonValue>& value) = 0;
  virtual bool NextMember(CoreString& name, SharedPtr<JsonValue>& value) = 0;
  /// @}

  /// @{
  /// A handle to the element at `index`, null when this is no array or the index is outside 0 to Size() - 1.
  virtual SharedPtr<JsonValue> GetAt(std::int32_t index) = 0;
  virtual SharedPtr<const JsonValue> GetAt(std::int32_t index) const = 0;
  /// @}

  /// @{
  /// The element at `index`, or `fallback` when there is none or the type does not accept it. An index above
  /// 2147483647 never exists.
  virtual std::int32_t GetAtInt(std::uint32_t index, std::int32_t fallback) const = 0;
  virtual std::uint32_t GetAtUint(std::uint32_t index, std::uint32_t fallback) const = 0;
  virtual std::int64_t GetAtInt64(std::uint32_t index, std::int64_t fallback) const = 0;
  virtual std::uint64_t GetAtUint64(std::uint32_t index, std::uint64_t fallback) const = 0;
  virtual const char* GetAtString(std::uint32_t index, const char* fallback) const = 0;
  virtual bool GetAtBool(std::uint32_t index, bool fallback) const = 0;
  virtual float GetAtFloat(std::uint32_t index, float fallback) const = 0;
  virtual double GetAtDouble(std::uint32_t index, double fallback) const = 0;
  /// @}

  /// @{
  /// Overwrites the element at `index` in place. False, and nothing changed, when this is no array or there
  /// is no such element; an array never grows here. A string is copied. Precondition: it is not null, unlike
  /// in SetMemberString.
  virtual bool SetAtInt(std::uint32_t index, std::int32_t value) = 0;
  virtual bool SetAtUint(std::uint32_t index, std::uint32_t value) = 0;
  virtual bool SetAtInt64(std::uint32_t index, std::int64_t value) = 0;
  virtual bool SetAtUint64(std::uint32_t index, std::uint64_t value) = 0;
  virtual bool SetAtString(std::uint32_t index, const char* value) = 0;
  virtual bool SetAtBool(std::uint32_t index, bool value) = 0;
  virtual bool SetAtFloat(std::uint32_t index, float value) = 0;
  virtual bool SetAtDouble(std::uint32_t index, double value) = 0;
  /// @}

  /// Overwrites the element at `index` by a deep copy of `value`, as above. False also for a null handle.
  virtual bool SetAt(std::int32_t index, SharedPtr<const JsonValue> value) = 0;

  /// @{
  /// Inserts before the element at `index`; any index outside 0 to Size() - 1, a negative one too, appends.
  /// False, and nothing changed, when this is no array. A string is copied. Precondition: it is not null.
  virtual bool InsertInt(std::int32_t index, std::int32_t value) = 0;
  virtual bool InsertUint(std::int32_t index, std::uint32_t value) = 0;
  virtual bool InsertInt64(std::int32_t index, std::int64_t value) = 0;
  virtual bool InsertUint64(std::int32_t index, std::uint64_t value) = 0;
  virtual bool InsertString(std::int32_t index, const char* value) = 0;
  virtual bool InsertBool(std::int32_t index, bool value) = 0;
  virtual bool InsertFloat(std::int32_t index, float value) = 0;
  virtual bool InsertDouble(std::int32_t index, double value) = 0;
  /// @}

  /// Inserts a deep copy of `value`, as above. False also for a null handle.
  virtual bool Insert(std::int32_t index, SharedPtr<const JsonValue> value) = 0;

  /// @{
  /// Inserts an empty array or object and returns a handle to it; null when this is no array.
  virtual SharedPtr<JsonValue> InsertArray(std::int32_t index) = 0;
  virtual SharedPtr<JsonValue> InsertObject(std::int32_t index) = 0;
  /// @}

  /// Removes the element at `index`; the order of the others stays. False when there is none.
  virtual bool RemoveAt(std::int32_t index) = 0;

  /// The number of elements of an array or of members of an object; 4294967295 for every other value.
  virtual std::uint32_t Size() const = 0;

  /// An independent document that holds a deep copy of this value. The handle owns it.
  virtual SharedPtr<JsonValue> Clone() const = 0;

  /// Replaces this value by a deep copy of `source`, which may be part of the same document. Handles into the
  /// replaced value become invalid. False, and nothing changed, for a null handle.
  virtual bool Assign(SharedPtr<const JsonValue> source) = 0;

  /// This value and all below it as compact JSON text. A double that is NaN or infinite cannot be written:
  /// the text ends there and is then not valid JSON ("[1," for an array of 1 and NaN). Throws
  /// std::length_error when the text has more than 2147483646 bytes.
  virtual CoreString ToString() const = 0;

 private:
  friend class RapidjsonWrapper;
  friend struct TestAccess;
  JsonValue() = default;
};

extern template class TOVKIT_API sp_counted_impl<JsonValue>;
extern template class TOVKIT_API sp_counted_impl<const JsonValue>;

/// How to parse. There is nothing to choose yet; the record keeps its place in the interface.
struct JsonParseOptions {};

/// How to write. There is nothing to choose yet; the record keeps its place in the interface.
struct JsonWriteOptions {};

struct JsonDiagnosis;

/// The way from text to values and back.
class TOVKIT_API Json {
 public:
  /// Parses `length` bytes of UTF-8 at `text`, or up to the first NUL byte among them. The root must be an
  /// array or an object; a byte-order mark is skipped; comments, trailing commas, NaN and Infinity are
  /// errors; invalid UTF-8 inside a string is kept as it is. Any depth of nesting is read. Doubles are read
  /// with normal precision: the last digit may differ from the nearest double, and 1.8e308 is read as
  /// infinity. `options` is not read and may be null.
  ///
  /// A null `text`, an empty one and a length of 0 return a new empty object, ready to be filled.
  ///
  /// On failure the handle is null and one line is on standard output: "Parse json error. code=" and a number
  ///
  ///     1 nothing but white space       8 "\u" without four hexadecimal digits   13 number too big
  ///     2 more after the root           9 half a surrogate pair                  14 no digit after the point
  ///     3 not a value                  10 bad escape or control character        15 no digit in the exponent
  ///     4 member name missing          11 closing quotation mark missing
  ///     5 colon missing                 6 comma or } missing, 7 comma or ] missing
  ///
  /// or "Only allow array and object".
  static SharedPtr<JsonValue> Parse(const char* text, unsigned int length, const JsonParseOptions* options);

  /// The compact text of `value`, as ToString returns it. `options` is not read and may be null.
  /// Precondition: `value` is not a null handle.
  static CoreString Write(SharedPtr<const JsonValue> value, const JsonWriteOptions* options);

  Json() = delete;

  /// Tells whether Parse accepts `length` bytes at `text`, or up to the first NUL byte among them, and if
  /// not, where and why it stops. Prints nothing and builds no document: memory grows with the depth of
  /// nesting, with the names of the members on the way down and with the longest string, and with nothing
  /// else.
  ///
  /// A null `text`, an empty one and a length of 0 are accepted, as by Parse.
  ///
  /// \code{.cc}
  /// const char text[] = "{\"Lines\": [\n  {\"Content\": }\n]}";
  /// const tovkit::JsonDiagnosis found = tovkit::Json::Diagnose(text, sizeof text - 1);
  /// if (found.code != tovkit::kJsonAccepted) {   // 2:15: a value is expected (at /Lines/0/Content)
  ///   std::printf("%zu:%zu: %s (at %s)\n", found.line, found.column, found.message.c_str(),
  ///               found.pointer.c_str());
  /// }
  /// \endcode
  static JsonDiagnosis Diagnose(const char* text, std::size_t length);
};

/// The codes of JsonDiagnosis beside those that Parse prints, 1 to 15.
enum JsonDiagnosisCode : std::int32_t {
  kJsonAccepted = 0,       ///< Parse accepts the text
  kJsonRootIsScalar = 20,  ///< JSON, but neither an array nor an object, which Parse refuses
  kJsonTooLong = 21,       ///< more than 4294967295 bytes, which Parse cannot be given
};

/// What Json::Diagnose found. An accepted text leaves every field as it is here.
struct JsonDiagnosis {
  std::int32_t code = kJsonAccepted;  ///< a JsonDiagnosisCode or one of the codes of Json::Parse
  std::size_t offset = 0;             ///< the byte at which the parser stopped; of a scalar, its first byte
  std::size_t line = 0;               ///< from 1; 0, and so the columns, for a text that is too long
  std::size_t column = 0;             ///< in bytes, from 1; a byte-order mark does not count
  std::size_t codePointColumn = 0;    ///< the same in code points
  CoreString pointer;                 ///< RFC 6901: the value that the parser was in, "" for the root
  CoreString message;                 ///< what is wrong, in words: "a value is expected"
};

/// @}

}  // namespace tovkit
