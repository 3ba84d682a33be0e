// SPDX-License-Identifier: MIT
// Which steps of the codec a conversion takes. The encoders of this program stand before those of the core
// library, count their calls and pass them on.
#include <tovkit/util.h>
#include <tovmx/text_codec.h>

#include <dlfcn.h>
#include <gtest/gtest.h>

namespace {

int encoded = 0;

CoreString PassOn(const char* encoder, const wchar_t* text, int length) {
  ++encoded;
  using Encode = CoreString(const wchar_t*, int);
  return reinterpret_cast<Encode*>(dlsym(RTLD_NEXT, encoder))(text, length);
}

}  // namespace

CoreString CoreTextCodec::Utf8Encode(const wchar_t* text, int length) {
  return PassOn("_ZN13CoreTextCodec10Utf8EncodeEPKwi", text, length);
}

CoreString CoreTextCodec::LocalEncode(const wchar_t* text, int length) {
  return PassOn("_ZN13CoreTextCodec11LocalEncodeEPKwi", text, length);
}

namespace {

TEST(CodecCalls, NothingIsEncodedForAnEmptyText) {
  for (const char* const text : {"", static_cast<const char*>(nullptr)}) {
    encoded = 0;
    EXPECT_EQ(tovkit::LocalToUtf8(text, -1), "");
    EXPECT_EQ(tovkit::Utf8ToLocal(text, -1), "");
    EXPECT_EQ(tovkit::LocalToUtf8("x", 0), "");
    EXPECT_EQ(tovkit::Utf8ToLocal("x", 0), "");
    EXPECT_EQ(encoded, 0);
  }
  EXPECT_EQ(tovkit::LocalToUtf8("x", -1), "x");
  EXPECT_GT(encoded, 0);
}

}  // namespace
