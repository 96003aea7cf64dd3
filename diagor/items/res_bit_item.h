// Base of all test items: one node per piece of hardware, whose value is its test result.
#pragma once

#include <string>

#include "app/framework.h"
#include "items/turn.h"

constexpr char kUntested[] = "Untested";
constexpr char kResultOK[] = "OK      ";
constexpr char kResultTested[] = "Tested  ";

// How a test without an error has ended: "OK", or "Tested" without a verdict.
enum class Passed { OK, Tested };

// What a test found: an error code, 0 for none, and the message about it.
struct Finding {
  DWORD code = 0;
  std::string message;
  Passed passed = Passed::OK;
};

// A failure that has nothing to add to its text.
struct Failure {
  DWORD code;
  const char* message;
  operator Finding() const { return {code, message}; }  // NOLINT(google-explicit-constructor)
};

// Writing any text but "Untested" runs the test on the writing thread; the write returns when the
// test has ended. The value is one of the result texts, always eight characters:
//   "Untested"  no result
//   "OK      "  passed
//   "Tested  "  ran to its end without a verdict; what was found is in the message
//   "E %04X  "  failed, with the low 16 bits of the test's code
//   "Error   "  failed, without a code
class CResBitItem : public TARQ::CServerResource {
 public:
  // description: the item's name in log records, cut to 19 characters.
  CResBitItem(const TARQ::CResourcePath& path, const char* description);

  DWORD SetImpl(TARQ::CResourceValue& value, bool& changed) override;

  // The test: empties mMessage first, stores what it found and returns 0 for passed or tested.
  virtual DWORD RunTest(const TARQ::CResourceValue& written) = 0;

 protected:
  static constexpr DWORD kDescriptionSize = 20;
  static constexpr DWORD kMessageSize = 180;

  void EmptyMessage();

  // Store the result, write the record; 0 for a passed or tested item, 1 for a failed one.
  DWORD SetResultOK(const char* message);
  DWORD SetResultTested(const char* message);
  DWORD SetResultError(const char* message, DWORD code);
  DWORD SetResultError(const Failure& failure) {
    return SetResultError(failure.message, failure.code);
  }
  DWORD SetResult(const Finding& finding);

  // The whole of a test that shares a part of the camera with others: in its turn, from the emptied
  // message to the record. test gives its Finding.
  template <typename Test>
  DWORD RunInTurn(TurnLock& turns, const Test& test) {
    const Turn turn(turns);
    EmptyMessage();
    return SetResult(test());
  }

  // The value alone, without a record.
  void StoreResult(const char* result);
  // Appends the message to mMessage and writes one record of the stored result: a line of the log
  // file, or a record of the system log when test.description.format says "XML".
  void LogResult(const char* message);

  // The two together, as one step to everybody else.
  void Conclude(const char* result, const char* message);

  char mDescription[kDescriptionSize];
  char mMessage[kMessageSize];  // of the current run
};
