// What a store consists of, for its own files.
#pragma once

#include "station/store/readers.h"
#include "station/store/store.h"
#include "station/store/writer.h"

namespace station {

struct Store::State {
  State(const Place& where, const StoreOptions& options)
      : place(where), writer(where, options.busy), readers(where, options.busy, options.readers) {}

  // What the work returns.
  template <typename Work>
  auto Read(const Work& work) {
    decltype(work(std::declval<Connection&>())) result;
    readers.Read([&](Connection& connection) { result = work(connection); });
    return result;
  }

  const Place place;
  Writer writer;
  Readers readers;
};

}  // namespace station
