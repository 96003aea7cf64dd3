// A request, and what answers it.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "http/file.h"

namespace http {

struct Request {
  std::string method;
  std::string target;  // path and query, as sent
  std::string host;    // of the headers; empty: not sent
  std::string origin;
  std::string lastEvent;  // the id of the event that the client saw last
  std::string body;
  std::string cookie = {};  // "name=value; name=value"
  std::string peer = {};    // the client's address; known where the server has a secure layer
  bool isSecure = false;
};

// What is sent piece by piece, for as long as the client takes it.
class Stream {
 public:
  Stream() = default;
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;
  virtual ~Stream() = default;
  // The next piece; empty: there is none yet. One call at a time.
  virtual std::string Next() = 0;
  // Asked where there is no next piece: the connection ends.
  virtual bool IsOver() const { return false; }
  // What says in a pause that it is there still, where the limits want that; empty: nothing does.
  virtual std::string Beat() const { return {}; }
};

struct Reply {
  unsigned status = 200;
  std::string contentType = "application/json";
  std::string body;
  // In place of the body:
  std::shared_ptr<const File> file = nullptr;
  std::shared_ptr<Stream> stream = nullptr;
  // Name and value of further headers. A Cache-Control stands in place of "no-store".
  std::vector<std::pair<std::string, std::string>> headers = {};
};

// An answer that says what is wrong and what to do, as application/problem+json.
Reply Problem(unsigned status, const std::string& title, const std::string& detail);

// To be called once, on any thread; where all its copies go without, the connection ends.
using Send = std::function<void(Reply)>;
// Called on the network's thread: what takes a while goes elsewhere.
using Handler = std::function<void(const Request& request, const Send& send)>;

}  // namespace http
