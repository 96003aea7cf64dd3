#include "station/page/page_files.h"

#include <algorithm>
#include <iterator>

// From the first byte to the one behind the last, as the assembler took them in.
#define PAGE_FILE(symbol, name) extern const char symbol##Begin[], symbol##End[];
extern "C" {
#include "page_files.inc"
}
#undef PAGE_FILE

namespace station {

namespace {

std::string_view TypeOf(std::string_view name) {
  if (name.ends_with(".js")) return "text/javascript; charset=utf-8";
  if (name.ends_with(".css")) return "text/css; charset=utf-8";
  return "text/html; charset=utf-8";
}

#define PAGE_FILE(symbol, name) \
  {name, TypeOf(name), {symbol##Begin, static_cast<std::size_t>(symbol##End - symbol##Begin)}},
const PageFile kFiles[] = {
#include "page_files.inc"
};
#undef PAGE_FILE

}  // namespace

const PageFile* FindPageFile(std::string_view name) {
  if (name.empty()) name = "index.html";
  const auto* const found =
      std::find_if(std::begin(kFiles), std::end(kFiles),
                   [name](const PageFile& file) { return file.name == name; });
  return found == std::end(kFiles) ? nullptr : found;
}

std::string_view PagePolicy() {
  return "default-src 'self'; img-src 'self' data:; object-src 'none'; base-uri 'none'; "
         "form-action 'self'; frame-ancestors 'none'";
}

}  // namespace station
