// What a store cannot do, and why.
#pragma once

#include <stdexcept>
#include <string>

namespace station {

class StoreError : public std::runtime_error {
 public:
  enum class Kind {
    Busy,          // another process holds the database for longer than the busy time
    Full,          // no space left
    ReadOnly,      // the file, its folder or the server takes no writes
    CannotOpen,    // no such folder, no such server, not let in
    NotADatabase,  // the file is something else, or damaged
    TooNew,        // made by a newer version of this program
    Lost,          // the server went away: whether a write under way was kept is not known
    Constraint,    // it contradicts what is kept; nothing was written
    Other,
  };

  // line: what went wrong and where, for a person.
  StoreError(Kind what, const std::string& line) : std::runtime_error(line), kind(what) {}
  Kind kind;
};

}  // namespace station
