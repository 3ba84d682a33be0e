// SPDX-License-Identifier: MIT
// Pictures of many pages and frames, decoded to other sizes and written to files, each beside the form that
// costs least.
#include "forms.h"

#include <tovkit/imaging.h>
#include <tovmx/codec.h>

#include <tiffio.h>
#include <unistd.h>
#include <tiffio.hxx>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>

namespace {

using bench::Form;
using bench::Work;

std::string Bytes(const CoreMemoryOutputStream& out) {
  return {static_cast<const char*>(static_cast<const void*>(out.GetData())), out.GetSize()};
}

// A file in memory and its decoder.
struct Opened {
  Opened(std::string content, CoreImageFormat format)
      : bytes(std::move(content)),
        in(bytes.data(), bytes.size()),
        decoder(CoreCodecRegistry::Get().GetFactory().CreateDecoder(format)) {
    decoder->Open(&in, kCoreOpenReadAhead);
  }
  std::string bytes;
  CoreMemoryInputStream in;
  std::unique_ptr<CoreImageDecoder> decoder;
  int at = 0;
};

// ---- One page after the other

Form NextPage(const char* name, int pages) {
  return {name, [pages]() -> Work {
            CoreTiffPages tiff;
            CoreDib page;
            page.Create(8, 8, 8);
            for (int i = 0; i < pages; ++i) tiff.Add(&page);
            CoreMemoryOutputStream out;
            tiff.Write(&out);
            const auto file = std::make_shared<Opened>(Bytes(out), kCoreImageTiff);
            return [file, pages] {
              file->decoder->GetBitmap(file->at, 0, 0);
              file->at = (file->at + 1) % pages;
            };
          }};
}

[[maybe_unused]] const bool kPages = bench::RegisterForms(
    "form_next_page_of", {NextPage("10", 10), NextPage("1000", 1000), NextPage("4000", 4000)});

// ---- Frames of an animation: the test's, shown 60 times over

std::string LongAnimation() {
  std::ifstream file(TOVKIT_SOURCE_DIR "/tests/data/images/animation.gif", std::ios::binary);
  const std::string once{std::istreambuf_iterator<char>(file), {}};
  const std::size_t colors = std::size_t{2} << (static_cast<unsigned char>(once[10]) & 7U);
  const std::size_t head = 13 + ((static_cast<unsigned char>(once[10]) & 0x80U) != 0 ? 3 * colors : 0);
  std::string all = once.substr(0, head);
  for (int i = 0; i < 60; ++i) all += once.substr(head, once.size() - 1 - head);
  return all + ";";
}

Form Frame(const char* name, int step) {
  return {name, [step]() -> Work {
            const auto file = std::make_shared<Opened>(LongAnimation(), kCoreImageGif);
            const int count = file->decoder->GetInfo().frameCount;
            file->at = step == 1 ? 0 : count - 1;
            return [file, step, count] {
              file->decoder->GetBitmap(file->at, 0, 0);
              file->at = (file->at + step + count) % count;
            };
          }};
}

[[maybe_unused]] const bool kFrames = bench::RegisterForms(
    "form_frame_of_300", {Frame("next", 1), Frame("the_same_again", 0), Frame("the_one_before", -1)});

// ---- Sizes and targets

CoreDib MakePicture() {
  CoreDib picture;
  picture.Create(1600, 1200, 24);
  for (int y = 0; y < 1200; ++y) {
    for (int x = 0; x < 4800; ++x)
      picture.GetRow(y)[x] = static_cast<std::uint8_t>(x / 12 + y / 3 + x * y % 5);
  }
  return picture;
}

Form Decode(const char* name, CoreImageFormat format, int width, int height) {
  return {name, [format, width, height]() -> Work {
            CoreDib picture = MakePicture();
            CoreMemoryOutputStream out;
            tovkit::ImageEncode(&picture, format, &out);
            const auto file = std::make_shared<Opened>(Bytes(out), format);
            return [file, width, height] { file->decoder->GetBitmap(0, width, height); };
          }};
}

[[maybe_unused]] const bool kJpeg = bench::RegisterForms(
    "form_jpeg_1600_by_1200_decoded",
    {Decode("as_it_is", kCoreImageJpeg, 0, 0), Decode("to_800", kCoreImageJpeg, 800, 600),
     Decode("to_160", kCoreImageJpeg, 160, 120), Decode("to_16", kCoreImageJpeg, 16, 12)});
[[maybe_unused]] const bool kPng =
    bench::RegisterForms("form_png_1600_by_1200_decoded",
                         {Decode("as_it_is", kCoreImagePng, 0, 0), Decode("to_800", kCoreImagePng, 800, 600),
                          Decode("to_160", kCoreImagePng, 160, 120), Decode("to_16", kCoreImagePng, 16, 12)});

Form WriteBmp(const char* name, int bits, int colors) {
  return {name, [bits, colors]() -> Work {
            const auto picture = std::make_shared<CoreDib>();
            picture->Create(8192 / bits * 24, 800, bits);
            const std::vector<std::uint32_t> entries(static_cast<std::size_t>(colors), 0x123456);
            picture->SetPalette(entries.data(), colors);
            return [picture] {
              CoreMemoryOutputStream out;
              tovkit::ImageEncode(picture.get(), kCoreImageBmp, &out);
            };
          }};
}

// To a file, and the same in memory.
Form WriteBmpTo(const char* name, bool file) {
  return {name, [file]() -> Work {
            const auto picture = std::make_shared<CoreDib>(MakePicture());
            if (!file) {
              return [picture] {
                CoreMemoryOutputStream out;
                tovkit::ImageEncode(picture.get(), kCoreImageBmp, &out);
              };
            }
            const std::string path = "/dev/shm/tovkit-bench-" + std::to_string(getpid()) + ".bmp";
            const std::shared_ptr<void> removed(nullptr, [path](void*) { unlink(path.c_str()); });
            return [picture, path, removed] {
              CoreFileOutputStream out(path.c_str());
              tovkit::ImageEncode(picture.get(), kCoreImageBmp, &out);
            };
          }};
}

[[maybe_unused]] const bool kBmpTo =
    bench::RegisterForms("form_bmp_to", {WriteBmpTo("memory", false), WriteBmpTo("a_file", true)});

// ---- Samples of a TIFF, uncompressed

std::string TiffOf(int samples, int bits) {
  constexpr std::uint32_t kSide = 800;
  std::ostringstream file;
  TIFF* const tiff = TIFFStreamOpen("bench", &file);
  TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, kSide);
  TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, kSide);
  TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, bits);
  TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, samples);
  TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC,
               samples == 1   ? PHOTOMETRIC_MINISBLACK
               : samples == 3 ? PHOTOMETRIC_RGB
                              : PHOTOMETRIC_SEPARATED);
  TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
  TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
  TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, 16);
  std::vector<std::uint8_t> row(static_cast<std::size_t>(kSide) *
                                static_cast<std::size_t>(samples * bits / 8));
  for (std::uint32_t y = 0; y < kSide; ++y) {
    for (std::size_t i = 0; i < row.size(); ++i) row[i] = static_cast<std::uint8_t>(i * 7 + y * 3);
    TIFFWriteScanline(tiff, row.data(), y, 0);
  }
  TIFFClose(tiff);
  return file.str();
}

Form DecodeTiff(const char* name, int samples, int bits) {
  return {name, [samples, bits]() -> Work {
            const auto file = std::make_shared<Opened>(TiffOf(samples, bits), kCoreImageTiff);
            return [file] { file->decoder->GetBitmap(0, 0, 0); };
          }};
}

// Gray rows of 8 bits go into the bitmap as they are, so they are not the form to compare with.
[[maybe_unused]] const bool kTiff = bench::RegisterForms(
    "form_tiff_800_by_800_of",
    {DecodeTiff("8_bits_rgb", 3, 8), DecodeTiff("8_bits_cmyk", 4, 8), DecodeTiff("16_bits_gray", 1, 16),
     DecodeTiff("16_bits_rgb", 3, 16), DecodeTiff("16_bits_cmyk", 4, 16)});

// All of the same number of bytes.
[[maybe_unused]] const bool kBmp =
    bench::RegisterForms("form_bmp_of", {WriteBmp("24_bits", 24, 0), WriteBmp("8_bits_gray", 8, 0),
                                         WriteBmp("8_bits_256_colors", 8, 256),
                                         WriteBmp("8_bits_16_colors", 8, 16), WriteBmp("1_bit", 1, 0)});

}  // namespace
