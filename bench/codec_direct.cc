// SPDX-License-Identifier: MIT
#include "codec_direct.h"

#include "libjpeg_writer.h"
#include "libpng_writer.h"

#include <cstdio>  // jpeglib.h wants it first

#include <gif_lib.h>
#include <jpeglib.h>
#include <openjpeg.h>
#include <png.h>
#include <tiffio.h>
#include <webp/decode.h>
#include <webp/encode.h>

#include <algorithm>
#include <cstring>
#include <vector>

namespace direct {

namespace {

// A string as a file.
struct File {
  std::string bytes;
  std::size_t position = 0;

  std::size_t Read(void* to, std::size_t size) {
    const std::size_t count = position >= bytes.size() ? 0 : std::min(size, bytes.size() - position);
    std::memcpy(to, bytes.data() + position, count);
    position += count;
    return count;
  }
  void Write(const void* from, std::size_t size) {
    if (position + size > bytes.size()) bytes.resize(position + size);
    std::memcpy(bytes.data() + position, from, size);
    position += size;
  }
};

}  // namespace

std::string EncodePng(const Picture& picture) {
  LibpngWriter writer;
  writer.PutHead(picture.width, picture.height, 8, PNG_COLOR_TYPE_RGB);
  png_write_info(writer.png, writer.info);
  png_set_bgr(writer.png);
  for (int y = 0; y < picture.height; ++y) png_write_row(writer.png, picture.Row(y));
  return writer.Finish();
}

std::uint8_t DecodePng(const std::string& bytes, int width, int height) {
  const Picture picture(width, height);
  File file{bytes};
  png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  png_set_read_fn(png, &file, [](png_structp p, png_bytep data, std::size_t size) {
    static_cast<File*>(png_get_io_ptr(p))->Read(data, size);
  });
  png_read_info(png, info);
  png_set_bgr(png);
  png_start_read_image(png);
  for (int y = 0; y < height; ++y) png_read_row(png, picture.Row(y), nullptr);
  png_read_end(png, nullptr);
  png_destroy_read_struct(&png, &info, nullptr);
  return picture.pixels[0];
}

std::string EncodeJpeg(const Picture& picture, int quality) {
  LibjpegWriter writer(picture.width, picture.height, 3, JCS_EXT_BGR);
  jpeg_set_quality(&writer.jpeg, quality, TRUE);
  if (quality >= 90) writer.jpeg.comp_info[0].h_samp_factor = writer.jpeg.comp_info[0].v_samp_factor = 1;
  return writer.Write([&picture](int y) { return picture.Row(y); });
}

std::uint8_t DecodeJpeg(const std::string& bytes, int width, int height) {
  const Picture picture(width, height);
  jpeg_decompress_struct jpeg;
  jpeg_error_mgr errors;
  jpeg.err = jpeg_std_error(&errors);
  jpeg_create_decompress(&jpeg);
  jpeg_mem_src(&jpeg, reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
  jpeg_read_header(&jpeg, TRUE);
  jpeg.out_color_space = JCS_EXT_BGR;
  jpeg_start_decompress(&jpeg);
  while (jpeg.output_scanline < jpeg.output_height) {
    JSAMPROW row = picture.Row(static_cast<int>(jpeg.output_scanline));
    jpeg_read_scanlines(&jpeg, &row, 1);
  }
  jpeg_finish_decompress(&jpeg);
  jpeg_destroy_decompress(&jpeg);
  return picture.pixels[0];
}

namespace {

TIFF* OpenTiff(File& file, const char* mode) {
  return TIFFClientOpen(
      "", mode, &file,
      [](thandle_t f, void* to, tmsize_t size) {
        return static_cast<tmsize_t>(static_cast<File*>(f)->Read(to, static_cast<std::size_t>(size)));
      },
      [](thandle_t f, void* from, tmsize_t size) {
        static_cast<File*>(f)->Write(from, static_cast<std::size_t>(size));
        return size;
      },
      [](thandle_t f, toff_t offset, int whence) -> toff_t {
        auto* self = static_cast<File*>(f);
        if (whence == SEEK_CUR) offset += self->position;
        if (whence == SEEK_END) offset += self->bytes.size();
        return self->position = offset;
      },
      [](thandle_t) { return 0; }, [](thandle_t f) -> toff_t { return static_cast<File*>(f)->bytes.size(); },
      [](thandle_t f, void** base, toff_t* size) {
        *base = static_cast<File*>(f)->bytes.data();
        *size = static_cast<File*>(f)->bytes.size();
        return 1;
      },
      [](thandle_t, void*, toff_t) {});
}

}  // namespace

std::string EncodeTiff(const Picture& picture) {
  File file;
  TIFF* tiff = OpenTiff(file, "w");
  TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, static_cast<std::uint32_t>(picture.width));
  TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, static_cast<std::uint32_t>(picture.height));
  TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 8);
  TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 3);
  TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
  TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
  TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_LZW);
  TIFFSetField(tiff, TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL);
  TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, static_cast<std::uint32_t>(65536 / (picture.width * 3)));
  std::vector<std::uint8_t> row(static_cast<std::size_t>(picture.width) * 3);
  for (int y = 0; y < picture.height; ++y) {
    const std::uint8_t* from = picture.Row(y);
    for (std::size_t i = 0; i < row.size(); i += 3)
      row[i] = from[i + 2], row[i + 1] = from[i + 1], row[i + 2] = from[i];
    TIFFWriteScanline(tiff, row.data(), static_cast<std::uint32_t>(y), 0);
  }
  TIFFClose(tiff);
  return file.bytes;
}

std::uint8_t DecodeTiff(const std::string& bytes, int width, int height) {
  const Picture picture(width, height);
  File file{bytes};
  TIFF* tiff = OpenTiff(file, "r");
  for (int y = 0; y < height; ++y) {
    std::uint8_t* row = picture.Row(y);
    TIFFReadScanline(tiff, row, static_cast<std::uint32_t>(y), 0);
    for (int i = 0; i < width * 3; i += 3) std::swap(row[i], row[i + 2]);
  }
  TIFFClose(tiff);
  return picture.pixels[0];
}

std::string EncodeG4(const std::uint8_t* bits, int width, int height) {
  File file;
  TIFF* tiff = OpenTiff(file, "w");
  TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, static_cast<std::uint32_t>(width));
  TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, static_cast<std::uint32_t>(height));
  TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 1);
  TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 1);
  TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISWHITE);
  TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_CCITTFAX4);
  TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, static_cast<std::uint32_t>(height));
  std::vector<std::uint8_t> row(static_cast<std::size_t>(width) / 8);
  for (int y = 0; y < height; ++y) {
    for (std::uint8_t& byte : row) byte = static_cast<std::uint8_t>(~*bits++);
    TIFFWriteScanline(tiff, row.data(), static_cast<std::uint32_t>(y), 0);
  }
  TIFFClose(tiff);
  return file.bytes;
}

std::uint8_t DecodeG4(const std::string& bytes, int width, int height) {
  const std::size_t stride = static_cast<std::size_t>(width) / 8;
  std::vector<std::uint8_t> bits(stride * static_cast<std::size_t>(height));
  File file{bytes};
  TIFF* tiff = OpenTiff(file, "r");
  for (int y = 0; y < height; ++y) {
    std::uint8_t* row = bits.data() + static_cast<std::size_t>(y) * stride;
    TIFFReadScanline(tiff, row, static_cast<std::uint32_t>(y), 0);
    for (std::size_t i = 0; i < stride; ++i) row[i] = static_cast<std::uint8_t>(~row[i]);
  }
  TIFFClose(tiff);
  return bits[0];
}

std::string EncodeGif(const std::uint8_t* indices, int width, int height, int frames) {
  File file;
  int error = 0;
  GifFileType* gif = EGifOpen(
      &file,
      [](GifFileType* g, const GifByteType* from, int size) {
        static_cast<File*>(g->UserData)->Write(from, static_cast<std::size_t>(size));
        return size;
      },
      &error);
  GifColorType grays[256];
  for (int i = 0; i < 256; ++i) {
    const auto level = static_cast<GifByteType>(i);
    grays[i] = {level, level, level};
  }
  ColorMapObject* map = GifMakeMapObject(256, grays);
  EGifSetGifVersion(gif, true);
  EGifPutScreenDesc(gif, width, height, 8, 0, map);
  std::vector<GifPixelType> row(static_cast<std::size_t>(width));
  for (int frame = 0; frame < frames; ++frame) {
    EGifPutImageDesc(gif, 0, 0, width, height, false, nullptr);
    for (int y = 0; y < height; ++y) {
      std::memcpy(row.data(), indices + static_cast<std::size_t>(y) * row.size(), row.size());
      EGifPutLine(gif, row.data(), width);
    }
  }
  GifFreeMapObject(map);
  EGifCloseFile(gif, &error);
  return file.bytes;
}

std::uint8_t DecodeGif(const std::string& bytes, int width, int height) {
  std::vector<GifPixelType> pixels(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
  File file{bytes};
  int error = 0;
  GifFileType* gif = DGifOpen(
      &file,
      [](GifFileType* g, GifByteType* to, int size) {
        return static_cast<int>(static_cast<File*>(g->UserData)->Read(to, static_cast<std::size_t>(size)));
      },
      &error);
  GifRecordType type = UNDEFINED_RECORD_TYPE;
  DGifGetRecordType(gif, &type);
  DGifGetImageDesc(gif);
  for (int y = 0; y < height; ++y)
    DGifGetLine(gif, pixels.data() + static_cast<std::size_t>(y) * static_cast<std::size_t>(width), width);
  DGifCloseFile(gif, &error);
  return pixels[0];
}

std::string EncodeWebp(const Picture& picture, int quality) {
  WebPConfig config;
  WebPConfigInit(&config);
  config.lossless = quality == 0;
  if (quality != 0) config.quality = static_cast<float>(quality);
  config.exact = 1;
  WebPPicture webp;
  WebPPictureInit(&webp);
  webp.use_argb = 1;
  webp.width = picture.width;
  webp.height = picture.height;
  WebPPictureImportBGR(&webp, picture.pixels, picture.width * 3);
  WebPMemoryWriter writer;
  WebPMemoryWriterInit(&writer);
  webp.writer = WebPMemoryWrite;
  webp.custom_ptr = &writer;
  WebPEncode(&config, &webp);
  std::string out(reinterpret_cast<char*>(writer.mem), writer.size);
  WebPMemoryWriterClear(&writer);
  WebPPictureFree(&webp);
  return out;
}

std::uint8_t DecodeWebp(const std::string& bytes, int width, int height) {
  const Picture picture(width, height);
  WebPDecodeBGRInto(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size(), picture.pixels,
                    static_cast<std::size_t>(width) * height * 3, width * 3);
  return picture.pixels[0];
}

namespace {

opj_stream_t* OpenStream(File& file, bool input) {
  opj_stream_t* stream = opj_stream_default_create(input ? OPJ_TRUE : OPJ_FALSE);
  opj_stream_set_read_function(stream, [](void* to, OPJ_SIZE_T size, void* f) -> OPJ_SIZE_T {
    const std::size_t count = static_cast<File*>(f)->Read(to, size);
    return count == 0 ? static_cast<OPJ_SIZE_T>(-1) : count;
  });
  opj_stream_set_write_function(stream, [](void* from, OPJ_SIZE_T size, void* f) -> OPJ_SIZE_T {
    static_cast<File*>(f)->Write(from, size);
    return size;
  });
  opj_stream_set_seek_function(stream, [](OPJ_OFF_T position, void* f) -> OPJ_BOOL {
    static_cast<File*>(f)->position = static_cast<std::size_t>(position);
    return OPJ_TRUE;
  });
  opj_stream_set_skip_function(stream, [](OPJ_OFF_T count, void* f) -> OPJ_OFF_T {
    static_cast<File*>(f)->position += static_cast<std::size_t>(count);
    return count;
  });
  opj_stream_set_user_data(stream, &file, nullptr);
  opj_stream_set_user_data_length(stream, file.bytes.size());
  return stream;
}

}  // namespace

std::string EncodeJpeg2000(const Picture& picture) {
  opj_image_cmptparm_t components[3] = {};
  for (auto& component : components) {
    component.dx = component.dy = 1;
    component.w = static_cast<OPJ_UINT32>(picture.width);
    component.h = static_cast<OPJ_UINT32>(picture.height);
    component.prec = 8;
  }
  opj_image_t* image = opj_image_create(3, components, OPJ_CLRSPC_SRGB);
  image->x1 = components[0].w;
  image->y1 = components[0].h;
  const std::size_t count = static_cast<std::size_t>(picture.width) * picture.height;
  for (std::size_t i = 0; i < count; ++i) {
    for (std::size_t c = 0; c < 3; ++c) image->comps[c].data[i] = picture.pixels[3 * i + 2 - c];
  }
  opj_cparameters_t parameters;
  opj_set_default_encoder_parameters(&parameters);
  parameters.tcp_numlayers = 1;
  parameters.tcp_mct = 1;
  parameters.cp_disto_alloc = 1;
  File file;
  opj_codec_t* codec = opj_create_compress(OPJ_CODEC_JP2);
  opj_setup_encoder(codec, &parameters, image);
  opj_stream_t* stream = OpenStream(file, false);
  opj_start_compress(codec, image, stream);
  opj_encode(codec, stream);
  opj_end_compress(codec, stream);
  opj_stream_destroy(stream);
  opj_destroy_codec(codec);
  opj_image_destroy(image);
  return file.bytes;
}

std::uint8_t DecodeJpeg2000(const std::string& bytes, int width, int height) {
  const Picture picture(width, height);
  File file{bytes};
  opj_stream_t* stream = OpenStream(file, true);
  opj_codec_t* codec = opj_create_decompress(OPJ_CODEC_JP2);
  opj_dparameters_t parameters;
  opj_set_default_decoder_parameters(&parameters);
  opj_setup_decoder(codec, &parameters);
  opj_image_t* image = nullptr;
  opj_read_header(stream, codec, &image);
  opj_decode(codec, stream, image);
  opj_end_decompress(codec, stream);
  const std::size_t count = static_cast<std::size_t>(width) * height;
  for (std::size_t i = 0; i < count; ++i) {
    for (std::size_t c = 0; c < 3; ++c)
      picture.pixels[3 * i + 2 - c] = static_cast<std::uint8_t>(image->comps[c].data[i]);
  }
  opj_stream_destroy(stream);
  opj_destroy_codec(codec);
  opj_image_destroy(image);
  return picture.pixels[0];
}

}  // namespace direct
