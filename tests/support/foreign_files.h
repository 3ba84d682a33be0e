// SPDX-License-Identifier: MIT
// ForeignFiles: a folder of files that other programs make and read.
#pragma once

#include "image_support.h"

#include <tovmx/codec.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

class ForeignFiles : public testing::Test {
 protected:
  ForeignFiles() {
    std::string name = testing::TempDir() + "tovmx_foreign_XXXXXX";
    if (mkdtemp(name.data()) != nullptr) folder_ = name;
  }
  ~ForeignFiles() override {
    std::error_code ignored;
    if (!folder_.empty()) std::filesystem::remove_all(folder_, ignored);
  }

  // Runs a shell command in the folder; its standard output, or a failure of the test. Some programs do not
  // know their own options where an i has another capital.
  std::string Run(const std::string& command) {
    std::FILE* pipe =
        popen(("export LC_ALL=C.UTF-8; cd '" + folder_ + "' && " + command + " 2>errors").c_str(), "r");
    std::string out;
    char block[65536];
    for (std::size_t count = 0; (count = std::fread(block, 1, sizeof block, pipe)) != 0;)
      out.append(block, count);
    const int status = pclose(pipe);
    EXPECT_EQ(status, 0) << command << "\n" << image::ReadFile(folder_ + "/errors");
    return out;
  }

  // What ImageMagick reads from the sources, which are all of one size: 16 bits of red, green, blue and alpha
  // for each pixel. One call for all, since the program takes longer to start than to read.
  std::vector<std::string> PixelsOf(const std::vector<std::string>& sources) {
    std::string command = "convert";
    for (const std::string& source : sources) command += " '" + source + "'";
    const std::string all = Run(command + " -depth 16 -endian LSB rgba:-");
    std::vector<std::string> pixels;
    const std::size_t each = all.size() / sources.size();
    for (std::size_t i = 0; i < sources.size(); ++i) pixels.push_back(all.substr(i * each, each));
    return pixels;
  }

  // Compares a frame with such pixels, rounded to 8 bits. Where both are transparent the color does not
  // count.
  void ExpectPixels(const std::string& file, int frame, const std::string& deep, int tolerance) {
    CoreFileInputStream in((folder_ + "/" + file).c_str());
    const auto bitmap = image::Decode(in, frame);
    ASSERT_NE(bitmap, nullptr) << file << ", frame " << frame;
    CoreDib expected;
    ASSERT_TRUE(expected.Create(bitmap->GetWidth(), bitmap->GetHeight(), 32));
    ASSERT_EQ(deep.size(), 2 * expected.GetBufferSize()) << file;
    for (int y = 0; y < expected.GetHeight(); ++y) {
      for (int x = 0; x < expected.GetWidth(); ++x) {
        const auto pixel = static_cast<std::size_t>(y) * static_cast<std::size_t>(expected.GetStride()) +
                           4 * static_cast<std::size_t>(x);
        const std::size_t order[] = {2, 1, 0, 3};
        for (std::size_t c = 0; c < 4; ++c) {
          const auto low = static_cast<unsigned char>(deep[2 * (pixel + order[c])]);
          const auto high = static_cast<unsigned char>(deep[2 * (pixel + order[c]) + 1]);
          expected.GetBuffer()[pixel + c] = static_cast<std::uint8_t>((low + 256U * high + 128U) / 257U);
        }
        const std::uint32_t ours = bitmap->GetArgb(x, y);
        if (ours >> 24 == 0 && expected.GetBuffer()[pixel + 3] == 0)
          std::memcpy(expected.GetBuffer() + pixel, &ours, 4);
      }
    }
    EXPECT_EQ(image::Difference(*bitmap, expected, tolerance), "") << file << ", frame " << frame;
  }

  std::string folder_;
};
