#include "items/bit_log_file.h"

#include <cstdio>

#include "app/framework.h"
#include "items/files.h"

namespace {

std::string BitLogPath() {
  return std::string(getFlashTmpPath()) + "\\" + "bitlog.txt";
}

void WriteBitLog(const char* mode, const std::string& text) {
  FILE* const file = fopen(BitLogPath().c_str(), mode);
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
  return CanBeRead(BitLogPath().c_str());
}

void AppendToBitLog(const std::string& text) {
  WriteBitLog("a+", text);
}

void RestartBitLog(const std::string& text) {
  WriteBitLog("w", text);
}
