// SPDX-License-Identifier: MIT
// LibjpegWriter: a JPEG written by libjpeg itself into a string, for tests and benchmarks that compare with
// it.
//
//   LibjpegWriter writer(width, height, 3, JCS_EXT_BGR);
//   jpeg_set_quality(&writer.jpeg, 90, TRUE);
//   const std::string file = writer.Write([&](int y) { return Row(y); });
#pragma once

#include <cstdio>  // jpeglib.h wants it first

#include <jpeglib.h>

#include <cstdlib>
#include <string>

struct LibjpegWriter {
  LibjpegWriter(int width, int height, int components, J_COLOR_SPACE space) {
    jpeg.err = jpeg_std_error(&errors_);
    jpeg_create_compress(&jpeg);
    jpeg_mem_dest(&jpeg, &bytes_, &size_);
    jpeg.image_width = static_cast<JDIMENSION>(width);
    jpeg.image_height = static_cast<JDIMENSION>(height);
    jpeg.input_components = components;
    jpeg.in_color_space = space;
    jpeg_set_defaults(&jpeg);
  }
  ~LibjpegWriter() {
    jpeg_destroy_compress(&jpeg);
    std::free(bytes_);
  }
  LibjpegWriter(const LibjpegWriter&) = delete;
  LibjpegWriter& operator=(const LibjpegWriter&) = delete;

  // Takes the samples of each row from row(y).
  template <typename RowOf>
  [[nodiscard]] std::string Write(const RowOf& row) {
    jpeg_start_compress(&jpeg, TRUE);
    while (jpeg.next_scanline < jpeg.image_height) {
      JSAMPROW line = const_cast<JSAMPROW>(row(static_cast<int>(jpeg.next_scanline)));
      jpeg_write_scanlines(&jpeg, &line, 1);
    }
    jpeg_finish_compress(&jpeg);
    return {reinterpret_cast<char*>(bytes_), size_};
  }

  jpeg_compress_struct jpeg{};

 private:
  jpeg_error_mgr errors_{};
  unsigned char* bytes_ = nullptr;
  unsigned long size_ = 0;
};
