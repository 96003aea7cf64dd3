#include "station/store/text.h"

#include <utf8.h>

#include <charconv>
#include <chrono>
#include <cstdio>
#include <iterator>

namespace station {

namespace {

constexpr char kReplacement[] = "\xEF\xBF\xBD";

// Reads a text from its front; once something was not as expected, nothing is any more.
class Reader {
 public:
  explicit Reader(std::string_view text) : mText(text) {}
  bool IsGood() const { return mIsGood; }
  bool IsAtEnd() const { return mText.empty(); }

  // That many digits, no more and no less than the number's range.
  int Number(std::size_t digits, int least, int most) {
    int number = -1;
    if (mText.size() < digits || mText.find_first_not_of("0123456789") < digits) {
      mIsGood = false;
    } else {
      std::from_chars(mText.data(), mText.data() + digits, number);
      mText.remove_prefix(digits);
      mIsGood = mIsGood && least <= number && number <= most;
    }
    return number;
  }
  // True, and it is read, when one of these comes.
  bool Takes(std::string_view characters) {
    if (mText.empty() || characters.find(mText.front()) == std::string_view::npos) return false;
    mLast = mText.front();
    mText.remove_prefix(1);
    return true;
  }
  void Expect(std::string_view characters) { mIsGood = Takes(characters) && mIsGood; }
  char Last() const { return mLast; }

 private:
  std::string_view mText;
  char mLast = 0;
  bool mIsGood = true;
};

int Milliseconds(Reader& reader) {
  if (!reader.Takes(".")) return 0;
  int milliseconds = reader.Number(1, 0, 9) * 100;
  for (int weight = 10; reader.Takes("0123456789"); weight /= 10)
    milliseconds += (reader.Last() - '0') * weight;
  return milliseconds;
}

}  // namespace

std::string Settled(std::string_view text) {
  std::string valid;
  if (utf8::is_valid(text.begin(), text.end())) {
    valid = text;
  } else {
    utf8::replace_invalid(text.begin(), text.end(), std::back_inserter(valid));
  }
  for (std::size_t at = valid.find('\0'); at != std::string::npos; at = valid.find('\0', at))
    valid.replace(at, 1, kReplacement);
  return valid;
}

std::string TimeText(Time time) {
  const std::chrono::sys_time<std::chrono::milliseconds> point{std::chrono::milliseconds(time)};
  const auto day = std::chrono::floor<std::chrono::days>(point);
  const std::chrono::year_month_day date(day);
  const std::chrono::hh_mm_ss clock(point - day);
  char text[64] = {};
  std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02d.%03dZ", int{date.year()},
                unsigned{date.month()}, unsigned{date.day()},
                static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                static_cast<int>(clock.seconds().count()),
                static_cast<int>(clock.subseconds().count()));
  return text;
}

std::optional<Time> TimeOf(std::string_view text) {
  namespace chrono = std::chrono;
  Reader reader(text);
  const int year = reader.Number(4, 0, 9999);
  reader.Expect("-");
  const int month = reader.Number(2, 1, 12);
  reader.Expect("-");
  const int day = reader.Number(2, 1, 31);
  reader.Expect("Tt");
  const int hours = reader.Number(2, 0, 23);
  reader.Expect(":");
  const int minutes = reader.Number(2, 0, 59);
  reader.Expect(":");
  const int seconds = reader.Number(2, 0, 59);
  const int milliseconds = Milliseconds(reader);
  chrono::minutes offset{0};
  reader.Expect("Zz+-");
  if (const char sign = reader.Last(); sign == '+' || sign == '-') {
    offset = chrono::hours(reader.Number(2, 0, 23));
    reader.Expect(":");
    offset += chrono::minutes(reader.Number(2, 0, 59));
    if (sign == '-') offset = -offset;
  }
  const chrono::year_month_day date{chrono::year(year), chrono::month(static_cast<unsigned>(month)),
                                    chrono::day(static_cast<unsigned>(day))};
  if (!reader.IsGood() || !reader.IsAtEnd() || !date.ok()) return std::nullopt;
  const chrono::milliseconds time =
      chrono::sys_days(date).time_since_epoch() + chrono::hours(hours) + chrono::minutes(minutes) +
      chrono::seconds(seconds) + chrono::milliseconds(milliseconds) - offset;
  return time.count();
}

}  // namespace station
