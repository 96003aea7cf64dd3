// Files of the camera.
#pragma once

#include <cstdio>

inline bool CanBeRead(const char* path) {
  FILE* const file = fopen(path, "r");
  if (file == nullptr) return false;
  fclose(file);
  return true;
}
