#include "screen/picture.h"

#include <SDL.h>
#include <SDL_image.h>
#include <SDL_ttf.h>
#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <map>
#include <mutex>

namespace desk {

namespace {

constexpr int kMostPixels = 4096;  // either way
constexpr std::size_t kMostBytes = 64U << 20;
constexpr int kJpegQuality = 85;

// Surfaces keep notes about each other, and fonts about what they drew last.
std::recursive_mutex& DrawingLock() {
  static std::recursive_mutex lock;
  return lock;
}
using Guard = std::lock_guard<std::recursive_mutex>;

SDL_Rect ToSdl(const Area& area) {
  return {area.x, area.y, area.width, area.height};
}

SDL_Surface* NewSurface(int width, int height) {
  return SDL_CreateRGBSurfaceWithFormat(0, width, height, 32, SDL_PIXELFORMAT_XRGB8888);
}

std::uint32_t ToPixel(Colour colour) {
  return static_cast<std::uint32_t>(colour.red << 16 | colour.green << 8 | colour.blue);
}

std::uint32_t* PixelAt(SDL_Surface& surface, int x, int y) {
  auto* const row = static_cast<std::uint8_t*>(surface.pixels) + y * surface.pitch;
  return reinterpret_cast<std::uint32_t*>(row) + x;
}

const char* FontFile(TextStyle::Face face) {
  switch (face) {
    case TextStyle::Face::Bold:
      return "/usr/share/fonts/truetype/liberation/LiberationSans-Bold.ttf";
    case TextStyle::Face::FixedPitch:
      return "/usr/share/fonts/truetype/liberation/LiberationMono-Regular.ttf";
    case TextStyle::Face::Plain:
      break;
  }
  return "/usr/share/fonts/truetype/liberation/LiberationSans-Regular.ttf";
}

// Null where the machine does not have it: the texts are then left out.
TTF_Font* FontOf(const TextStyle& style) {
  static const bool ready = TTF_Init() == 0;
  static std::map<std::pair<TextStyle::Face, int>, TTF_Font*> fonts;
  if (!ready) return nullptr;
  const auto [place, isNew] = fonts.try_emplace({style.face, style.height}, nullptr);
  if (isNew) {
    place->second = TTF_OpenFont(FontFile(style.face), style.height);
    if (place->second == nullptr) {
      fprintf(stderr, "diagor: texts on the screen are left out: %s\n", TTF_GetError());
    }
  }
  return place->second;
}

std::uint32_t ReadLittle(std::span<const std::uint8_t> bytes, std::size_t at, int size) {
  std::uint32_t value = 0;
  for (int i = size - 1; i >= 0; --i) value = value << 8 | bytes[at + static_cast<std::size_t>(i)];
  return value;
}

// A bitmap file says how large it is before its pixels come; one that says more than it holds is
// broken.
bool IsSoundBitmap(std::span<const std::uint8_t> file) {
  constexpr std::size_t kHeaders = 14 + 40;
  if (file.size() < kHeaders) return false;
  const std::uint32_t pixelsAt = ReadLittle(file, 10, 4);
  const std::uint32_t headerSize = ReadLittle(file, 14, 4);
  const auto width = static_cast<std::int32_t>(ReadLittle(file, 18, 4));
  const auto height = static_cast<std::int32_t>(ReadLittle(file, 22, 4));
  const std::uint32_t planes = ReadLittle(file, 26, 2);
  const std::uint32_t bits = ReadLittle(file, 28, 2);
  const std::uint32_t compression = ReadLittle(file, 30, 4);
  const std::uint32_t colours = ReadLittle(file, 46, 4);
  constexpr std::uint32_t kMasks = 3;
  const bool depthIsKnown =
      bits == 1 || bits == 4 || bits == 8 || bits == 16 || bits == 24 || bits == 32;
  const bool isPlain = compression == 0 || (compression == kMasks && bits >= 16);
  if (headerSize < 40 || headerSize > 124 || planes != 1 || !depthIsKnown || !isPlain) return false;
  if (width < 1 || width > kMostPixels || height == 0 || height < -kMostPixels ||
      height > kMostPixels) {
    return false;
  }
  if (bits <= 8 && colours > (1U << bits)) return false;
  const std::size_t palette = bits <= 8 ? 4 * (colours == 0 ? 1U << bits : colours) : 0;
  const std::size_t stride = (static_cast<std::size_t>(width) * bits + 31) / 32 * 4;
  const std::size_t rows = static_cast<std::size_t>(std::abs(height));
  return pixelsAt >= 14 + headerSize + palette && pixelsAt <= file.size() &&
         stride * rows <= file.size() - pixelsAt;
}

bool StartsWith(std::span<const std::uint8_t> file, std::initializer_list<std::uint8_t> bytes) {
  return file.size() >= bytes.size() && std::equal(bytes.begin(), bytes.end(), file.begin());
}

}  // namespace

Area Intersection(const Area& first, const Area& second) {
  const int left = std::max(first.x, second.x);
  const int top = std::max(first.y, second.y);
  const int right = std::min(first.x + first.width, second.x + second.width);
  const int bottom = std::min(first.y + first.height, second.y + second.height);
  return {left, top, std::max(0, right - left), std::max(0, bottom - top)};
}

struct Picture::Surface {
  explicit Surface(SDL_Surface* made) : sdl(made) {}
  ~Surface() { SDL_FreeSurface(sdl); }
  Surface(const Surface&) = delete;
  Surface& operator=(const Surface&) = delete;
  SDL_Surface* sdl;
};

Picture::Picture(std::unique_ptr<Surface> surface) : mSurface(std::move(surface)) {}

Picture::Picture(int width, int height, Colour colour) {
  const Guard guard(DrawingLock());
  mSurface = std::make_unique<Surface>(NewSurface(width, height));
  if (mSurface->sdl == nullptr) throw std::bad_alloc();
  SDL_FillRect(mSurface->sdl, nullptr, ToPixel(colour));
}

Picture::Picture(const Picture& other) {
  const Guard guard(DrawingLock());
  mSurface = std::make_unique<Surface>(SDL_DuplicateSurface(other.mSurface->sdl));
  if (mSurface->sdl == nullptr) throw std::bad_alloc();
}

Picture::~Picture() {
  const Guard guard(DrawingLock());
  mSurface.reset();
}

std::shared_ptr<Picture> Picture::Read(std::span<const std::uint8_t> file) {
  const bool isBitmap = StartsWith(file, {'B', 'M'}) && IsSoundBitmap(file);
  const bool isJpeg = StartsWith(file, {0xFF, 0xD8, 0xFF});
  if (file.size() > kMostBytes || (!isBitmap && !isJpeg)) return nullptr;
  const Guard guard(DrawingLock());
  SDL_RWops* const stream = SDL_RWFromConstMem(file.data(), static_cast<int>(file.size()));
  if (stream == nullptr) return nullptr;
  SDL_Surface* const loaded = IMG_LoadTyped_RW(stream, 1, isBitmap ? "BMP" : "JPG");
  if (loaded == nullptr) return nullptr;
  SDL_Surface* const converted = SDL_ConvertSurfaceFormat(loaded, SDL_PIXELFORMAT_XRGB8888, 0);
  SDL_FreeSurface(loaded);
  if (converted == nullptr) return nullptr;
  return std::shared_ptr<Picture>(new Picture(std::make_unique<Surface>(converted)));
}

namespace {

std::vector<std::uint8_t> ContentsOf(const std::filesystem::path& path) {
  std::error_code error;
  if (!std::filesystem::is_regular_file(path, error) ||
      std::filesystem::file_size(path, error) > kMostBytes) {
    return {};
  }
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace

std::shared_ptr<Picture> Picture::Load(const std::filesystem::path& path) {
  return Read(ContentsOf(path));
}

std::shared_ptr<Picture> Picture::LoadBitmap(const std::filesystem::path& path) {
  const std::vector<std::uint8_t> file = ContentsOf(path);
  return StartsWith(file, {'B', 'M'}) ? Read(file) : nullptr;
}

int Picture::Width() const {
  return mSurface->sdl->w;
}
int Picture::Height() const {
  return mSurface->sdl->h;
}

Colour Picture::At(int x, int y) const {
  if (!Area{0, 0, Width(), Height()}.Contains(x, y)) return {0, 0, 0};
  const Guard guard(DrawingLock());
  const std::uint32_t pixel = *PixelAt(*mSurface->sdl, x, y);
  return {static_cast<std::uint8_t>(pixel >> 16), static_cast<std::uint8_t>(pixel >> 8),
          static_cast<std::uint8_t>(pixel)};
}

void Picture::Set(int x, int y, Colour colour) {
  if (!Area{0, 0, Width(), Height()}.Contains(x, y)) return;
  const Guard guard(DrawingLock());
  *PixelAt(*mSurface->sdl, x, y) = ToPixel(colour);
}

void Picture::Fill(const Area& area, Colour colour) {
  if (area.width <= 0 || area.height <= 0) return;
  const Guard guard(DrawingLock());
  const SDL_Rect rectangle = ToSdl(area);
  SDL_FillRect(mSurface->sdl, &rectangle, ToPixel(colour));
}

void Picture::Frame(const Area& area, Colour upper, Colour lower) {
  Fill({area.x, area.y, area.width, 1}, upper);
  Fill({area.x, area.y, 1, area.height}, upper);
  Fill({area.x, area.y + area.height - 1, area.width, 1}, lower);
  Fill({area.x + area.width - 1, area.y, 1, area.height}, lower);
}

void Picture::Stretch(const Picture& from, const Area& fromArea, const Area& toArea) {
  const Guard guard(DrawingLock());
  const SDL_Rect source = ToSdl(fromArea);
  SDL_Rect target = ToSdl(toArea);
  SDL_BlitScaled(from.mSurface->sdl, &source, mSurface->sdl, &target);
}

void Picture::Write(const std::string& text, const TextStyle& style, Colour colour,
                    const Area& area, bool centred) {
  const Guard guard(DrawingLock());
  TTF_Font* const font = FontOf(style);
  if (font == nullptr || text.empty()) return;
  SDL_Surface* const drawn =
      TTF_RenderUTF8_Blended(font, text.c_str(), {colour.red, colour.green, colour.blue, 255});
  if (drawn == nullptr) return;
  SDL_Rect target = ToSdl(area);
  if (centred) target.x += (area.width - drawn->w) / 2;
  if (centred) target.y += (area.height - drawn->h) / 2;
  const SDL_Rect cut = ToSdl(area);
  SDL_SetClipRect(mSurface->sdl, &cut);
  SDL_BlitSurface(drawn, nullptr, mSurface->sdl, &target);
  SDL_SetClipRect(mSurface->sdl, nullptr);
  SDL_FreeSurface(drawn);
}

std::vector<std::uint32_t> Picture::Pixels() const {
  const Guard guard(DrawingLock());
  std::vector<std::uint32_t> pixels;
  pixels.reserve(static_cast<std::size_t>(Width()) * static_cast<std::size_t>(Height()));
  for (int y = 0; y < Height(); ++y) {
    const std::uint32_t* const row = PixelAt(*mSurface->sdl, 0, y);
    pixels.insert(pixels.end(), row, row + Width());
  }
  return pixels;
}

std::vector<std::uint8_t> Picture::Png() const {
  const Guard guard(DrawingLock());
  std::vector<std::uint8_t> bytes(
      static_cast<std::size_t>(Width()) * static_cast<std::size_t>(Height()) * 4 + 65536);
  SDL_RWops* const stream = SDL_RWFromMem(bytes.data(), static_cast<int>(bytes.size()));
  if (stream == nullptr) return {};
  const bool saved = IMG_SavePNG_RW(mSurface->sdl, stream, 0) == 0;
  const Sint64 size = SDL_RWtell(stream);
  SDL_RWclose(stream);
  bytes.resize(saved && size > 0 ? static_cast<std::size_t>(size) : 0);
  return bytes;
}

bool Picture::SaveBmp(const std::filesystem::path& file) const {
  const Guard guard(DrawingLock());
  return SDL_SaveBMP(mSurface->sdl, file.c_str()) == 0;
}

bool Picture::SaveJpeg(const std::filesystem::path& file) const {
  const Guard guard(DrawingLock());
  return IMG_SaveJPG(mSurface->sdl, file.c_str(), kJpegQuality) == 0;
}

int TextWidth(const std::string& text, const TextStyle& style) {
  const Guard guard(DrawingLock());
  TTF_Font* const font = FontOf(style);
  int width = 0;
  if (font == nullptr || TTF_SizeUTF8(font, text.c_str(), &width, nullptr) != 0) return 0;
  return width;
}

}  // namespace desk
