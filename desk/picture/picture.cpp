#include "picture/picture.h"

#include <SDL.h>
#include <SDL_image.h>
#include <SDL_ttf.h>
#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <mutex>

namespace desk {

namespace {

constexpr int kMostPixels = 4096;  // either way
constexpr std::size_t kMostBytes = 64U << 20;
constexpr int kJpegQuality = 85;

// The toolkit keeps notes about each thread that asks it for anything; threads come and go here, so
// they are given back.
struct ToolkitUse {
  ToolkitUse() = default;
  ~ToolkitUse() { SDL_TLSCleanup(); }
  ToolkitUse(const ToolkitUse&) = delete;
  ToolkitUse& operator=(const ToolkitUse&) = delete;
};

// A font remembers what it drew last: one text at a time.
std::mutex& FontLock() {
  static std::mutex lock;
  return lock;
}

SDL_Rect ToSdl(const Area& area) {
  return {area.x, area.y, area.width, area.height};
}

struct SurfaceFreer {
  void operator()(SDL_Surface* surface) const { SDL_FreeSurface(surface); }
};
using Surface = std::unique_ptr<SDL_Surface, SurfaceFreer>;

// The toolkit's view of a picture's pixels, for one operation.
Surface SurfaceOf(const std::vector<std::uint32_t>& pixels, int width, int height) {
  return Surface(SDL_CreateRGBSurfaceWithFormatFrom(const_cast<std::uint32_t*>(pixels.data()),
                                                    width, height, 32, 4 * width,
                                                    SDL_PIXELFORMAT_XRGB8888));
}

std::uint32_t ToPixel(Colour colour) {
  return static_cast<std::uint32_t>(colour.red << 16 | colour.green << 8 | colour.blue);
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

// Null where the machine does not have it. A font file counts in the height of its letters, which
// is less than that of a line.
TTF_Font* OpenFont(const TextStyle& style) {
  int letters = style.height;
  TTF_Font* const font = TTF_OpenFont(FontFile(style.face), letters);
  while (font != nullptr && letters > 1 && TTF_FontHeight(font) > style.height) {
    TTF_SetFontSize(font, --letters);
  }
  return font;
}

// Without one the texts are left out.
TTF_Font* FontOf(const TextStyle& style) {
  static const bool ready = TTF_Init() == 0;
  // For the process' life.
  static auto& fonts = *new std::map<std::pair<TextStyle::Face, int>, TTF_Font*>;
  if (!ready) return nullptr;
  const auto [place, isNew] = fonts.try_emplace({style.face, style.height}, nullptr);
  if (isNew) {
    place->second = OpenFont(style);
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

// A JPEG file says how large it is in a frame header, behind any number of other segments.
bool IsSoundJpeg(std::span<const std::uint8_t> file) {
  std::size_t at = 2;
  while (at + 9 <= file.size() && file[at] == 0xFF) {
    const std::uint8_t marker = file[at + 1];
    if (marker == 0xFF) {  // padding
      ++at;
      continue;
    }
    const bool isFrame =
        marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
    if (isFrame) {
      const int height = file[at + 5] << 8 | file[at + 6];
      const int width = file[at + 7] << 8 | file[at + 8];
      return width > 0 && height > 0 && width <= kMostPixels && height <= kMostPixels;
    }
    at += 2 + static_cast<std::size_t>(file[at + 2] << 8 | file[at + 3]);
  }
  return false;
}

}  // namespace

Area Intersection(const Area& first, const Area& second) {
  const int left = std::max(first.x, second.x);
  const int top = std::max(first.y, second.y);
  const int right = std::min(first.x + first.width, second.x + second.width);
  const int bottom = std::min(first.y + first.height, second.y + second.height);
  return {left, top, std::max(0, right - left), std::max(0, bottom - top)};
}

Picture::Picture(int width, int height, Colour colour)
    : mWidth(std::max(width, 1)),
      mHeight(std::max(height, 1)),
      mPixels(static_cast<std::size_t>(mWidth) * static_cast<std::size_t>(mHeight),
              ToPixel(colour)) {}

std::shared_ptr<Picture> Picture::Read(std::span<const std::uint8_t> file) {
  const bool isBitmap = StartsWith(file, {'B', 'M'}) && IsSoundBitmap(file);
  const bool isJpeg = StartsWith(file, {0xFF, 0xD8, 0xFF}) && IsSoundJpeg(file);
  if (file.size() > kMostBytes || (!isBitmap && !isJpeg)) return nullptr;
  static const int loaders = IMG_Init(IMG_INIT_JPG);  // at the first use, before any other
  if (isJpeg && (loaders & IMG_INIT_JPG) == 0) return nullptr;
  const ToolkitUse use;
  SDL_RWops* const stream = SDL_RWFromConstMem(file.data(), static_cast<int>(file.size()));
  if (stream == nullptr) return nullptr;
  const Surface loaded(IMG_LoadTyped_RW(stream, 1, isBitmap ? "BMP" : "JPG"));
  if (loaded == nullptr) return nullptr;
  auto picture = std::make_shared<Picture>(loaded->w, loaded->h, Colour{0, 0, 0});
  const Surface converted(SDL_ConvertSurfaceFormat(loaded.get(), SDL_PIXELFORMAT_XRGB8888, 0));
  const Surface target = SurfaceOf(picture->mPixels, picture->mWidth, picture->mHeight);
  if (converted == nullptr || target == nullptr) return nullptr;
  SDL_SetSurfaceBlendMode(converted.get(), SDL_BLENDMODE_NONE);
  return SDL_BlitSurface(converted.get(), nullptr, target.get(), nullptr) == 0 ? picture : nullptr;
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

Colour Picture::At(int x, int y) const {
  if (!Area{0, 0, mWidth, mHeight}.Contains(x, y)) return {0, 0, 0};
  const std::uint32_t pixel =
      mPixels[static_cast<std::size_t>(y) * static_cast<std::size_t>(mWidth) +
              static_cast<std::size_t>(x)];
  return {static_cast<std::uint8_t>(pixel >> 16), static_cast<std::uint8_t>(pixel >> 8),
          static_cast<std::uint8_t>(pixel)};
}

void Picture::Set(int x, int y, Colour colour) {
  Fill({x, y, 1, 1}, colour);
}

void Picture::Fill(const Area& area, Colour colour) {
  const Area cut = Intersection(area, {0, 0, mWidth, mHeight});
  for (int y = cut.y; y < cut.y + cut.height; ++y) {
    const auto row = mPixels.begin() + static_cast<std::ptrdiff_t>(y) * mWidth + cut.x;
    std::fill(row, row + cut.width, ToPixel(colour));
  }
}

void Picture::Frame(const Area& area, Colour upper, Colour lower) {
  Fill({area.x, area.y, area.width, 1}, upper);
  Fill({area.x, area.y, 1, area.height}, upper);
  Fill({area.x, area.y + area.height - 1, area.width, 1}, lower);
  Fill({area.x + area.width - 1, area.y, 1, area.height}, lower);
}

void Picture::Stretch(const Picture& from, const Area& fromArea, const Area& toArea) {
  const ToolkitUse use;
  const Surface source = SurfaceOf(from.mPixels, from.mWidth, from.mHeight);
  const Surface target = SurfaceOf(mPixels, mWidth, mHeight);
  if (source == nullptr || target == nullptr) return;
  const SDL_Rect sourceArea = ToSdl(fromArea);
  SDL_Rect targetArea = ToSdl(toArea);
  SDL_BlitScaled(source.get(), &sourceArea, target.get(), &targetArea);
}

void Picture::Write(const std::string& text, const TextStyle& style, Colour colour,
                    const Area& area, Centring centring) {
  const ToolkitUse use;
  Surface drawn;
  {
    const std::lock_guard lock(FontLock());
    TTF_Font* const font = FontOf(style);
    if (font == nullptr || text.empty()) return;
    drawn.reset(
        TTF_RenderUTF8_Blended(font, text.c_str(), {colour.red, colour.green, colour.blue, 255}));
  }
  const Surface target = SurfaceOf(mPixels, mWidth, mHeight);
  if (drawn == nullptr || target == nullptr) return;
  SDL_Rect place = ToSdl(area);
  if (centring.across) place.x += (area.width - drawn->w) / 2;
  if (centring.down) place.y += (area.height - drawn->h) / 2;
  const SDL_Rect cut = ToSdl(area);
  SDL_SetClipRect(target.get(), &cut);
  SDL_BlitSurface(drawn.get(), nullptr, target.get(), &place);
}

std::vector<std::uint8_t> Picture::Png() const {
  constexpr std::size_t kOverhead = 65536;  // bytes, beyond the pixels themselves
  const ToolkitUse use;
  std::vector<std::uint8_t> bytes(mPixels.size() * sizeof(std::uint32_t) + kOverhead);
  SDL_RWops* const stream = SDL_RWFromMem(bytes.data(), static_cast<int>(bytes.size()));
  const Surface source = SurfaceOf(mPixels, mWidth, mHeight);
  if (stream == nullptr) return {};
  const bool saved = source != nullptr && IMG_SavePNG_RW(source.get(), stream, 0) == 0;
  const Sint64 size = SDL_RWtell(stream);
  SDL_RWclose(stream);
  bytes.resize(saved && size > 0 ? static_cast<std::size_t>(size) : 0);
  return bytes;
}

bool Picture::SaveBmp(const std::filesystem::path& file) const {
  const ToolkitUse use;
  const Surface source = SurfaceOf(mPixels, mWidth, mHeight);
  return source != nullptr && SDL_SaveBMP(source.get(), file.c_str()) == 0;
}

bool Picture::SaveJpeg(const std::filesystem::path& file) const {
  const ToolkitUse use;
  const Surface source = SurfaceOf(mPixels, mWidth, mHeight);
  return source != nullptr && IMG_SaveJPG(source.get(), file.c_str(), kJpegQuality) == 0;
}

int TextWidth(const std::string& text, const TextStyle& style) {
  const ToolkitUse use;
  const std::lock_guard lock(FontLock());
  TTF_Font* const font = FontOf(style);
  int width = 0;
  if (font == nullptr || TTF_SizeUTF8(font, text.c_str(), &width, nullptr) != 0) return 0;
  return width;
}

}  // namespace desk
