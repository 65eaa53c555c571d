// The system's clock, the clock in force, and dates.
#include "platform/clock.h"

#include <time.h>

#include <chrono>
#include <cmath>

#include "platform/text.h"

namespace gravlin {
namespace {

const std::chrono::steady_clock::time_point program_start = std::chrono::steady_clock::now();

class SystemClock : public Clock {
 public:
  double UnixSeconds() override {
    using std::chrono::duration;
    return duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
  }
  std::int64_t Milliseconds() override {
    const auto running = std::chrono::steady_clock::now() - program_start;
    return std::chrono::duration_cast<std::chrono::milliseconds>(running).count();
  }
  std::int64_t Nanoseconds() override {
    return std::chrono::nanoseconds(std::chrono::steady_clock::now() - program_start).count();
  }
};

Clock* replacement = nullptr;

constexpr std::int64_t kSecondsOfDay = 86400;
// 1970-01-01 is 24,107 days after 1904-01-01.
constexpr std::int64_t kEpoch = 24107 * kSecondsOfDay;

std::chrono::year_month_day DayOf(double total_seconds) {
  const std::int64_t seconds = static_cast<std::int64_t>(std::floor(total_seconds)) - kEpoch;
  const auto days = std::chrono::floor<std::chrono::days>(std::chrono::seconds(seconds));
  return std::chrono::sys_days(days);
}

int SecondOfDay(double total_seconds) {
  const auto seconds = static_cast<std::int64_t>(std::floor(total_seconds)) % kSecondsOfDay;
  return static_cast<int>(seconds < 0 ? seconds + kSecondsOfDay : seconds);
}

}  // namespace

Clock& TheClock() {
  static SystemClock system;
  return replacement ? *replacement : system;
}

void SetClock(Clock* clock) { replacement = clock; }

std::int32_t Ticks() {
  return static_cast<std::int32_t>(
      static_cast<std::uint32_t>(TheClock().Milliseconds() * 60 / 1000));
}

Date::Date() {
  const double now = TheClock().UnixSeconds();
  const time_t whole = static_cast<time_t>(std::floor(now));
  tm local{};
  localtime_r(&whole, &local);
  zone_ = static_cast<double>(local.tm_gmtoff);
  total_seconds_ = now + zone_ + static_cast<double>(kEpoch);
}

int Date::Year() const { return static_cast<int>(DayOf(total_seconds_).year()); }
int Date::Month() const {
  return static_cast<int>(static_cast<unsigned>(DayOf(total_seconds_).month()));
}
int Date::Day() const {
  return static_cast<int>(static_cast<unsigned>(DayOf(total_seconds_).day()));
}
int Date::Hour() const { return SecondOfDay(total_seconds_) / 3600; }
int Date::Minute() const { return SecondOfDay(total_seconds_) / 60 % 60; }
int Date::Second() const { return SecondOfDay(total_seconds_) % 60; }

void Date::SetMinute(int minute) { total_seconds_ += 60.0 * (minute - Minute()); }
void Date::SetSecond(int second) { total_seconds_ += second - Second(); }

std::string Date::LongTime() const {
  return Format(Hour(), "00") + ":" + Format(Minute(), "00") + ":" + Format(Second(), "00");
}

}  // namespace gravlin
