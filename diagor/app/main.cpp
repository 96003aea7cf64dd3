// Process entry: command line, supervisor, exit code.
#include <cstdio>

#include "app/bit_supv_factory.h"
#include "app/framework.h"
#include "app/instance.h"

// The camera's entry has a wide command line. A system that has another entry for that names it.
#ifndef DIAGOR_ENTRY
#define DIAGOR_ENTRY WinMain
#endif

HINSTANCE gInstance = nullptr;

namespace {

constexpr char kLocalName[] = "bit";
constexpr char kTaskInstance[] = "bit";  // also under another local name
constexpr WORD kLocalPort = 0x567F;

struct Options {
  const char* localName = kLocalName;
  WORD localPort = kLocalPort;
  const char* serverAddress = nullptr;
  WORD serverPort = 0;
  bool help = false;
};

// A text that does not read as a number leaves the port as it is.
void ReadPort(const char* text, WORD& port) {
  const bool hexadecimal = text[0] == '0' && text[1] == 'x';
  WORD number = 0;
  const int read =
      hexadecimal ? sscanf(text, "0x%hx", &number)
                  : sscanf(text, "%hd", reinterpret_cast<short*>(&number));  // NOLINT(cert-err34-c)
  if (read == 1) port = number;
}

Options ParseOptions(int count, char** words) {
  Options options;
  int nextWord = 1;
  int nextLetter = 1;
  int reserved = 1;
  char* argument = nullptr;
  for (;;) {
    const int letter =
        tarq_getopt(count, words, "p:n:s:a:h", &nextWord, &nextLetter, &reserved, &argument);
    switch (letter) {
      case -1:
        return options;
      case 'a':
        options.serverAddress = argument;
        break;
      case 'h':
        options.help = true;
        return options;
      case 'n':
        options.localName = argument;
        break;
      case 'p':
        ReadPort(argument, options.localPort);
        break;
      case 's':
        ReadPort(argument, options.serverPort);
        break;
      default:
        break;
    }
  }
}

void PrintUsage() {
  printf("usage: Diagor [-n <name>] [-p <port>] [-a <addr>] [-s <port>]\n");
  printf("       -n   local name (default %s)\n", kLocalName);
  printf("       -p   local port (default 0x567F)\n");
  printf("       -a   server addr (default 127.0.0.1)\n");
  printf("       -s   server port (default 0x5678)\n");
}

DWORD RunSupervisor(TARQ::CSupervisor& supervisor, CBitSupvFactory& factory,
                    const Options& options) {
  const TARQ::SupvItem items[] = {
      {"LIB", "CLibCreateVersion", "INIT", nullptr, {}},
      {"TASK", "CBitTask", "INIT", kTaskInstance, {}},
      {"TASK", "CBitTask", "START", kTaskInstance, {}},
      {nullptr, nullptr, nullptr, nullptr, {}},
  };
  const DWORD status =
      supervisor.Init(&factory, items, options.localName, options.localPort, options.serverAddress,
                      options.serverPort, nullptr, nullptr, nullptr, 0);
  if (status != 0) {
    printf("bit: CSupervisor::Init returned 0x%x\n", status);
    return status;
  }
  supervisor.Start(0);
  supervisor.Unload();
  return 0;
}

}  // namespace

int WINAPI DIAGOR_ENTRY(HINSTANCE instance, HINSTANCE /*previous*/, LPWSTR commandLine,
                        int /*show*/) {
  TARQ::CSupervisor supervisor;
  CBitSupvFactory factory;
  gInstance = instance;

  int count = 0;
  char** words = nullptr;
  cmdline_to_argv(commandLine, &count, &words);
  const Options options = ParseOptions(count, words);

  DWORD status = 0;
  if (options.help) {
    PrintUsage();
  } else {
    status = RunSupervisor(supervisor, factory, options);
  }
  // Name and address point into the vector: it goes last.
  dealloc_argv(words);
  return static_cast<int>(status);
}
