// Pixels: images that are read, drawn on, scaled and written. A picture is a value; several threads
// may read one at the same time.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace desk {

struct Colour {
  std::uint8_t red;
  std::uint8_t green;
  std::uint8_t blue;
  bool operator==(const Colour&) const = default;
};

struct Area {
  int x;  // of the top left pixel
  int y;
  int width;
  int height;

  bool Contains(int atX, int atY) const {
    return atX >= x && atX < x + width && atY >= y && atY < y + height;
  }
  bool operator==(const Area&) const = default;
};
Area Intersection(const Area& first, const Area& second);

// How a text is drawn.
struct TextStyle {
  enum class Face { Plain, Bold, FixedPitch };
  Face face;
  int height;  // pixels, of a line
  bool operator==(const TextStyle&) const = default;
};

// Where a text stands in its area: in the middle, or at the left and the top.
struct Centring {
  bool across = false;
  bool down = false;
  bool operator==(const Centring&) const = default;
};

class Picture {
 public:
  Picture(int width, int height, Colour colour);

  // An image file (BMP, JPEG). Null: there is none, it is broken, or larger than any display.
  static std::shared_ptr<Picture> Load(const std::filesystem::path& file);
  static std::shared_ptr<Picture> LoadBitmap(const std::filesystem::path& file);  // BMP alone
  static std::shared_ptr<Picture> Read(std::span<const std::uint8_t> file);

  int Width() const { return mWidth; }
  int Height() const { return mHeight; }
  // 0x00RRGGBB, row by row.
  const std::vector<std::uint32_t>& Pixels() const { return mPixels; }
  Colour At(int x, int y) const;
  void Set(int x, int y, Colour colour);

  // All drawing is cut at the picture's edges.
  void Fill(const Area& area, Colour colour);
  void Frame(const Area& area, Colour upper, Colour lower);  // one pixel wide
  void Stretch(const Picture& from, const Area& fromArea, const Area& toArea);
  // Cut at the area.
  void Write(const std::string& text, const TextStyle& style, Colour colour, const Area& area,
             Centring centring);

  // Empty where it cannot be written.
  std::vector<std::uint8_t> Png() const;
  bool SaveBmp(const std::filesystem::path& file) const;
  bool SaveJpeg(const std::filesystem::path& file) const;

 private:
  int mWidth;
  int mHeight;
  std::vector<std::uint32_t> mPixels;
};

// Width in pixels of a text.
int TextWidth(const std::string& text, const TextStyle& style);

}  // namespace desk
