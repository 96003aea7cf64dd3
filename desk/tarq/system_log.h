// The camera's system log: a file of its storage, one record a line.
#pragma once

namespace desk {

constexpr char kSystemLogPath[] = "/FlashFS/log/syslog.txt";

}  // namespace desk
