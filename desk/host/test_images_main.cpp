// Makes the test images that cameras carry in their storage: plain, easy to judge, small.
#include <cstdio>

#include "picture/picture.h"

namespace {

constexpr int kWidth = 96;  // pixels; shown over the whole screen
constexpr int kHeight = 72;

desk::Picture Framed(desk::Colour ground, desk::Colour frame) {
  desk::Picture image(kWidth, kHeight, frame);
  image.Fill({2, 2, kWidth - 4, kHeight - 4}, ground);
  return image;
}

desk::Picture Ramp(bool across) {
  desk::Picture image(kWidth, kHeight, {0, 0, 0});
  for (int i = 0; i < (across ? kWidth : kHeight); ++i) {
    const auto level = static_cast<std::uint8_t>(255 * i / (across ? kWidth : kHeight));
    image.Fill(across ? desk::Area{i, 0, 1, kHeight} : desk::Area{0, i, kWidth, 1},
               {level, level, level});
  }
  return image;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    fprintf(stderr, "usage: testimages FOLDER\n");
    return 2;
  }
  const std::string folder = std::string(argv[1]) + "/";
  const bool made = Framed({200, 0, 0}, {255, 255, 255}).SaveBmp(folder + "red.bmp") &&
                    Framed({0, 160, 0}, {255, 255, 255}).SaveBmp(folder + "green.bmp") &&
                    Framed({0, 0, 200}, {255, 255, 255}).SaveBmp(folder + "blue.bmp") &&
                    Ramp(true).SaveJpeg(folder + "ramp_across.jpg") &&
                    Ramp(false).SaveJpeg(folder + "ramp_down.jpg");
  if (!made) fprintf(stderr, "testimages: cannot write to %s\n", argv[1]);
  return made ? 0 : 1;
}
