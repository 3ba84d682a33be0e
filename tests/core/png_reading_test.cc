// SPDX-License-Identifier: MIT
// PNG files of every form, whole and broken, are taken and refused as libpng takes and refuses them, with its
// pixels to the bit.
#include "image_support.h"
#include "png_files.h"
#include "png_reference.h"

#include <tovmx/codec.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

using png_files::Form;
using png_files::Piece;

constexpr std::uint64_t kMostBytes = std::uint64_t{1} << 30;

// The first thing in which the two differ, or an empty text.
std::string DifferenceTo(const CoreDib* expected, const CoreDib* got) {
  if (expected == nullptr || got == nullptr) {
    if (expected == got) return "";
    return expected == nullptr ? "taken, and libpng refuses it" : "refused, and libpng takes it";
  }
  if (expected->GetWidth() != got->GetWidth() || expected->GetHeight() != got->GetHeight() ||
      expected->GetBitsPerPixel() != got->GetBitsPerPixel())
    return "another shape";
  if (std::memcmp(expected->GetBuffer(), got->GetBuffer(), got->GetBufferSize()) != 0) return "other bytes";
  if (expected->GetPaletteSize() != got->GetPaletteSize()) return "another palette";
  for (int i = 0; i < got->GetPaletteSize(); ++i) {
    if (expected->GetPaletteEntry(i) != got->GetPaletteEntry(i) ||
        expected->GetPaletteAlpha(i) != got->GetPaletteAlpha(i))
      return "another color " + std::to_string(i);
  }
  return expected->GetDpiX() == got->GetDpiX() && expected->GetDpiY() == got->GetDpiY()
             ? ""
             : "another resolution";
}

// From memory and through a stream without a view.
std::string Compare(const std::string& file) {
  const auto expected =
      ReadByLibpng(reinterpret_cast<const std::uint8_t*>(file.data()), file.size(), kMostBytes);
  const std::string viewed = DifferenceTo(expected.get(), image::Decode(file).get());
  if (!viewed.empty()) return viewed;
  image::StubbornInput in(file, file.size());
  const std::string read = DifferenceTo(expected.get(), image::Decode(in).get());
  return read.empty() ? "" : "without a view: " + read;
}

std::vector<Form> Depths() {
  std::vector<Form> forms;
  const auto add = [&](int color, std::initializer_list<int> depths) {
    for (const int bits : depths) {
      Form form;
      form.color = color;
      form.bits = bits;
      forms.push_back(form);
    }
  };
  add(PNG_COLOR_TYPE_GRAY, {1, 2, 4, 8, 16});
  add(PNG_COLOR_TYPE_RGB, {8, 16});
  add(PNG_COLOR_TYPE_PALETTE, {1, 2, 4, 8});
  add(PNG_COLOR_TYPE_GRAY_ALPHA, {8, 16});
  add(PNG_COLOR_TYPE_RGB_ALPHA, {8, 16});
  return forms;
}

TEST(PngReading, EveryFormHasThePixelsOfLibpng) {
  int count = 0;
  for (Form form : Depths()) {
    for (const bool interlaced : {false, true}) {
      for (const int filters : {PNG_FILTER_NONE, PNG_FILTER_SUB, PNG_FILTER_UP, PNG_FILTER_AVG,
                                PNG_FILTER_PAETH, PNG_ALL_FILTERS}) {
        for (const bool transparent : {false, true}) {
          form.interlaced = interlaced;
          form.filters = filters;
          form.transparent = transparent && (form.color & PNG_COLOR_MASK_ALPHA) == 0;
          form.extras = transparent;
          form.resolution = interlaced != transparent;
          const std::string file = png_files::Make(form);
          ASSERT_NE(image::Decode(file), nullptr) << Describe(form);
          EXPECT_EQ(Compare(file), "") << Describe(form);
          ++count;
        }
      }
    }
  }
  EXPECT_EQ(count, 15 * 24);
}

TEST(PngReading, EverySizeHasThePixelsOfLibpng) {
  for (Form form : Depths()) {
    if (form.bits == 16) continue;
    for (int width = 1; width <= 40; ++width) {
      for (const int height : {1, 2, 5}) {
        form.width = width;
        form.height = height;
        EXPECT_EQ(Compare(png_files::Make(form)), "") << Describe(form);
      }
    }
  }
}

TEST(PngReading, PalettesOfEveryLength) {
  for (const int bits : {1, 2, 4, 8}) {
    for (int colors = 1; colors <= 1 << bits; ++colors) {
      Form form;
      form.color = PNG_COLOR_TYPE_PALETTE;
      form.bits = bits;
      form.colors = colors;  // pixels hold indices beyond it
      form.transparent = colors % 3 == 0;
      EXPECT_EQ(Compare(png_files::Make(form)), "") << Describe(form);
    }
  }
}

std::string RowsOf(const std::vector<Piece>& pieces) {
  std::string rows;
  for (const Piece& piece : pieces) {
    if (piece.type == "IDAT") rows += piece.content;
  }
  return rows;
}

// The file with other rows, in chunks of these sizes in turn, up to the end.
std::string WithRows(const std::vector<Piece>& pieces, const std::string& rows,
                     const std::vector<std::size_t>& sizes) {
  std::vector<Piece> out;
  bool placed = false;
  for (const Piece& piece : pieces) {
    if (piece.type != "IDAT") {
      out.push_back(piece);
      continue;
    }
    if (placed) continue;
    placed = true;
    std::size_t turn = 0;
    for (std::size_t at = 0; at < rows.size();) {
      const std::size_t size = std::min(sizes[turn++ % sizes.size()], rows.size() - at);
      out.push_back({"IDAT", rows.substr(at, size)});
      at += size;
    }
  }
  return png_files::Join(out);
}

TEST(PngReading, RowsMayBeCutIntoChunksAnywhere) {
  for (const Form& form : Depths()) {
    const auto pieces = png_files::Split(png_files::Make(form));
    const std::string rows = RowsOf(pieces);
    for (std::size_t cut = 1; cut < rows.size(); ++cut)
      ASSERT_EQ(Compare(WithRows(pieces, rows, {cut, rows.size()})), "") << Describe(form) << " at " << cut;
    for (const auto& sizes : {std::vector<std::size_t>{1}, {0, 2}, {1, 0, 0, 3}})
      EXPECT_EQ(Compare(WithRows(pieces, rows, sizes)), "") << Describe(form);
  }
}

TEST(PngReading, BrokenAndOddRowsAreJudgedAsByLibpng) {
  for (const Form& form : Depths()) {
    const auto pieces = png_files::Split(png_files::Make(form));
    const std::string rows = RowsOf(pieces);
    const auto compare = [&](const std::string& changed, const std::string& what) {
      EXPECT_EQ(Compare(WithRows(pieces, changed, {changed.size() + 1})), "")
          << Describe(form) << ", " << what;
    };
    for (std::size_t i = 0; i < rows.size(); ++i) {
      std::string flipped = rows;
      flipped[i] = static_cast<char>(flipped[i] ^ 1 << i % 8);
      compare(flipped, "flipped at " + std::to_string(i));
    }
    for (std::size_t i = 0; i < rows.size(); i += 3)
      compare(rows.substr(0, i), "cut at " + std::to_string(i));
    compare(rows + "x", "a byte too many");
    compare(rows + rows, "twice");
    uLongf size = 1 << 20;
    std::string plain(size, '\0');
    ASSERT_EQ(uncompress(reinterpret_cast<Bytef*>(plain.data()), &size,
                         reinterpret_cast<const Bytef*>(rows.data()), static_cast<uLong>(rows.size())),
              Z_OK);
    plain.resize(size);
    compare(png_files::Zlib(plain.substr(0, size - 1)), "a byte of pixels too few");
    compare(png_files::Zlib(plain + "x"), "a byte of pixels too many");
    compare(png_files::Zlib(plain + plain), "twice the pixels");
    compare(png_files::Zlib(plain, 0), "stored");
    for (int window = 9; window <= 15; ++window)
      compare(png_files::Zlib(plain, 9, window), "a smaller window");
    // A window that is smaller than what the stream reaches back to.
    std::string large = png_files::Zlib(plain, 9);
    for (unsigned info = 0; info <= 15; ++info) {
      const unsigned head = info << 12 | 8U << 8;
      large[0] = static_cast<char>(info << 4 | 8U);
      large[1] = static_cast<char>((31 - head % 31) % 31);
      compare(large, "told to have window " + std::to_string(info));
    }
    for (std::string filtered = plain; filtered[0] < 9; ++filtered[0])
      compare(png_files::Zlib(filtered), "filter " + std::to_string(filtered[0]));
  }
}

// References that leave the window which the head tells are an error, and need many rows to be made.
TEST(PngReading, AWindowThatIsTooSmallIsRefusedAsByLibpng) {
  Form form;
  form.color = PNG_COLOR_TYPE_GRAY;
  form.width = 999;
  form.height = 9;
  auto pieces = png_files::Split(png_files::Make(form));
  std::string plain;
  unsigned state = 5;
  for (int y = 0; y < 9; ++y) {
    std::string row(1, '\0');
    for (int x = 0; x < 999; ++x) row += static_cast<char>((state = state * 1664525U + 1013904223U) >> 24);
    plain += y < 5 ? row : plain.substr(static_cast<std::size_t>(y - 5) * 1000, 1000);
  }
  std::string rows = png_files::Zlib(plain, 9);
  ASSERT_LT(rows.size(), 6000U) << "no references";
  int refused = 0;
  for (unsigned info = 0; info <= 7; ++info) {
    rows[0] = static_cast<char>(info << 4 | 8U);
    rows[1] = static_cast<char>((31 - (info << 12 | 8U << 8) % 31) % 31);
    const std::string file = WithRows(pieces, rows, {rows.size()});
    EXPECT_EQ(Compare(file), "") << info;
    refused += image::Decode(file) == nullptr;
  }
  EXPECT_GT(refused, 0);
}

TEST(PngReading, ChunksThatAreMissingDoubledMovedOrChangedAreJudgedAsByLibpng) {
  for (const int color : {PNG_COLOR_TYPE_RGB, PNG_COLOR_TYPE_PALETTE, PNG_COLOR_TYPE_GRAY}) {
    Form form;
    form.color = color;
    form.transparent = color != PNG_COLOR_TYPE_RGB;
    form.extras = form.resolution = true;
    form.chunkBytes = 100;
    const auto pieces = png_files::Split(png_files::Make(form));
    ASSERT_GE(pieces.size(), 9U);
    const auto compare = [&](const std::vector<Piece>& changed, const std::string& what) {
      EXPECT_EQ(Compare(png_files::Join(changed)), "") << Describe(form) << ", " << what;
    };
    for (std::size_t i = 0; i < pieces.size(); ++i) {
      const std::string name = pieces[i].type + " " + std::to_string(i);
      auto changed = pieces;
      changed.erase(changed.begin() + static_cast<std::ptrdiff_t>(i));
      compare(changed, name + " missing");
      for (std::size_t to = 0; to <= changed.size(); ++to) {
        auto moved = changed;
        moved.insert(moved.begin() + static_cast<std::ptrdiff_t>(to), pieces[i]);
        compare(moved, name + " moved to " + std::to_string(to));
        auto doubled = pieces;
        doubled.insert(doubled.begin() + static_cast<std::ptrdiff_t>(to), pieces[i]);
        compare(doubled, name + " again at " + std::to_string(to));
      }
      changed = pieces;
      changed[i].content += '\0';
      compare(changed, name + " longer");
      changed[i].content.clear();
      compare(changed, name + " empty");
      changed = pieces;
      if (!changed[i].content.empty()) changed[i].content.pop_back();
      compare(changed, name + " shorter");
      for (std::size_t at = 0; at < std::min<std::size_t>(pieces[i].content.size(), 40); ++at) {
        for (const int value : {0, 1, 2, 3, 7, 127, 128, 255}) {
          changed = pieces;
          changed[i].content[at] = static_cast<char>(value);
          compare(changed, name + " with " + std::to_string(value) + " at " + std::to_string(at));
        }
      }
      for (const char* type :
           {"IHDR", "PLTE", "IDAT", "IEND", "tRNS", "pHYs", "bKGD", "hIST", "sPLT", "prVt", "CRIT"}) {
        changed = pieces;
        changed[i].type = type;
        compare(changed, name + " called " + type);
      }
    }
  }
}

TEST(PngReading, BrokenChecksumsAndSizesOfChunksAreJudgedAsByLibpng) {
  Form form;
  form.color = PNG_COLOR_TYPE_PALETTE;
  form.transparent = form.extras = form.resolution = true;
  const std::string file = png_files::Make(form);
  for (std::size_t i = 0; i < file.size(); ++i) {
    for (const int bit : {0, 7}) {
      std::string flipped = file;
      flipped[i] = static_cast<char>(flipped[i] ^ 1 << bit);
      EXPECT_EQ(Compare(flipped), "") << "at " << i;
    }
    EXPECT_EQ(Compare(file.substr(0, i)), "") << "cut at " << i;
  }
  EXPECT_EQ(Compare(file + "what follows"), "");
}

}  // namespace
