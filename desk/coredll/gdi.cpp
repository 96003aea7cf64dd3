// Drawing: bitmaps, brushes, contexts.
#include <windows.h>

#include <algorithm>
#include <cstring>

#include "coredll/machine.h"
#include "coredll/text.h"
#include "coredll/window_system.h"
#include "trace/observation.h"

namespace {

desk::WindowSystem& System() {
  return *desk::TheMachine().windows;
}

desk::GdiObjects& Gdi() {
  return System().Gdi();
}

}  // namespace

HBRUSH WINAPI CreateSolidBrush(COLORREF colour) {
  return Gdi().MakeBrush(
      {static_cast<BYTE>(colour), static_cast<BYTE>(colour >> 8), static_cast<BYTE>(colour >> 16)});
}

HGDIOBJ WINAPI GetStockObject(int object) {
  return object == WHITE_BRUSH ? desk::GdiObjects::WhiteBrush() : nullptr;
}

BOOL WINAPI InvalidateRect(HWND window, const RECT* /*rectangle*/, BOOL erase) {
  System().Invalidate(window, erase != FALSE);
  return TRUE;
}

HDC WINAPI BeginPaint(HWND window, PAINTSTRUCT* paint) {
  *paint = {};
  if (!System().Validate(window)) return nullptr;
  paint->hdc = Gdi().MakeContext(window);
  GetClientRect(window, &paint->rcPaint);
  return paint->hdc;
}

BOOL WINAPI EndPaint(HWND /*window*/, const PAINTSTRUCT* paint) {
  return Gdi().DeleteContext(paint->hdc) ? TRUE : FALSE;
}

HDC WINAPI CreateCompatibleDC(HDC context) {
  return Gdi().ContextOf(context) ? Gdi().MakeContext(nullptr) : nullptr;
}

BOOL WINAPI DeleteDC(HDC context) {
  return Gdi().DeleteContext(context) ? TRUE : FALSE;
}

HGDIOBJ WINAPI SelectObject(HDC context, HGDIOBJ object) {
  return Gdi().Select(context, object);
}

BOOL WINAPI DeleteObject(HGDIOBJ object) {
  return Gdi().Delete(object) ? TRUE : FALSE;
}

int WINAPI GetObjectW(HGDIOBJ object, int size, void* record) {
  const auto picture = Gdi().BitmapOf(object);
  if (picture == nullptr || size <= 0) return 0;
  BITMAP bitmap = {};
  bitmap.bmWidth = picture->Width();
  bitmap.bmHeight = picture->Height();
  bitmap.bmWidthBytes = 4 * picture->Width();
  bitmap.bmPlanes = 1;
  bitmap.bmBitsPixel = 32;
  const int copied = std::min(size, static_cast<int>(sizeof bitmap));
  memcpy(record, &bitmap, static_cast<std::size_t>(copied));
  return copied;
}

BOOL WINAPI StretchBlt(HDC to, int x, int y, int width, int height, HDC from, int fromX, int fromY,
                       int fromWidth, int fromHeight, DWORD operation) {
  const auto target = Gdi().ContextOf(to);
  const auto source = Gdi().ContextOf(from);
  if (!target || !source || target->window == nullptr || operation != SRCCOPY) return FALSE;
  const auto picture = Gdi().BitmapOf(source->bitmap);
  if (picture == nullptr || width <= 0 || height <= 0 || fromWidth <= 0 || fromHeight <= 0) {
    return FALSE;
  }
  return System().Draw(target->window, *picture, {fromX, fromY, fromWidth, fromHeight},
                       {x, y, width, height})
             ? TRUE
             : FALSE;
}

// Of the camera's shell: no system header declares it, so whoever calls it does.
extern "C" HBITMAP WINAPI SHLoadDIBitmap(LPCWSTR path) {
  const std::string narrow = desk::ToUtf8(path);
  const auto file = desk::TheMachine().storage.Resolve(narrow);
  // Only bitmap files: the camera's loader knows no others.
  std::shared_ptr<desk::Picture> picture;
  if (file) picture = desk::Picture::LoadBitmap(*file);
  desk::Observation::Step("bitmap", {{"path", narrow}, {"ok", picture != nullptr}});
  return picture == nullptr ? nullptr : Gdi().MakeBitmap(std::move(picture));
}
