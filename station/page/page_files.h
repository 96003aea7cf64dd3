// The page's files, as they stand in the program.
#pragma once

#include <string_view>

namespace station {

struct PageFile {
  std::string_view name;         // "app.js"
  std::string_view contentType;  // of HTTP
  std::string_view bytes;
};

// "" is index.html. Null: there is no such file.
const PageFile* FindPageFile(std::string_view name);
// What a server sends with them, as Content-Security-Policy: nothing that is not its own.
std::string_view PagePolicy();

}  // namespace station
