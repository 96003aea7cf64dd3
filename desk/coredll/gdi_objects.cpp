#include "coredll/gdi_objects.h"

#include <utility>

namespace desk {

namespace {

constexpr std::uintptr_t kStockWhite = 0xFFF0;        // below all handles that are made
constexpr std::uintptr_t kFirstHandle = 0x4000'0000;  // above all windows'
constexpr std::uintptr_t kHandleStep = 4;
constexpr Colour kWhite = {255, 255, 255};

}  // namespace

GdiObjects::GdiObjects() : mNextHandle(kFirstHandle) {
  mBrushes[WhiteBrush()] = kWhite;
}

HGDIOBJ GdiObjects::WhiteBrush() {
  return reinterpret_cast<HGDIOBJ>(kStockWhite);
}

// Under the lock.
std::uintptr_t GdiObjects::NewHandle() {
  return std::exchange(mNextHandle, mNextHandle + kHandleStep);
}

HBRUSH GdiObjects::MakeBrush(Colour colour) {
  const std::lock_guard lock(mLock);
  const auto handle = reinterpret_cast<HBRUSH>(NewHandle());
  mBrushes[handle] = colour;
  return handle;
}

HBITMAP GdiObjects::MakeBitmap(std::shared_ptr<Picture> picture) {
  const std::lock_guard lock(mLock);
  const auto handle = reinterpret_cast<HBITMAP>(NewHandle());
  mBitmaps[handle] = std::move(picture);
  return handle;
}

std::optional<Colour> GdiObjects::ColourOf(HGDIOBJ brush) const {
  const std::lock_guard lock(mLock);
  const auto found = mBrushes.find(brush);
  if (found == mBrushes.end()) return std::nullopt;
  return found->second;
}

std::shared_ptr<Picture> GdiObjects::BitmapOf(HGDIOBJ object) const {
  const std::lock_guard lock(mLock);
  const auto found = mBitmaps.find(object);
  return found == mBitmaps.end() ? nullptr : found->second;
}

bool GdiObjects::Delete(HGDIOBJ object) {
  if (object == WhiteBrush()) return true;
  const std::lock_guard lock(mLock);
  return mBitmaps.erase(object) + mBrushes.erase(object) > 0;
}

HDC GdiObjects::MakeContext(HWND window) {
  const std::lock_guard lock(mLock);
  const auto handle = reinterpret_cast<HDC>(NewHandle());
  mContexts[handle] = {window, nullptr};
  return handle;
}

bool GdiObjects::DeleteContext(HDC context) {
  const std::lock_guard lock(mLock);
  return mContexts.erase(context) > 0;
}

HGDIOBJ GdiObjects::Select(HDC context, HGDIOBJ object) {
  const std::lock_guard lock(mLock);
  const auto found = mContexts.find(context);
  if (found == mContexts.end() || !mBitmaps.contains(object)) return nullptr;
  return std::exchange(found->second.bitmap, object);
}

std::optional<GdiObjects::Context> GdiObjects::ContextOf(HDC context) const {
  const std::lock_guard lock(mLock);
  const auto found = mContexts.find(context);
  if (found == mContexts.end()) return std::nullopt;
  return found->second;
}

std::size_t GdiObjects::Count() const {
  const std::lock_guard lock(mLock);
  return mBitmaps.size() + mBrushes.size() - 1 + mContexts.size();
}

}  // namespace desk
