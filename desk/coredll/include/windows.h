// The camera's core services as the program calls them: the names, arguments, results and constant
// values of the operating system, declared as far as this system uses them.
// Status and size words are 32 bits on every build. wchar_t is the compiler's own: buffers of wide
// text are counted in characters, and their size in bytes follows from sizeof(wchar_t).
#pragma once

#include <cstdint>

#define WINAPI

using BOOL = int;
using BYTE = unsigned char;
using WORD = std::uint16_t;
using DWORD = std::uint32_t;
using ULONG = std::uint32_t;
using LONG = std::int32_t;
using UINT = unsigned int;

using WPARAM = std::uintptr_t;
using LPARAM = std::intptr_t;
using LRESULT = std::intptr_t;
using INT_PTR = std::intptr_t;
using COLORREF = DWORD;  // 0x00BBGGRR

using HANDLE = void*;
struct HINSTANCE__;
using HINSTANCE = HINSTANCE__*;
struct HKEY__;
using HKEY = HKEY__*;

struct HWND__;
using HWND = HWND__*;
struct HMENU__;
using HMENU = HMENU__*;
struct HICON__;
using HICON = HICON__*;
using HCURSOR = HICON;
struct HRSRC__;
using HRSRC = HRSRC__*;
using HGLOBAL = void*;
struct HDC__;
using HDC = HDC__*;
// Bitmaps, brushes: whatever SelectObject, GetObjectW and DeleteObject take.
using HGDIOBJ = void*;
struct HBITMAP__;
using HBITMAP = HBITMAP__*;
struct HBRUSH__;
using HBRUSH = HBRUSH__*;

using LPWSTR = wchar_t*;
using LPCWSTR = const wchar_t*;

struct SECURITY_ATTRIBUTES;
struct OVERLAPPED;

#define TRUE 1
#define FALSE 0
#define INVALID_HANDLE_VALUE (reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(-1)))

constexpr DWORD OPEN_EXISTING = 3;
constexpr DWORD FILE_ATTRIBUTE_NORMAL = 0x80;

constexpr DWORD WAIT_OBJECT_0 = 0;
constexpr DWORD WAIT_TIMEOUT = 258;
constexpr DWORD WAIT_FAILED = 0xFFFFFFFF;
constexpr DWORD INFINITE = 0xFFFFFFFF;

constexpr LONG ERROR_SUCCESS = 0;
constexpr DWORD ERROR_FILE_NOT_FOUND = 2;
constexpr DWORD ERROR_PATH_NOT_FOUND = 3;
constexpr DWORD ERROR_ACCESS_DENIED = 5;
constexpr DWORD ERROR_INVALID_HANDLE = 6;
constexpr DWORD ERROR_NOT_ENOUGH_MEMORY = 8;
constexpr DWORD ERROR_INVALID_PARAMETER = 87;
constexpr DWORD ERROR_ALREADY_EXISTS = 183;
constexpr DWORD ERROR_MORE_DATA = 234;
constexpr DWORD ERROR_IO_DEVICE = 1117;

#define HKEY_LOCAL_MACHINE (reinterpret_cast<HKEY>(static_cast<std::uintptr_t>(0x80000002)))
constexpr DWORD REG_SZ = 1;

// The last error of the calling thread, set by a call of this header that failed.
DWORD WINAPI GetLastError();
void WINAPI SetLastError(DWORD error);

#define LOWORD(value) (static_cast<WORD>(static_cast<std::uintptr_t>(value) & 0xFFFF))
#define RGB(red, green, blue)                             \
  (static_cast<COLORREF>(static_cast<BYTE>(red)) |        \
   static_cast<COLORREF>(static_cast<BYTE>(green)) << 8 | \
   static_cast<COLORREF>(static_cast<BYTE>(blue)) << 16)

// Opens a stream driver ("I2C1:"). INVALID_HANDLE_VALUE when there is none of that name.
HANDLE WINAPI CreateFileW(LPCWSTR name, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security,
                          DWORD creation, DWORD attributes, HANDLE templateFile);
BOOL WINAPI DeviceIoControl(HANDLE device, DWORD code, void* input, DWORD inputSize, void* output,
                            DWORD outputSize, DWORD* returned, OVERLAPPED* overlapped);
// Closes an event or a device. False, with ERROR_INVALID_HANDLE, for anything that is not open.
BOOL WINAPI CloseHandle(HANDLE handle);

constexpr DWORD MEM_COMMIT = 0x1000;
constexpr DWORD MEM_RESERVE = 0x2000;
constexpr DWORD MEM_RELEASE = 0x8000;
constexpr DWORD PAGE_NOACCESS = 0x01;
constexpr DWORD PAGE_READWRITE = 0x04;

// Reserves address space (address null, MEM_RESERVE) or commits zeroed memory within a reserved
// region (MEM_COMMIT). Null, with ERROR_NOT_ENOUGH_MEMORY or ERROR_INVALID_PARAMETER, on failure.
void* WINAPI VirtualAlloc(void* address, DWORD size, DWORD type, DWORD protection);
// Releases a whole region (size 0, MEM_RELEASE).
BOOL WINAPI VirtualFree(void* address, DWORD size, DWORD type);

BOOL WINAPI CreateDirectoryW(LPCWSTR path, SECURITY_ATTRIBUTES* security);

HANDLE WINAPI CreateEventW(SECURITY_ATTRIBUTES* security, BOOL manualReset, BOOL initialState,
                           LPCWSTR name);
// Signals the event; false for a handle that is none.
BOOL WINAPI SetEvent(HANDLE event);
// Waits for any of the handles (waitAll is not supported on the camera: WAIT_FAILED).
// The lowest signalled index counts, from WAIT_OBJECT_0; time in milliseconds.
DWORD WINAPI WaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL waitAll,
                                    DWORD milliseconds);
void WINAPI Sleep(DWORD milliseconds);
// Milliseconds since the camera was switched on; wraps after 49.7 days.
DWORD WINAPI GetTickCount();

LONG WINAPI RegOpenKeyExW(HKEY key, LPCWSTR subKey, DWORD options, DWORD access, HKEY* result);
// *size: the buffer's bytes in, the value's bytes (terminator included) out. A value that does not
// fit gives ERROR_MORE_DATA and leaves the buffer alone.
LONG WINAPI RegQueryValueExW(HKEY key, LPCWSTR name, DWORD* reserved, DWORD* type, BYTE* data,
                             DWORD* size);
LONG WINAPI RegCloseKey(HKEY key);

// Searches. The data's attributes and times are not filled in on this system.
constexpr DWORD MAX_PATH = 260;
struct WIN32_FIND_DATAW {
  DWORD dwFileAttributes;
  wchar_t cFileName[MAX_PATH];
};
// The pattern's last part may hold * and ?; case does not matter. Files of the folder in the order
// of the file system. INVALID_HANDLE_VALUE when there is none.
HANDLE WINAPI FindFirstFileW(LPCWSTR pattern, WIN32_FIND_DATAW* data);
BOOL WINAPI FindNextFileW(HANDLE search, WIN32_FIND_DATAW* data);
BOOL WINAPI FindClose(HANDLE search);

// Text. length -1: up to the terminator and with it. Bytes written; 0 when they do not fit.
constexpr UINT CP_ACP = 0;
int WINAPI WideCharToMultiByte(UINT codePage, DWORD flags, LPCWSTR wide, int length, char* text,
                               int size, const char* defaultCharacter, BOOL* usedDefault);
// Below, at or above 0, without regard to case.
int _wcsicmp(const wchar_t* first, const wchar_t* second);

// One thread at a time; the same thread may enter again. Of several that wait nobody can say who
// comes next.
struct CRITICAL_SECTION {
  void* section;
};
void WINAPI InitializeCriticalSection(CRITICAL_SECTION* section);
void WINAPI DeleteCriticalSection(CRITICAL_SECTION* section);
void WINAPI EnterCriticalSection(CRITICAL_SECTION* section);
void WINAPI LeaveCriticalSection(CRITICAL_SECTION* section);

// Windows, messages, timers.
struct RECT {
  LONG left;
  LONG top;
  LONG right;
  LONG bottom;
};
struct POINT {
  LONG x;
  LONG y;
};
struct MSG {
  HWND hwnd;
  UINT message;
  WPARAM wParam;
  LPARAM lParam;
  DWORD time;
  POINT pt;
};
using WNDPROC = LRESULT(WINAPI*)(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
using DLGPROC = INT_PTR(WINAPI*)(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam);
using TIMERPROC = void(WINAPI*)(HWND window, UINT message, UINT timer, DWORD time);
struct WNDCLASSW {
  UINT style;
  WNDPROC lpfnWndProc;
  int cbClsExtra;
  int cbWndExtra;
  HINSTANCE hInstance;
  HICON hIcon;
  HCURSOR hCursor;
  HBRUSH hbrBackground;
  LPCWSTR lpszMenuName;
  LPCWSTR lpszClassName;
};

constexpr UINT CS_VREDRAW = 0x1;
constexpr UINT CS_HREDRAW = 0x2;
constexpr DWORD WS_VISIBLE = 0x10000000;
constexpr DWORD WS_DISABLED = 0x08000000;
constexpr DWORD WS_CAPTION = 0x00C00000;
constexpr DWORD DS_SETFONT = 0x40;
constexpr DWORD DS_CENTER = 0x800;
constexpr DWORD SS_CENTER = 0x1;
constexpr DWORD SS_CENTERIMAGE = 0x200;
constexpr int CW_USEDEFAULT = static_cast<int>(0x80000000);
constexpr int SW_SHOW = 5;
constexpr UINT SWP_NOSIZE = 0x1;
constexpr UINT SWP_NOMOVE = 0x2;
constexpr UINT SWP_NOZORDER = 0x4;
#define HWND_TOPMOST (reinterpret_cast<HWND>(static_cast<std::intptr_t>(-1)))

constexpr UINT WM_DESTROY = 0x0002;
constexpr UINT WM_PAINT = 0x000F;
constexpr UINT WM_QUIT = 0x0012;
constexpr UINT WM_KEYUP = 0x0101;
constexpr UINT WM_INITDIALOG = 0x0110;
constexpr UINT WM_COMMAND = 0x0111;
constexpr UINT WM_TIMER = 0x0113;

constexpr WPARAM VK_BACK = 0x08;
constexpr WPARAM VK_TAB = 0x09;
constexpr WPARAM VK_RETURN = 0x0D;
constexpr WPARAM VK_ESCAPE = 0x1B;
constexpr WPARAM VK_SPACE = 0x20;
constexpr WPARAM VK_PRIOR = 0x21;
constexpr WPARAM VK_NEXT = 0x22;
constexpr WPARAM VK_END = 0x23;
constexpr WPARAM VK_HOME = 0x24;
constexpr WPARAM VK_LEFT = 0x25;
constexpr WPARAM VK_UP = 0x26;
constexpr WPARAM VK_RIGHT = 0x27;
constexpr WPARAM VK_DOWN = 0x28;
constexpr WPARAM VK_INSERT = 0x2D;
constexpr WPARAM VK_DELETE = 0x2E;
constexpr WPARAM VK_NUMPAD0 = 0x60;
constexpr WPARAM VK_NUMPAD1 = 0x61;
constexpr WPARAM VK_NUMPAD2 = 0x62;
constexpr WPARAM VK_NUMPAD3 = 0x63;
constexpr WPARAM VK_NUMPAD4 = 0x64;
constexpr WPARAM VK_NUMPAD6 = 0x66;
constexpr WPARAM VK_MULTIPLY = 0x6A;
constexpr WPARAM VK_ADD = 0x6B;
constexpr WPARAM VK_SEPARATOR = 0x6C;
constexpr WPARAM VK_SUBTRACT = 0x6D;
constexpr WPARAM VK_DECIMAL = 0x6E;
constexpr WPARAM VK_DIVIDE = 0x6F;
constexpr WPARAM VK_F1 = 0x70;
constexpr WPARAM VK_F2 = 0x71;
constexpr WPARAM VK_F3 = 0x72;
constexpr WPARAM VK_F4 = 0x73;
constexpr WPARAM VK_F5 = 0x74;
constexpr WPARAM VK_F6 = 0x75;
constexpr WPARAM VK_F7 = 0x76;
constexpr WPARAM VK_F8 = 0x77;
constexpr WPARAM VK_F9 = 0x78;
constexpr WPARAM VK_F10 = 0x79;
constexpr WPARAM VK_F11 = 0x7A;
constexpr WPARAM VK_F12 = 0x7B;
constexpr WPARAM VK_OEM_1 = 0xBA;  // ;
constexpr WPARAM VK_OEM_PLUS = 0xBB;
constexpr WPARAM VK_OEM_COMMA = 0xBC;
constexpr WPARAM VK_OEM_MINUS = 0xBD;
constexpr WPARAM VK_OEM_PERIOD = 0xBE;
constexpr WPARAM VK_OEM_2 = 0xBF;    // /
constexpr WPARAM VK_OEM_3 = 0xC0;    // `
constexpr WPARAM VK_OEM_4 = 0xDB;    // [
constexpr WPARAM VK_OEM_5 = 0xDC;    // backslash
constexpr WPARAM VK_OEM_6 = 0xDD;    // ]
constexpr WPARAM VK_OEM_7 = 0xDE;    // '
constexpr WPARAM VK_OEM_102 = 0xE2;  // < beside the left shift key

// 0 when the class is registered already: it then stays as it is.
WORD WINAPI RegisterClassW(const WNDCLASSW* windowClass);
// Fails while a window of the class lives.
BOOL WINAPI UnregisterClassW(LPCWSTR name, HINSTANCE instance);
// A top-level window; with CW_USEDEFAULT it covers the screen. Null on failure.
HWND WINAPI CreateWindowExW(DWORD extendedStyle, LPCWSTR className, LPCWSTR title, DWORD style,
                            int x, int y, int width, int height, HWND parent, HMENU menu,
                            HINSTANCE instance, void* parameter);
BOOL WINAPI DestroyWindow(HWND window);
BOOL WINAPI ShowWindow(HWND window, int show);
BOOL WINAPI UpdateWindow(HWND window);
BOOL WINAPI SetForegroundWindow(HWND window);
BOOL WINAPI SetWindowPos(HWND window, HWND after, int x, int y, int width, int height, UINT flags);
BOOL WINAPI GetWindowRect(HWND window, RECT* rectangle);
BOOL WINAPI GetClientRect(HWND window, RECT* rectangle);
HWND WINAPI GetParent(HWND window);
int WINAPI GetWindowTextW(HWND window, LPWSTR text, int size);
LRESULT WINAPI DefWindowProcW(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

// 0 for WM_QUIT. Of what waits the order is: input, quit, paint, timers.
BOOL WINAPI GetMessageW(MSG* message, HWND window, UINT first, UINT last);
BOOL WINAPI TranslateMessage(const MSG* message);
LRESULT WINAPI DispatchMessageW(const MSG* message);
void WINAPI PostQuitMessage(int exitCode);
// period in ms; set again it starts anew. A timer that is not taken in time does not add up.
std::uintptr_t WINAPI SetTimer(HWND window, std::uintptr_t timer, UINT period, TIMERPROC procedure);
BOOL WINAPI KillTimer(HWND window, std::uintptr_t timer);

// Resources of the module, and dialogs made from them.
#define MAKEINTRESOURCEW(number) \
  (reinterpret_cast<LPCWSTR>(static_cast<std::uintptr_t>(static_cast<WORD>(number))))
#define RT_DIALOG MAKEINTRESOURCEW(5)
HRSRC WINAPI FindResourceW(HINSTANCE module, LPCWSTR name, LPCWSTR type);
HGLOBAL WINAPI LoadResource(HINSTANCE module, HRSRC resource);
struct DLGTEMPLATE;
using LPCDLGTEMPLATEW = const DLGTEMPLATE*;
// Runs the dialog until EndDialog; what EndDialog was given, -1 when there is no dialog to show.
INT_PTR WINAPI DialogBoxIndirectParamW(HINSTANCE module, LPCDLGTEMPLATEW dialogTemplate,
                                       HWND parent, DLGPROC procedure, LPARAM parameter);
BOOL WINAPI EndDialog(HWND dialog, INT_PTR result);
BOOL WINAPI SetDlgItemTextW(HWND dialog, int control, LPCWSTR text);

// Drawing.
struct PAINTSTRUCT {
  HDC hdc;
  BOOL fErase;
  RECT rcPaint;
};
struct BITMAP {
  LONG bmType;
  LONG bmWidth;   // pixels
  LONG bmHeight;  // pixels
  LONG bmWidthBytes;
  WORD bmPlanes;
  WORD bmBitsPixel;
  void* bmBits;
};
constexpr int WHITE_BRUSH = 0;
constexpr DWORD SRCCOPY = 0x00CC0020;
HBRUSH WINAPI CreateSolidBrush(COLORREF colour);
HGDIOBJ WINAPI GetStockObject(int object);
BOOL WINAPI InvalidateRect(HWND window, const RECT* rectangle, BOOL erase);
HDC WINAPI BeginPaint(HWND window, PAINTSTRUCT* paint);
BOOL WINAPI EndPaint(HWND window, const PAINTSTRUCT* paint);
HDC WINAPI CreateCompatibleDC(HDC context);
BOOL WINAPI DeleteDC(HDC context);
HGDIOBJ WINAPI SelectObject(HDC context, HGDIOBJ object);
BOOL WINAPI DeleteObject(HGDIOBJ object);
int WINAPI GetObjectW(HGDIOBJ object, int size, void* record);
BOOL WINAPI StretchBlt(HDC to, int x, int y, int width, int height, HDC from, int fromX, int fromY,
                       int fromWidth, int fromHeight, DWORD operation);
