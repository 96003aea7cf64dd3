// What a test does, what its results mean, and which faults are known to make them.
#pragma once

#include <string>
#include <vector>

namespace client {

// As the dictionary names an item: "focus.far" for "test.items.focus.far".
std::string ItemName(const std::string& path);

struct Cause {
  std::string what;                   // "the lens is stuck"
  std::string part;                   // the replaceable unit: "lens"
  std::vector<std::string> variants;  // cameras on which it makes that result
};

// Known for that result ("E 00A3", "no result, status 0x1") of an item ("test.items.focus.far"),
// those of the camera of that name first, then the most specific; of any item of the class where
// the item itself has none. Empty: none is known.
std::vector<Cause> CausesOf(const std::string& path, const std::string& className,
                            const std::string& result, const std::string& camera = "");

// Whether a fault is known that makes the item itself end so.
bool HasCauses(const std::string& path, const std::string& className, const std::string& result);

struct ResultGuide {
  std::string code;  // "E 00A3", or "no result"
  std::string means;
  std::string remedy;  // what to try first
};
struct TestGuide {
  std::string about;  // what the test does, in two sentences
  std::vector<ResultGuide> results;

  // Null: the test has no such result.
  const ResultGuide* Find(const std::string& result) const;
};

// Null: there is no such test.
const TestGuide* GuideOf(const std::string& className);

// What to do about a part, ending with changing it. Empty for a part that nobody knows.
std::string RemedyFor(const std::string& part);

}  // namespace client
