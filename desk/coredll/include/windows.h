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

using HANDLE = void*;
struct HINSTANCE__;
using HINSTANCE = HINSTANCE__*;
struct HKEY__;
using HKEY = HKEY__*;

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
