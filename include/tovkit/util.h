// SPDX-License-Identifier: MIT
/// \file
/// Text, path and file helpers, and what a client can ask about the library itself.
///
/// Thread-safety: every function may be called from any thread unless its comment says otherwise.
///
/// \code{.cc}
/// using namespace tovkit;
/// const std::string path = JoinPath("out/", "page.png", nullptr);   // "out/page.png"
/// const char* extension = GetFileExtension(path.c_str(), -1);       // ".png"
/// CoreArray<int> pages;
/// ParsePageNumbers("1,3-5", 10, pages, 0);                          // 0, 2, 3, 4
/// std::printf("tovkit %s\n", GetLibraryVersion());
/// \endcode
#pragma once

#include <tovkit/export.h>

#include <tovmx/array.h>
#include <tovmx/string.h>

#include <memory>
#include <string>

struct stat;

namespace tovkit {

/// \defgroup text Text
/// UTF-8 is the form in which the library keeps and exchanges text. Local text is the multibyte encoding that
/// the operating system's file functions take: the codeset of the environment's LC_CTYPE, UTF-8 in the C and
/// POSIX locales (CoreTextCodec). Wide text has 32-bit characters.
///
/// The six conversions take `len` units at `text`; a negative length means up to the terminating NUL, and a
/// null text returns an empty result. They report no error: bytes that do not decode travel as U+DC80 to
/// U+DCFF and come back as the same bytes, through UTF-8 too. A character that the target encoding lacks
/// becomes "?". A result ends before the first NUL character of the text. A text whose result a core string
/// cannot hold (2^31 - 1 units or more) throws std::length_error, and so does UTF-8 of that many bytes.
/// @{

/// Local text as wide text.
TOVKIT_API std::wstring LocalToWide(const char* text, int len);

/// UTF-8 as wide text.
TOVKIT_API std::wstring Utf8ToWide(const char* text, int len);

/// Wide text as local text.
TOVKIT_API std::string WideToLocal(const wchar_t* text, int len);

/// Wide text as UTF-8.
TOVKIT_API std::string WideToUtf8(const wchar_t* text, int len);

/// Local text as UTF-8, for everything that comes from the operating system.
TOVKIT_API std::string LocalToUtf8(const char* text, int len);

/// UTF-8 as local text, the form in which the operating system takes paths.
TOVKIT_API std::string Utf8ToLocal(const char* text, int len);

/// @{
/// Replaces every `\` and `/` by `c` in place, up to the terminating NUL, and returns `s`. Does nothing for a
/// null or empty `s`.
TOVKIT_API char* ReplaceSeparators(char* s, char c);
TOVKIT_API char* NormalizeSeparators(char* s);  // with '/'
/// @}

/// @{
/// The same over the whole string, beyond NUL characters too.
TOVKIT_API void ReplaceSeparators(std::string& s, char c);
TOVKIT_API void NormalizeSeparators(std::string& s);  // with '/'
/// @}

/// @{
/// A copy of `s`, up to the terminating NUL, with the separators replaced; empty for a null `s`.
TOVKIT_API std::string ReplaceSeparators(const char* s, char c);
TOVKIT_API std::string NormalizeSeparators(const char* s);  // with '/'
/// @}

/// Joins exactly two components with "/": call it as JoinPath(first, second, nullptr). A null or empty
/// component is skipped. The first that is left is taken as it stands; of the next, one leading `\` or `/` is
/// dropped, and a "/" goes between unless the first ends in `\` or `/`.
///
/// There is no third component. A third argument that is not null is appended again and again, and the
/// arguments after it are never read: the call ends by the failure to allocate (std::bad_alloc), or
/// not at all when the argument adds no characters. Nest calls to join more.
TOVKIT_API std::string JoinPath(const char* first, const char* second, ...) __attribute__((sentinel));

/// `prefix`, the present time in whole seconds since the epoch as a decimal number, `suffix`; null counts as
/// empty. Two calls within a second return the same name. A name of more than 1,023 bytes ends the process.
TOVKIT_API std::string MakeTimeName(const char* prefix, const char* suffix);

/// @}

/// \defgroup base64 Base64
/// RFC 4648: the standard alphabet, "=" padding, no line breaks. The results are containers of bytes:
/// GetLength tells their size. Both throw std::length_error for a result that a core string cannot hold. A
/// null input, and a negative `len` other than the decoder's -1, count as empty.
/// @{

/// The text of the `len` bytes at `data`.
TOVKIT_API CoreString Base64Encode(const unsigned char* data, int len);

/// The bytes of the `len` characters at `text`; -1 means up to the terminating NUL. Ends silently at the
/// first "=" and at the first character that is none of the alphabet's, white space and line breaks among
/// them: what came before is the result. The locale of the process adds no letters. Padding is not needed. A
/// group cut short decodes to one byte less than it has characters.
TOVKIT_API CoreString Base64Decode(const char* text, int len);

/// @}

/// \defgroup libraries Dynamic libraries
/// @{

/// DynamicLibrary: one shared object, opened at run time.
///
/// Paths and names are given in UTF-8, kept in the local encoding and taken apart there: where a letter of
/// that encoding may end in the byte of a `\` (GBK, Shift JIS), it separates. Nothing throws for a failure of
/// the loader: results tell, and GetError() has the text of the latest Load, Unload or Resolve.
///
/// Thread-safety: an object belongs to one thread or is guarded by its owner.
///
/// \code{.cc}
/// tovkit::DynamicLibrary codec("/opt/plugins", "codec");   // /opt/plugins/libcodec.so
/// if (!codec.Load()) std::puts(codec.GetError());
/// auto init = reinterpret_cast<int (*)()>(codec.Resolve("init"));   // null: not loaded, or no such symbol
/// const int state = init != nullptr ? init() : -1;
/// \endcode
class TOVKIT_API DynamicLibrary {
 public:
  /// The library `directory`/lib`name`.so. A '/' is put between unless the directory ends in '/' or `\`; an
  /// empty directory is the root. Loads nothing.
  DynamicLibrary(const char* directory, const char* name);

  /// The library at `path`. Its name is GetFileName of the path, without "lib" at its front. Loads nothing.
  /// An empty path stands for the program itself.
  explicit DynamicLibrary(const char* path);

  /// Unloads the library if it is loaded.
  ~DynamicLibrary();

  /// @{
  /// A moved-from object may be assigned to or destroyed, nothing else. Assigning exchanges the two objects.
  DynamicLibrary(DynamicLibrary&& other) noexcept;
  DynamicLibrary& operator=(DynamicLibrary&& other) noexcept;
  /// @}

  /// Opens the library: lazy binding, symbols local. False when the loader refuses; GetError() is then its
  /// text. Loading twice opens the library twice and forgets the first handle, so the library stays in the
  /// process.
  bool Load();

  /// Closes the library if it is loaded, and empties the error. Addresses that it returned are then invalid.
  void Unload();

  /// Whether a library is loaded.
  bool IsLoaded() const;

  /// The address of `symbol`. Null when the library is not loaded ("Library not load") or has no such symbol;
  /// GetError() tells. Null for a null or empty `symbol` too, with the error as it was. A symbol whose value
  /// is null looks like a missing one. A message of 1,024 bytes or more, of a very long symbol, ends the
  /// process.
  void* Resolve(const char* symbol);

  /// @{
  /// The short name, the path that Load opens, and what went wrong in the latest Load, Unload or Resolve, ""
  /// when nothing did. Valid until the next operation that changes it.
  const char* GetName() const;
  const char* GetPath() const;
  const char* GetError() const;
  /// @}

 private:
  struct Record;
  std::unique_ptr<Record> record;
};

/// @}

/// \defgroup path_pieces Pieces of a path
/// Pure work on the text, no file is touched. `len` is the number of bytes of the path; a negative one means
/// up to the terminating NUL. Both `\` and '/' separate. A null path is the empty path.
/// @{

/// The extension, its dot included: a pointer into `path` at its last '.', or a static empty text without
/// one. Separators do not stop the search, so "a.b/c" returns ".b/c". The result runs on to the NUL of
/// `path`, whatever `len` is.
TOVKIT_API const char* GetFileExtension(const char* path, int len);

/// The last component: a pointer into `path` just behind its last separator. A bare name has no separator and
/// returns the static empty text: "dir/a.txt" returns "a.txt", "a.txt" returns "". The result runs on to the
/// NUL of `path`, whatever `len` is.
TOVKIT_API const char* GetFileNamePart(const char* path, int len);

/// The last component without its extension. A component without an extension is given only when no directory
/// other than the root stands before it:
///
///     "dir/name.ext" "name"   "name.tar.gz" "name.tar"   "/name" "name"   "dir/name" ""
///     "/name.ext"    "name"   ".profile"    ""           "name"  "name"   "dir/"     ""
///
/// A `len` of 0 does not mean an empty path: it returns the whole text up to its NUL. A name that a core
/// string cannot hold throws std::length_error.
TOVKIT_API CoreString GetFileName(const char* path, int len);

/// @}

/// \defgroup files Files and directories
/// @{

/// What can hold for a path, as a bit mask. Each flag includes PathExists. PathReadable and PathWritable are
/// the permission bits of the file's owner; they do not tell whether the caller may read or write.
enum PathFlag : int {
  PathExists = 1,       ///< anything is there
  PathIsFile = 3,       ///< a regular file
  PathIsDirectory = 5,  ///< a directory
  PathReadable = 17,    ///< the owner may read
  PathWritable = 33,    ///< the owner may write
};

/// FileInfo: the status of one path as it was when the object was made. Links are followed.
///
/// Thread-safety: as a const object, any thread; it is never refreshed.
///
/// \code{.cc}
/// const tovkit::FileInfo page("pages/1.png", -1);
/// const char* kind = page.IsFile() ? "a file" : page.IsDirectory() ? "a directory" : "something else";
/// \endcode
class TOVKIT_API FileInfo {
 public:
  /// @{
  /// Examines a path in UTF-8 or in wide text; a negative `len` means up to the terminating NUL. `\` is read
  /// as '/'. A null or empty path, and one that cannot be examined, has no status.
  FileInfo(const char* path, int len);
  FileInfo(const wchar_t* path, int len);
  /// @}

  /// Forgets the status.
  ~FileInfo();

  /// @{
  /// A moved-from object has no status.
  FileInfo(FileInfo&& other) noexcept;
  FileInfo& operator=(FileInfo&& other) noexcept;
  /// @}

  /// @{
  /// False without a status. IsReadable and IsWritable read the owner's permission bits; neither the caller's
  /// identity nor access() is consulted.
  bool IsDirectory() const;
  bool IsFile() const;
  bool Exists() const;
  bool IsReadable() const;
  bool IsWritable() const;
  /// @}

 private:
  std::unique_ptr<struct stat> status;
};

/// \name Flags of a path
/// @{

/// The flags of `mask` that hold for `path`, so all hold when the result equals the mask. 0 for a null, empty
/// or missing path, and for a mask without the bit of PathExists.
TOVKIT_API int CheckPath(const char* path, int mask);
TOVKIT_API int CheckPath(const wchar_t* path, int mask);
/// @}

/// @{
/// Every flag that holds for `path`; 0 for a null, empty or missing path.
TOVKIT_API int GetPathFlags(const char* path);
TOVKIT_API int GetPathFlags(const wchar_t* path);
/// @}

/// Copies the bytes of `source` over `target`, which is created or emptied first; permissions are not copied.
/// `\` is no separator here. Nothing is reported: a source that cannot be opened leaves the target untouched,
/// a failed write goes unnoticed, and a file copied onto itself becomes empty.
TOVKIT_API void CopyFile(const char* source, const char* target);

/// Makes sure that `path` is a file, creating it empty, and every missing directory above it with mode 0755
/// less the umask. `\` is read as '/', in the local encoding: a letter that ends in its byte there is cut in
/// two. True when the file is there and can be opened for appending; its contents are kept. False otherwise,
/// after the directories made here are removed again, deepest first. Of several processes that create one
/// tree at once each may succeed or fail; none removes what another made.
TOVKIT_API bool CreateFileWithParents(const char* path);

/// @}

/// \defgroup temporary_files Temporary files
/// @{

/// TempFile: a name for a temporary file, and its removal.
///
/// The object makes a path and removes what stands there when it is destroyed; creating the file is the
/// client's part. The name is made of a prefix, the process id, five random digits, a suffix and an
/// extension, such as "scan_4711_30582_page1.png". The texts go to the operating system as they are.
///
/// The digits come from the C library's generator, seeded anew with the current second for every name. So two
/// names made by one process in one second are equal, and the rest of the process sees its rand() start over.
/// Clients that make several files a second give them different prefixes or suffixes.
///
/// Thread-safety: an object belongs to one thread; fileName and makePath touch the rand() of the whole
/// process, and tempDirectory reads the environment, which no other thread may change meanwhile.
///
/// \code{.cc}
/// tovkit::TempFile page;
/// page.setPrefix("scan");
/// page.setExtension("png");
/// page.makePath();
/// std::ofstream(page.path()) << "what the page holds";   // removed again with `page`
/// \endcode
class TOVKIT_API TempFile {
 public:
  /// Names will stand in tempDirectory().
  TempFile();

  /// Names will be put directly behind `dir`; no separator is added. Null means tempDirectory().
  explicit TempFile(const char* dir);

  /// Removes the file, or the empty directory, at the made path, if one was made. A failure is not reported.
  ~TempFile();

  TempFile(const TempFile&) = delete;
  TempFile& operator=(const TempFile&) = delete;

  /// @{
  /// Each sets one part of the names to come; null leaves it as it was. The extension is given without its
  /// dot.
  void setPrefix(const char* text);
  void setSuffix(const char* text);
  void setExtension(const char* text);
  /// @}

  /// The first of $TMPDIR, $TMP, $TEMP and $TEMPDIR that is set, else "/tmp", and a '/' at its end. A
  /// variable that is set and empty counts: the result is "/".
  static std::string tempDirectory();

  /// A new name, without a directory.
  std::string fileName() const;

  /// Makes the path, once: later calls keep it, and parts set later no longer change it.
  void makePath();

  /// The made path, "" before makePath. Valid as long as the object.
  const char* path() const { return fields.path.c_str(); }

 private:
  struct Fields {
    bool removeOnDestroy = true;
    bool withProcessId = true;
    bool withRandomDigits = true;
    std::string prefix;
    std::string suffix;
    std::string extension;
    std::string directory;
    std::string path;
  };
  Fields fields;
};

/// @}

/// \defgroup page_selection Page ranges
/// A page selection such as "all", "odd" or "1,3,5-9", turned into zero-based page indices of a document of
/// `count` pages. The indices are appended to `out`, which is not emptied first. A null `selection` is the
/// empty one.
///
///     selection                       appended
///     "", "all", "All", "ALL"         0 to count - 1; `base` is not added
///     "odd", "Odd", "ODD"             base, base + 2, ... (the first, third, ... page)
///     "even", "Even", "EVEN"          base + 1, base + 3, ...
///     numbers and ranges a-b          those pages, in the order given; `base` is not added
///
/// Numbers must rise strictly and a range must hold two pages at least. Anything else (a number that is not
/// above the one before, "2-2", an empty segment, a dangling or leading dash, a page outside the document)
/// ends the list at that point without a report; what was appended before it stays. Nothing happens for a
/// `count` below 1. Blanks before a number and text behind it are ignored, so "2x" is 2, and text without a
/// digit is 0. Numbers are read as by strtol, in 64 bits: none is too large to be told from a page. Sums with
/// `base` wrap at 32 bits.
/// @{

/// Numbers count from 0.
TOVKIT_API void ParsePageIndices(const char* selection, int count, CoreArray<int>& out, int base);

/// Numbers count from 1.
TOVKIT_API void ParsePageNumbers(const char* selection, int count, CoreArray<int>& out, int base);

/// @}

/// \defgroup module_information Module information
/// @{

/// The directory of the running executable, in UTF-8 and with '/' at its end. Empty when it is not known.
TOVKIT_API CoreString GetExecutableDirectory();

/// The directory of the first loaded shared object whose file name begins with `moduleName`, in UTF-8 and
/// with '/' at its end: "libfoo" finds "/opt/app/lib/libfoo.so.2". When none is found the result is the
/// directory part of `moduleName` itself, "" when it has none. A file name that holds `moduleName` a second
/// time further on is not found. The name is compared byte by byte with the loader's path, which is local
/// text. A name or a found path of 10,240 bytes or more ends the process. A null name is the empty one.
TOVKIT_API CoreString GetModuleDirectory(const char* moduleName);

/// The version of the library, "5.0.23.1211.2158". A static text; every call returns the same pointer.
TOVKIT_API const char* GetLibraryVersion();

/// @}

}  // namespace tovkit
