// What drawing needs besides a window: brushes, bitmaps, and the contexts that they are selected
// into. Whatever the program does not give back stays.
#pragma once

#include <windows.h>

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>

#include "picture/picture.h"

namespace desk {

class GdiObjects {
 public:
  GdiObjects();
  GdiObjects(const GdiObjects&) = delete;
  GdiObjects& operator=(const GdiObjects&) = delete;

  // Not made by anybody, and never given back.
  static HGDIOBJ WhiteBrush();
  HBRUSH MakeBrush(Colour colour);
  HBITMAP MakeBitmap(std::shared_ptr<Picture> picture);
  std::optional<Colour> ColourOf(HGDIOBJ brush) const;
  std::shared_ptr<Picture> BitmapOf(HGDIOBJ object) const;
  bool Delete(HGDIOBJ object);

  HDC MakeContext(HWND window);  // null: of memory
  bool DeleteContext(HDC context);
  HGDIOBJ Select(HDC context, HGDIOBJ object);
  struct Context {
    HWND window = nullptr;  // null: memory
    HGDIOBJ bitmap = nullptr;
  };
  std::optional<Context> ContextOf(HDC context) const;

  // Everything that the program has not given back.
  std::size_t Count() const;

 private:
  std::uintptr_t NewHandle();

  mutable std::mutex mLock;
  std::uintptr_t mNextHandle;
  std::map<HGDIOBJ, Colour> mBrushes;
  std::map<HGDIOBJ, std::shared_ptr<Picture>> mBitmaps;
  std::map<HDC, Context> mContexts;
};

}  // namespace desk
