// Draws all dialogs of the program on one sheet, as the camera's screen shows them.
#include <algorithm>
#include <cstdio>
#include <fstream>
#include <string>

#include "coredll/resources.h"
#include "coredll/window_system.h"
#include "screen/camera_screen.h"

namespace {

constexpr int kSheetWidth = 1560;  // pixels
constexpr int kGap = 16;
constexpr int kLabel = 22;
constexpr std::uint16_t kFirst = 101;
constexpr std::uint16_t kLast = 127;

struct Tile {
  std::string label;
  desk::SceneWindow dialog;
};

std::vector<Tile> AllDialogs() {
  constexpr std::uint16_t kDialogType = 5;
  std::vector<Tile> tiles;
  for (std::uint16_t number = kFirst; number <= kLast; ++number) {
    const auto data = desk::TheModuleResources().Find(kDialogType, number);
    if (!data) continue;
    const auto dialog = desk::ReadDialogTemplate(*data);
    if (!dialog) continue;
    tiles.push_back({std::to_string(number), desk::SceneOfDialog(*dialog, 0, 0)});
  }
  // Of like heights side by side.
  std::stable_sort(tiles.begin(), tiles.end(), [](const Tile& a, const Tile& b) {
    return a.dialog.area.height > b.dialog.area.height;
  });
  return tiles;
}

// Places the tiles in rows; the height of it all.
int Place(std::vector<Tile>& tiles) {
  int x = kGap;
  int y = kGap;
  int rowHeight = 0;
  for (Tile& tile : tiles) {
    desk::Area& area = tile.dialog.area;
    if (x + area.width + kGap > kSheetWidth) {
      x = kGap;
      y += rowHeight + kGap;
      rowHeight = 0;
    }
    area.x = x;
    area.y = y + kLabel;
    x += area.width + kGap;
    rowHeight = std::max(rowHeight, area.height + kLabel);
  }
  return y + rowHeight + kGap;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<Tile> tiles = AllDialogs();
  if (argc != 2 || tiles.empty()) {
    fprintf(stderr, "usage: dialogsheet FILE.png\n");
    return 2;
  }
  const int height = Place(tiles);
  desk::Picture sheet(kSheetWidth, height, {255, 255, 255});
  for (const Tile& tile : tiles) {
    const desk::Area& area = tile.dialog.area;
    sheet.Write(tile.label, {desk::TextStyle::Face::Bold, 18}, {0, 0, 0},
                {area.x, area.y - kLabel, 100, kLabel}, {});
    desk::DrawWindow(sheet, tile.dialog);
  }
  const std::vector<std::uint8_t> png = sheet.Png();
  std::ofstream file(argv[1], std::ios::binary);
  file.write(reinterpret_cast<const char*>(png.data()), static_cast<std::streamsize>(png.size()));
  file.close();
  return file ? 0 : 1;
}
