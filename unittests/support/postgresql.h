// A PostgreSQL server of the tests' own.
#pragma once

#include <cstdio>
#include <string>

namespace test {

// Without a port and on an empty database. It goes with this object or with the process, however
// that ends. It runs as another user where the tests run as root.
class Postgresql {
 public:
  Postgresql();
  ~Postgresql();
  Postgresql(const Postgresql&) = delete;
  Postgresql& operator=(const Postgresql&) = delete;

  // The URL of a database in which there is nothing.
  std::string Fresh();
  // One statement, on a connection of its own.
  void Execute(const std::string& sql) const;
  // It dies, and is there again.
  void Break() const;

 private:
  void AwaitStart() const;

  std::string mFolder;
  std::FILE* mServer = nullptr;  // what is open as long as the server is wanted
  int mCount = 0;
};

}  // namespace test
