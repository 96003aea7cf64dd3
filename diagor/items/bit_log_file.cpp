#include "items/bit_log_file.h"

#include <cstdio>

#include "app/framework.h"
#include "items/files.h"
#include "items/turn.h"

namespace {

std::string BitLogPath() {
  return std::string(getFlashTmpPath()) + "\\" + "bitlog.txt";
}

TurnLock& LogTurns() {
  static TurnLock lock;
  return lock;
}

// One at a time: a record that was begun before the log is restarted must not stand above its
// header.
void WriteBitLog(const char* mode, const std::string& text) {
  const Turn turn(LogTurns());
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
