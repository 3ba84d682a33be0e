// SPDX-License-Identifier: MIT
#include "image_support.h"
#include "run_command.h"
#include "scratch_dir.h"

#include <tovmx/geometry.h>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <string>
#include <vector>

namespace {

class ImageCommand : public testing::Test {
 protected:
  ImageCommand() : in_(scratch_.path() + "/in.png"), picture_(image::MakePicture(40, 30, 24)) {
    picture_.SetDpi(254, 127);
    Save(in_, image::Encode(picture_, kCoreImagePng));
  }
  static void Save(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
  }
  std::string Path(const std::string& name) const { return scratch_.path() + "/" + name; }
  static CommandResult Image(std::vector<std::string> arguments, const std::string& input = "") {
    arguments.insert(arguments.begin(), "image");
    return RunCommand(arguments, input);
  }
  static void ExpectFailure(const CommandResult& result, const std::string& message) {
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "tovkit: " + message + "\n");
  }
  std::size_t FilesLeft() const {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(scratch_.path()), {}));
  }

  ScratchDir scratch_;
  std::string in_;
  CoreDib picture_;
};

TEST_F(ImageCommand, ConvertsToEveryFormatByExtension) {
  for (const char* extension : {"png", "jpg", "JPEG", "tif", "tiff", "webp", "jp2", "bmp"}) {
    const std::string out = Path("out." + std::string(extension));
    const CommandResult result = Image({in_, "-o", out});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out + result.err, "");
    const std::string bytes = image::ReadFile(out);
    CoreMemoryInputStream stream(bytes.data(), bytes.size());
    EXPECT_EQ(CoreDetectImageFormat(&stream), CoreImageFormatFromExtension(extension));
    const auto back = image::Decode(bytes);
    ASSERT_NE(back, nullptr) << extension;
    const bool lossy = CoreImageFormatFromExtension(extension) == kCoreImageJpeg;
    EXPECT_EQ(image::Difference(picture_, *back, lossy ? 40 : 0), "") << extension;
  }
}

TEST_F(ImageCommand, ReadsStandardInput) {
  EXPECT_EQ(Image({"-", "-o", Path("out.bmp")}, image::ReadFile(in_)).status, 0);
  EXPECT_EQ(image::Difference(picture_, *image::Decode(image::ReadFile(Path("out.bmp")))), "");
  ExpectFailure(Image({"-", "--info"}, "no picture"), "standard input: not a picture of a known format");
}

TEST_F(ImageCommand, ReadsAPipe) {
  ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);
  const pid_t child = fork();
  if (child == 0) {
    Save(Path("pipe"), image::ReadFile(in_));
    _exit(0);
  }
  EXPECT_EQ(Image({Path("pipe"), "-o", Path("out.bmp")}).status, 0);
  waitpid(child, nullptr, 0);
  EXPECT_EQ(image::Difference(picture_, *image::Decode(image::ReadFile(Path("out.bmp")))), "");
}

TEST_F(ImageCommand, InfoSaysWhatThePictureIs) {
  EXPECT_EQ(Image({in_, "--info"}).out,
            "format: PNG\nsize: 40 x 30\ndepth: 24 bits per pixel, 24 in the file\npalette: none\nframes: 1\n"
            "resolution: 254 x 127 dpi\n");
  const std::string gif = TOVKIT_SOURCE_DIR "/tests/data/images/animation.gif";
  EXPECT_EQ(Image({gif, "--info"}).out.substr(0, 30), "format: GIF\nsize: 12 x 10\ndept");
  EXPECT_NE(Image({gif, "--info"}).out.find("frames: 5\nresolution: unknown\n"), std::string::npos);
  EXPECT_NE(
      Image({TOVKIT_SOURCE_DIR "/tests/data/images/run4.bmp", "--info"}).out.find("palette: 16 colors\n"),
      std::string::npos);
}

TEST_F(ImageCommand, EraseBlanksEachRectangle) {
  EXPECT_EQ(
      Image({in_, "-o", Path("out.png"), "--erase", "1,2,3,4", "--erase", "10,0,12,30", "--erase=-5,-5,1,1"})
          .status,
      0);
  CoreDib expected;
  ASSERT_TRUE(expected.CopyFrom(picture_));
  for (const CoreRect& rect : {CoreRect{1, 2, 3, 4}, CoreRect{10, 0, 12, 30}, CoreRect{0, 0, 1, 1}}) {
    for (int y = rect.top; y < rect.bottom; ++y)
      std::memset(expected.GetRow(y) + 3 * rect.left, 255,
                  static_cast<std::size_t>(rect.right - rect.left) * 3);
  }
  EXPECT_EQ(image::Difference(expected, *image::Decode(image::ReadFile(Path("out.png")))), "");
}

TEST_F(ImageCommand, FrameCountsFromOne) {
  const std::string gif = TOVKIT_SOURCE_DIR "/tests/data/images/animation.gif";
  EXPECT_EQ(Image({gif, "--frame", "5", "-o", Path("out.png")}).status, 0);
  const auto back = image::Decode(image::ReadFile(Path("out.png")));
  ASSERT_NE(back, nullptr);
  EXPECT_EQ(image::Difference(*image::Decode(image::ReadFile(gif), 4), *back), "");
  ExpectFailure(Image({gif, "--frame", "6", "-o", Path("out6.png")}), gif + ": no frame 6, the last is 5");
}

TEST_F(ImageCommand, QualityChangesTheSize) {
  EXPECT_EQ(Image({in_, "-o", Path("low.jpg"), "--quality", "10"}).status, 0);
  EXPECT_EQ(Image({in_, "-o", Path("high.jpg"), "--quality", "95"}).status, 0);
  EXPECT_LT(image::ReadFile(Path("low.jpg")).size(), image::ReadFile(Path("high.jpg")).size());
}

TEST_F(ImageCommand, EffortChangesTheSizeAndNothingElse) {
  EXPECT_EQ(Image({in_, "-o", Path("quick.png"), "--effort", "1"}).status, 0);
  EXPECT_EQ(Image({in_, "-o", Path("plain.png"), "--effort", "5"}).status, 0);
  EXPECT_EQ(Image({in_, "-o", Path("small.png"), "--effort", "9"}).status, 0);
  EXPECT_EQ(Image({in_, "-o", Path("default.png")}).status, 0);
  EXPECT_EQ(image::ReadFile(Path("plain.png")), image::ReadFile(Path("default.png")));
  EXPECT_LT(image::ReadFile(Path("small.png")).size(), image::ReadFile(Path("quick.png")).size());
  for (const char* name : {"quick.png", "small.png"})
    EXPECT_EQ(image::Difference(picture_, *image::Decode(image::ReadFile(Path(name)))), "") << name;
}

TEST_F(ImageCommand, EffortIsWrongUseForFormatsWithoutOne) {
  for (const char* extension : {"jpg", "tif", "webp", "jp2", "bmp"}) {
    const CommandResult result = Image({in_, "-o", Path("out." + std::string(extension)), "--effort", "5"});
    EXPECT_EQ(result.status, 2) << extension;
    EXPECT_NE(result.err.find("--effort: there is no choice of it for " + std::string(extension)),
              std::string::npos)
        << result.err;
  }
  EXPECT_EQ(Image({in_, "-o", Path("out.png"), "--effort", "0"}).status, 2);
  EXPECT_EQ(Image({in_, "-o", Path("out.png"), "--effort", "10"}).status, 2);
  EXPECT_EQ(FilesLeft(), 1u) << "nothing but the input";
}

TEST_F(ImageCommand, MisuseExitsWithTwo) {
  const std::vector<std::vector<std::string>> cases = {
      {},
      {in_},
      {in_, "-o", Path("out.gif")},
      {in_, "-o", Path("out.xyz")},
      {in_, "-o", Path("png")},
      {in_, "-o", Path("out.png"), "--erase", "1,2,3"},
      {in_, "-o", Path("out.png"), "--erase", "1,2,3,4,5"},
      {in_, "-o", Path("out.png"), "--erase", "1,2,3,x"},
      {in_, "-o", Path("out.png"), "--erase", "1,2,3,99999999999"},
      {in_, "-o", Path("out.png"), "--quality", "0"},
      {in_, "-o", Path("out.png"), "--quality", "101"},
      {in_, "-o", Path("out.png"), "--frame", "0"},
      {in_, "--info", "--erase", "1,2,3,4"},
  };
  for (const auto& arguments : cases) {
    const CommandResult result = Image(arguments);
    EXPECT_EQ(result.status, 2) << testing::PrintToString(arguments);
    EXPECT_EQ(result.out, "");
    EXPECT_NE(result.err, "");
  }
  EXPECT_EQ(FilesLeft(), 1u) << "nothing but the input";
}

TEST_F(ImageCommand, AnInputThatCannotBeReadIsNamed) {
  ExpectFailure(Image({Path("none.png"), "--info"}), Path("none.png") + ": No such file or directory");
  ExpectFailure(Image({scratch_.path(), "--info"}), scratch_.path() + ": Is a directory");
  Save(Path("text.png"), "just text");
  ExpectFailure(Image({Path("text.png"), "--info"}), Path("text.png") + ": not a picture of a known format");
  Save(Path("cut.png"), image::ReadFile(in_).substr(0, 200));
  ExpectFailure(Image({Path("cut.png"), "-o", Path("out.png")}), Path("cut.png") + ": PNG that is broken");
}

TEST_F(ImageCommand, SaysWhyAPictureIsNotRead) {
  const std::string out = Path("out.png");
  std::string bmp = image::Encode(picture_, kCoreImageBmp);
  bmp[30] = 4;
  Save(Path("jpeg.bmp"), bmp);
  ExpectFailure(Image({Path("jpeg.bmp"), "-o", out}),
                Path("jpeg.bmp") + ": BMP of a form that is not supported: JPEG inside BMP");
  // 100,000 by 100,000 pixels.
  for (const std::size_t at : {18U, 22U}) bmp.replace(at, 4, "\xa0\x86\1\0", 4);
  bmp[30] = 0;
  Save(Path("large.bmp"), bmp);
  ExpectFailure(Image({Path("large.bmp"), "--info"}), Path("large.bmp") + ": BMP beyond the memory limit");
  Save(Path("cut.bmp"), bmp.substr(0, 40));
  ExpectFailure(Image({Path("cut.bmp"), "--info"}), Path("cut.bmp") + ": BMP that is broken");
  EXPECT_EQ(FilesLeft(), 4u) << "no output";
}

TEST_F(ImageCommand, AFailedJobLeavesTheOutputAsItWas) {
  Save(Path("kept.webp"), "precious");
  Save(Path("cut.png"), image::ReadFile(in_).substr(0, 200));
  EXPECT_EQ(Image({Path("cut.png"), "-o", Path("kept.webp")}).status, 1);
  EXPECT_EQ(image::ReadFile(Path("kept.webp")), "precious");
  CoreDib wide;
  ASSERT_TRUE(wide.Create(20000, 1, 8));
  Save(Path("wide.png"), image::Encode(wide, kCoreImagePng));
  ExpectFailure(Image({Path("wide.png"), "-o", Path("kept.webp")}),
                Path("kept.webp") + ": WebP cannot hold a picture of 20000 x 1 pixels");
  EXPECT_EQ(image::ReadFile(Path("kept.webp")), "precious");
  EXPECT_EQ(FilesLeft(), 4u) << "no file is left beside it";
}

TEST_F(ImageCommand, AFullDiskIsReported) {
  for (const char* extension : {"png", "jpg", "tif", "webp", "jp2", "bmp"}) {
    const std::string out = Path("full." + std::string(extension));
    ASSERT_EQ(symlink("/dev/full", out.c_str()), 0);
    ExpectFailure(Image({in_, "-o", out}), out + ": cannot write: No space left on device");
  }
}

TEST_F(ImageCommand, AnOutputThatCannotBeMadeIsNamed) {
  ExpectFailure(Image({in_, "-o", Path("none/out.png")}),
                Path("none/out.png") + ": cannot create the file: No such file or directory");
}

TEST_F(ImageCommand, MayReplaceItsInput) {
  EXPECT_EQ(Image({in_, "-o", in_, "--erase", "0,0,40,30"}).status, 0);
  EXPECT_EQ(image::Decode(image::ReadFile(in_))->GetArgb(39, 29), 0xffffffffu);
}

}  // namespace
