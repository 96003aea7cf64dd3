// Virtual memory. Released regions are kept and reused: reserving and unmapping, and already
// changing a page's protection twice, would each cost more than all else that the video memory test
// does. In debug builds a kept region is inaccessible, so that a use after release is found;
// sanitizer builds really unmap. Release builds leave it as it is: what is committed again is
// zeroed again.
#include <sys/mman.h>
#include <windows.h>

#include <cstring>
#include <mutex>
#include <vector>

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr std::size_t kMostKept = 0;
#else
constexpr std::size_t kMostKept = 8;
#endif
#if defined(NDEBUG)
constexpr bool kProtectsKept = false;
#else
constexpr bool kProtectsKept = true;
#endif
constexpr std::size_t kPage = 4096;

struct Region {
  char* base;
  std::size_t size;
  std::size_t accessible;  // from the base on
  bool reserved;           // not kept for the next one
};

std::mutex gLock;
std::vector<Region> gRegions;  // a handful: looking at each costs less than any order among them

std::size_t WholePages(std::size_t size) {
  return (size + kPage - 1) / kPage * kPage;
}

// Under the lock; null when no region that is reserved begins there.
Region* FindReserved(const void* address) {
  for (Region& region : gRegions) {
    if (region.reserved && region.base == address) return &region;
  }
  return nullptr;
}

void* Reserve(std::size_t size) {
  const std::lock_guard lock(gLock);
  for (Region& region : gRegions) {
    if (region.reserved || region.size != size) continue;
    region.reserved = true;
    return region.base;
  }
  void* const base =
      mmap(nullptr, size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (base == MAP_FAILED) return nullptr;
  gRegions.push_back({static_cast<char*>(base), size, 0, true});
  return base;
}

// From the region's base on, as this system's programs commit.
void* Commit(void* address, std::size_t size) {
  const std::lock_guard lock(gLock);
  Region* const region = FindReserved(address);
  if (region == nullptr || size > region->size) return nullptr;
  if (size > region->accessible) {
    if (mprotect(address, size, PROT_READ | PROT_WRITE) != 0) return nullptr;
    region->accessible = size;
  }
  memset(address, 0, size);
  return address;
}

bool Release(void* address) {
  const std::lock_guard lock(gLock);
  Region* const region = FindReserved(address);
  if (region == nullptr) return false;
  if (gRegions.size() > kMostKept) {
    munmap(region->base, region->size);
    *region = gRegions.back();
    gRegions.pop_back();
    return true;
  }
  if (kProtectsKept && region->accessible > 0) {
    mprotect(region->base, region->accessible, PROT_NONE);
    region->accessible = 0;
  }
  region->reserved = false;
  return true;
}

}  // namespace

void* WINAPI VirtualAlloc(void* address, DWORD size, DWORD type, DWORD /*protection*/) {
  const std::size_t pages = WholePages(size);
  void* result = nullptr;
  if (size == 0 || (type != MEM_RESERVE && type != MEM_COMMIT)) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  if (type == MEM_RESERVE) {
    result = Reserve(pages);
  } else {
    result = Commit(address, pages);
  }
  if (result == nullptr) SetLastError(ERROR_NOT_ENOUGH_MEMORY);
  return result;
}

BOOL WINAPI VirtualFree(void* address, DWORD size, DWORD type) {
  if (size == 0 && type == MEM_RELEASE && Release(address)) return TRUE;
  SetLastError(ERROR_INVALID_PARAMETER);
  return FALSE;
}
