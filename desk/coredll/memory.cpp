// Virtual memory. Released regions are kept and reused: reserving and unmapping would cost as much
// as all else that the video memory test does. A kept region is inaccessible; sanitizer builds
// really unmap, so that a use after release is found by address as well.
#include <sys/mman.h>
#include <windows.h>

#include <cstring>
#include <map>
#include <mutex>
#include <vector>

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr std::size_t kMostKept = 0;
#else
constexpr std::size_t kMostKept = 8;
#endif
constexpr std::size_t kPage = 4096;

struct Region {
  char* base;
  std::size_t size;
  std::size_t committed;  // from the base on
};

std::mutex gLock;
std::map<const void*, Region> gRegions;
std::vector<Region> gKept;

std::size_t WholePages(std::size_t size) {
  return (size + kPage - 1) / kPage * kPage;
}

void* Reserve(std::size_t size) {
  const std::lock_guard lock(gLock);
  for (auto kept = gKept.begin(); kept != gKept.end(); ++kept) {
    if (kept->size != size) continue;
    const Region region = *kept;
    gKept.erase(kept);
    gRegions.emplace(region.base, region);
    return region.base;
  }
  void* const base =
      mmap(nullptr, size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (base == MAP_FAILED) return nullptr;
  gRegions.emplace(base, Region{static_cast<char*>(base), size, 0});
  return base;
}

// From the region's base on, as this system's programs commit.
void* Commit(void* address, std::size_t size) {
  const std::lock_guard lock(gLock);
  const auto found = gRegions.find(address);
  if (found == gRegions.end() || size > found->second.size) return nullptr;
  if (mprotect(address, size, PROT_READ | PROT_WRITE) != 0) return nullptr;
  memset(address, 0, size);
  found->second.committed = size;
  return address;
}

bool Release(void* address) {
  const std::lock_guard lock(gLock);
  const auto found = gRegions.find(address);
  if (found == gRegions.end()) return false;
  Region region = found->second;
  gRegions.erase(found);
  if (gKept.size() >= kMostKept) return munmap(region.base, region.size) == 0;
  if (region.committed > 0) mprotect(region.base, region.committed, PROT_NONE);
  region.committed = 0;
  gKept.push_back(region);
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
