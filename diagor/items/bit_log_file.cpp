#include "items/bit_log_file.h"

#include <cstdio>

#include "app/framework.h"

namespace {

FILE* OpenBitLog(const char* mode) {
  const std::string path = std::string(getFlashTmpPath()) + "\\" + "bitlog.txt";
  return fopen(path.c_str(), mode);
}

void WriteBitLog(const char* mode, const std::string& text) {
  FILE* file = OpenBitLog(mode);
  if (file == nullptr) return;
  // Unbuffered: however long the text, it leaves in one write.
  setvbuf(file, nullptr, _IONBF, 0);
  fwrite(text.data(), 1, text.size(), file);
  fclose(file);
}

}  // namespace

LocalTime ReadLocalTime() {
  int fields[6] = {};
  getloctime(unixtime(), fields);
  return {fields[0], fields[1], fields[2], fields[3], fields[4], fields[5]};
}

bool BitLogExists() {
  FILE* file = OpenBitLog("r");
  if (file == nullptr) return false;
  fclose(file);
  return true;
}

void AppendToBitLog(const std::string& text) {
  WriteBitLog("a+", text);
}

void RestartBitLog(const std::string& text) {
  WriteBitLog("w", text);
}
