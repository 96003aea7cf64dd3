// What a server's clients may take of it. Beyond these one is told so, or dropped: a slow or silent
// one costs the others nothing.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

namespace http {

struct Limits {
  // A new connection beyond them takes the place of the one that has been silent longest; while
  // none is silent it is told that there is no room.
  std::size_t connections = 64;
  std::size_t refused = 32;  // being told so at once; more of them are dropped unheard
  std::size_t streams = 16;
  std::uint32_t header = 16 * 1024;  // bytes; chunk headers and trailers included
  std::size_t body = 64UL * 1024;    // bytes

  // Each for the whole of it, however many bytes come meanwhile.
  std::chrono::milliseconds request{30'000};  // from a connection or the last reply on; idling too
  std::chrono::milliseconds reply{30'000};    // until the client has taken it
  std::chrono::milliseconds farewell{2'000};  // what a client still sends after the last reply

  // A stream that had nothing to send for so long says that it is there; 0: it keeps silent. Who
  // has gone without a word is found out by that, on both sides.
  std::chrono::milliseconds beat{0};
};

}  // namespace http
