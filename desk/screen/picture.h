// Pixels: images that are read, drawn on, scaled and written. One picture may be used by several
// threads; what they do to it happens one after the other.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
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
};
Area Intersection(const Area& first, const Area& second);

// How a text is drawn.
struct TextStyle {
  enum class Face { Plain, Bold, FixedPitch };
  Face face;
  int height;  // pixels
};

class Picture {
 public:
  Picture(int width, int height, Colour colour);
  ~Picture();
  Picture(const Picture& other);
  Picture& operator=(const Picture&) = delete;

  // An image file (BMP, JPEG). Null: there is none, it is broken, or larger than any display.
  static std::shared_ptr<Picture> Load(const std::filesystem::path& file);
  static std::shared_ptr<Picture> LoadBitmap(const std::filesystem::path& file);  // BMP alone
  static std::shared_ptr<Picture> Read(std::span<const std::uint8_t> file);

  int Width() const;
  int Height() const;
  Colour At(int x, int y) const;
  void Set(int x, int y, Colour colour);

  // All drawing is cut at the picture's edges.
  void Fill(const Area& area, Colour colour);
  void Frame(const Area& area, Colour upper, Colour lower);  // one pixel wide
  void Stretch(const Picture& from, const Area& fromArea, const Area& toArea);
  // Cut at the area; centred in it, or at its top left corner.
  void Write(const std::string& text, const TextStyle& style, Colour colour, const Area& area,
             bool centred);

  // 0x00RRGGBB, row by row.
  std::vector<std::uint32_t> Pixels() const;
  std::vector<std::uint8_t> Png() const;
  bool SaveBmp(const std::filesystem::path& file) const;
  bool SaveJpeg(const std::filesystem::path& file) const;

 private:
  struct Surface;
  explicit Picture(std::unique_ptr<Surface> surface);

  std::unique_ptr<Surface> mSurface;
};

// Width in pixels of a text.
int TextWidth(const std::string& text, const TextStyle& style);

}  // namespace desk
