// SPDX-License-Identifier: MIT
// usage: label_loop JOBS.jsonl DIRECTORY: one process that calls the library in a loop for each label of a
// file of draw jobs with a size on white: what tovkit batch is measured beside. The files are the same.
#include <tovkit/imaging.h>
#include <tovkit/json.h>
#include <tovmx/device.h>
#include <tovmx/dib.h>

#include <sys/stat.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>

namespace {

using tovkit::JsonValue;
using tovkit::SharedPtr;

bool DrawLabel(const SharedPtr<JsonValue>& job, const std::string& folder) {
  int width = 0, height = 0;
  CoreDib picture;
  if (std::sscanf(job->GetMemberString("size", ""), "%dx%d", &width, &height) != 2 ||
      !picture.Create(width, height, 32)) {
    return false;
  }
  std::memset(picture.GetBuffer(), 0xFF, picture.GetBufferSize());
  picture.SetDpi(96, 96);
  CoreBitmapDevice device(&picture);
  const SharedPtr<JsonValue> lines = job->GetMember("draw");
  for (int i = 0; i < static_cast<int>(lines->Size()); ++i)
    tovkit::DrawTextOnDevice(&device, lines->GetAt(i));
  if (!device.Flush() || !CoreDropAlpha(&picture)) return false;
  const std::string name = folder + "/" + job->GetMemberString("out", "");
  mkdir(name.substr(0, name.rfind('/')).c_str(), 0777);
  CoreFileOutputStream out(name.c_str());
  return tovkit::ImageEncode(&picture, kCoreImagePng, &out) != 0 && out.Close();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  std::ifstream jobs(argv[1]);
  for (std::string line; std::getline(jobs, line);) {
    const auto job = tovkit::Json::Parse(line.data(), static_cast<unsigned int>(line.size()), nullptr);
    if (!job || !DrawLabel(job, argv[2])) return 1;
  }
  return 0;
}
