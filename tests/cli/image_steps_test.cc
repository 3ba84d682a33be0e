// SPDX-License-Identifier: MIT
// tovkit image: size, part and orientation, in the order of the options; several pictures into a folder.
#include "foreign_files.h"
#include "image_support.h"
#include "run_command.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

class ImageSteps : public ForeignFiles {
 protected:
  ImageSteps() : picture_(image::MakePicture(40, 30, 24)) {
    picture_.SetDpi(100, 200);
    Save("in.png", image::Encode(picture_, kCoreImagePng));
  }
  std::string Path(const std::string& name) const { return folder_ + "/" + name; }
  void Save(const std::string& name, const std::string& bytes) const {
    std::ofstream(Path(name), std::ios::binary) << bytes;
  }
  static CommandResult Image(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "image");
    return RunCommand(arguments);
  }
  // The picture that these options make of in.png.
  std::unique_ptr<CoreDib> Made(std::vector<std::string> options, const std::string& in = "in.png") const {
    options.insert(options.begin(), {Path(in), "-o", Path("out.png")});
    const CommandResult result = Image(options);
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out + result.err, "");
    return image::Decode(image::ReadFile(Path("out.png")));
  }
  void ExpectRefused(std::vector<std::string> options, int status, const std::string& part) const {
    options.insert(options.begin(), {Path("in.png"), "-o", Path("refused.png")});
    const CommandResult result = Image(options);
    EXPECT_EQ(result.status, status) << result.err;
    EXPECT_NE(result.err.find(part), std::string::npos) << result.err;
    EXPECT_FALSE(std::filesystem::exists(Path("refused.png")));
  }
  // What Pillow makes of a file with one expression of `image`.
  std::unique_ptr<CoreDib> ByPillow(const std::string& in, const std::string& expression) {
    Run("/usr/bin/python3 -W ignore -c \"from PIL import Image, ImageOps; image = Image.open('" + in +
        "'); (" + expression + ").save('pillow.png')\"");
    return image::Decode(image::ReadFile(Path("pillow.png")));
  }

  CoreDib picture_;
};

TEST_F(ImageSteps, ResizeTakesEveryFormOfASize) {
  const struct {
    const char* text;
    int width, height;
  } cases[] = {{"80x60", 80, 60}, {"10X7", 10, 7}, {"20x", 20, 15},    {"x60", 80, 60},
               {"50%", 20, 15},   {"1%", 1, 1},    {"133.3%", 53, 40}, {"1x1", 1, 1},
               {"40x30", 40, 30}, {"x1", 1, 1},    {"200x3", 200, 3}};
  for (const auto& one : cases) {
    const auto made = Made({"--resize", one.text});
    ASSERT_NE(made, nullptr) << one.text;
    EXPECT_EQ(made->GetWidth(), one.width) << one.text;
    EXPECT_EQ(made->GetHeight(), one.height) << one.text;
  }
}

TEST_F(ImageSteps, WhatIsNoSizeIsRefused) {
  for (const char* text : {"", "x", "0x5", "5x0", "-5x5", "5", "5x5x5", "0%", "-1%", "%", "5 x 5", "1e2x5",
                           "nan%", "99999999999x1"}) {
    ExpectRefused({std::string("--resize=") + text}, 2, text[0] == '\0' ? "--resize" : "is no size such as");
  }
  ExpectRefused({"--resize", "100000x100000"}, 1, "a picture of 100000 x 100000 pixels is too large");
  ExpectRefused({"--resize", "2147483647x1"}, 1, "is too large");
  ExpectRefused({"--resize", "1e30%"}, 1, "is too large");
}

// Pillow rounds between its two directions, and cuts there what overshoots: two levels are allowed. No new
// pixel has its center between two old ones, where the nearest is a matter of taste.
TEST_F(ImageSteps, ResizeGivesThePixelsOfPillow) {
  for (const auto& [ours, theirs] : std::vector<std::pair<std::string, std::string>>{
           {"nearest", "NEAREST"}, {"linear", "BILINEAR"}, {"cubic", "BICUBIC"}, {"lanczos", "LANCZOS"}}) {
    for (const auto& [width, height] :
         std::vector<std::pair<int, int>>{{16, 12}, {80, 60}, {16, 90}, {64, 4}}) {
      const std::string size = std::to_string(width) + "x" + std::to_string(height);
      const auto expected =
          ByPillow("in.png", "image.resize((" + std::to_string(width) + ", " + std::to_string(height) +
                                 "), Image.Resampling." + theirs + ")");
      EXPECT_EQ(image::Difference(*expected, *Made({"--resize", size, "--filter", ours}), 2), "")
          << ours << " " << size;
    }
  }
  EXPECT_EQ(image::Difference(*Made({"--resize", "50%"}), *Made({"--resize", "50%", "--filter", "lanczos"})),
            "");
}

TEST_F(ImageSteps, CropGivesThePixelsOfPillow) {
  for (const int bits : {1, 4, 8, 24, 32}) {
    Save("deep.png", image::Encode(image::MakePicture(40, 30, bits), kCoreImagePng));
    const auto expected = ByPillow("deep.png", "image.crop((3, 5, 30, 29))");
    const auto made = Made({"--crop", "3,5,30,29"}, "deep.png");
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(image::Difference(*expected, *made), "") << bits;
    EXPECT_EQ(made->GetBitsPerPixel(), bits);
  }
  EXPECT_NEAR(Made({"--crop", "3,5,30,29"})->GetDpiY(), 200, 0.01);
}

TEST_F(ImageSteps, CropIsCutToThePicture) {
  EXPECT_EQ(image::Difference(picture_, *Made({"--crop=-5,-5,1000,1000"})), "");
  EXPECT_EQ(image::Difference(*Made({"--crop", "10,10,20,20"}), *Made({"--crop", "20,20,10,10"})), "");
  ExpectRefused({"--crop", "40,0,50,30"}, 1,
                "in.png: cropped to 40,0,50,30 nothing is left of 40 x 30 pixels");
  ExpectRefused({"--crop", "5,5,5,9"}, 1, "nothing is left");
  ExpectRefused({"--crop", "1,2,3"}, 2, "'1,2,3' is not LEFT,TOP,RIGHT,BOTTOM in pixels");
}

TEST_F(ImageSteps, UprightGivesThePixelsOfPillow) {
  for (int mark = 1; mark <= 8; ++mark) {
    Run("/usr/bin/python3 -W ignore -c \"from PIL import Image; image = Image.open('in.png'); exif = "
        "Image.Exif(); "
        "exif[0x112] = " +
        std::to_string(mark) + "; image.save('marked.png', exif=exif)\"");
    const auto expected = ByPillow("marked.png", "ImageOps.exif_transpose(image)");
    EXPECT_EQ(image::Difference(*expected, *Made({"--upright"}, "marked.png")), "") << mark;
    EXPECT_EQ(image::Difference(*expected, *Made({"--upright", "--upright"}, "marked.png")), "")
        << "only once";
    EXPECT_EQ(image::Difference(picture_, *Made({}, "marked.png")), "") << "not unless it is asked for";
  }
}

TEST_F(ImageSteps, UprightTurnsEveryDepth) {
  for (const int bits : {1, 4, 8}) {
    const CoreDib picture = image::MakePicture(37, 21, bits);
    Save("deep.tif", image::Encode(picture, kCoreImageTiff));
    Run("tiffset -s 274 6 deep.tif");
    const auto made = Made({"--upright"}, "deep.tif");
    ASSERT_NE(made, nullptr);
    ASSERT_EQ(made->GetWidth(), 21);
    EXPECT_EQ(made->GetBitsPerPixel(), bits);
    for (int y = 0; y < 37; ++y) {
      for (int x = 0; x < 21; ++x) ASSERT_EQ(made->GetArgb(x, y), picture.GetArgb(y, 20 - x)) << bits;
    }
  }
}

// The same two steps in both orders are two pictures.
TEST_F(ImageSteps, StepsHappenInTheirOrder) {
  const auto first = Made({"--crop", "0,0,20,15", "--resize", "40x30"});
  const auto second = Made({"--resize", "40x30", "--crop", "0,0,20,15"});
  EXPECT_EQ(first->GetWidth(), 40);
  EXPECT_EQ(second->GetWidth(), 20);
  const auto erased = Made({"--erase", "0,0,20,30", "--resize", "20x15"});
  EXPECT_EQ(erased->GetArgb(2, 7), 0xFFFFFFFFu);
  const auto late = Made({"--resize", "20x15", "--erase", "0,0,20,30"});
  EXPECT_EQ(late->GetArgb(19, 14), 0xFFFFFFFFu) << "all of it";
  EXPECT_NE(erased->GetArgb(19, 14), 0xFFFFFFFFu);
  const auto many = Made({"--crop", "0,0,30,30", "--resize", "50%", "--crop", "5,5,15,15", "--resize", "7x"});
  EXPECT_EQ(many->GetWidth(), 7);
  EXPECT_EQ(many->GetHeight(), 7);
}

TEST_F(ImageSteps, AFailedStepLeavesTheOutputAlone) {
  Save("out.png", "as it was");
  EXPECT_EQ(Image({Path("in.png"), "-o", Path("out.png"), "--resize", "50%", "--crop", "30,0,40,9"}).status,
            1);
  EXPECT_EQ(image::ReadFile(Path("out.png")), "as it was");
  EXPECT_EQ(Image({Path("in.png"), "--info", "--resize", "50%"}).status, 2) << "steps need an output";
  EXPECT_EQ(Image({Path("in.png"), "-o", Path("out.png"), "--filter", "cubic"}).status, 2);
  EXPECT_EQ(Image({Path("in.png"), "-o", Path("out.png"), "--resize", "9x", "--filter", "cubist"}).status, 2);
}

TEST_F(ImageSteps, SeveralPicturesGoIntoAFolder) {
  Save("b.bmp", image::Encode(picture_, kCoreImageBmp));
  Save("c d.jpg", image::Encode(picture_, kCoreImageJpeg));
  const CommandResult result = Image({Path("in.png"), Path("b.bmp"), Path("c d.jpg"), "-o",
                                      Path("made/deep/"), "--format", "webp", "--resize", "20x"});
  EXPECT_EQ(result.status, 0) << result.err;
  for (const char* name : {"in.webp", "b.webp", "c d.webp"}) {
    const auto back = image::Decode(image::ReadFile(Path("made/deep/") + name));
    ASSERT_NE(back, nullptr) << name;
    EXPECT_EQ(back->GetWidth(), 20);
  }
  EXPECT_EQ(Image({Path("in.png"), Path("b.bmp"), "-o", Path("made")}).status, 0) << "a folder that is there";
  EXPECT_EQ(image::ReadFile(Path("made/b.bmp")).substr(0, 2), "BM") << "each in its own format";
  EXPECT_EQ(Image({Path("in.png"), "-o", Path("made"), "--format", "jpg"}).status, 0) << "one picture, too";
  EXPECT_TRUE(std::filesystem::exists(Path("made/in.jpg")));
}

TEST_F(ImageSteps, OneThatFailsDoesNotHoldUpTheOthers) {
  Save("bad.png", "no picture");
  const CommandResult result =
      Image({Path("bad.png"), Path("in.png"), Path("none.png"), "-o", Path("made/"), "--format", "bmp"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 2) << result.err;
  EXPECT_NE(result.err.find("bad.png: not a picture of a known format"), std::string::npos) << result.err;
  EXPECT_TRUE(std::filesystem::exists(Path("made/in.bmp")));
  EXPECT_FALSE(std::filesystem::exists(Path("made/bad.bmp")));
}

TEST_F(ImageSteps, FoldersThatMakeNoSenseAreRefusedBeforeAnythingIsWritten) {
  std::filesystem::create_directory(Path("sub"));
  Save("in.bmp", image::Encode(picture_, kCoreImageBmp));
  Save("x.gif", "GIF89a");
  const auto refuse = [](std::vector<std::string> arguments, const std::string& part) {
    const CommandResult result = Image(arguments);
    EXPECT_EQ(result.status, 2) << result.err;
    EXPECT_NE(result.err.find(part), std::string::npos) << result.err;
  };
  refuse({Path("in.png"), Path("in.bmp"), "-o", Path("sub"), "--format", "png"}, "would both become");
  refuse({Path("in.png"), Path("in.bmp"), "-o", Path("one.png")},
         "is one file for 2 pictures; name a folder");
  refuse({"-", Path("in.bmp"), "-o", Path("sub"), "--format", "png"}, "standard input has no name");
  refuse({Path("in.png"), Path("x.gif"), "-o", Path("sub")}, "GIF can be read but not written");
  EXPECT_TRUE(std::filesystem::is_empty(Path("sub")));
}

TEST_F(ImageSteps, AFolderThatCannotBeMadeIsNamed) {
  const std::string below = Path("in.png") + "/made/";
  const CommandResult result = Image({Path("in.png"), "-o", below});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "tovkit: " + below + ": Not a directory\n");
}

TEST_F(ImageSteps, InfoOfSeveralNamesThem) {
  Save("b.bmp", image::Encode(picture_, kCoreImageBmp));
  const CommandResult result = Image({Path("in.png"), Path("b.bmp"), "--info"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out.rfind(Path("in.png") + ":\nformat: PNG\n", 0), 0u) << result.out;
  EXPECT_NE(result.out.find("\n\n" + Path("b.bmp") + ":\nformat: BMP\n"), std::string::npos) << result.out;
}

}  // namespace
