// Time.  Everything in the program that asks for the time or waits asks one Clock, so that a test
// can set it.
#pragma once

#include <cstdint>
#include <string>

namespace gravlin {

class Clock {
 public:
  virtual ~Clock() = default;
  // Seconds since 1970-01-01 00:00 UTC.
  virtual double UnixSeconds() = 0;
  // A count of milliseconds that only increases; drives timers, sleeps and Ticks.
  virtual std::int64_t Milliseconds() = 0;
  // The same count, in the clock's own resolution.
  virtual std::int64_t Nanoseconds() { return Milliseconds() * 1'000'000; }
  // False for a clock that is set by hand: waits are then ended by RunDueCalls (calls.h), never
  // by the system.
  virtual bool RunsByItself() const { return true; }
};

// The clock in force: the system's unless SetClock gave another.  nullptr restores the system's.
Clock& TheClock();
void SetClock(Clock* clock);

// Sixtieths of a second since the program started.
std::int32_t Ticks();

// A point in local time.  New dates hold the present moment.
class Date {
 public:
  Date();
  // Seconds since 1904-01-01 00:00 local time; setting it moves the date.
  double TotalSeconds() const { return total_seconds_; }
  // From the other date to this one, correct even if local time was changed between them.
  double SecondsSince(const Date& other) const {
    return total_seconds_ - zone_ - (other.total_seconds_ - other.zone_);
  }
  void SetTotalSeconds(double seconds) { total_seconds_ = seconds; }
  int Year() const;
  int Month() const;
  int Day() const;
  int Hour() const;
  int Minute() const;
  int Second() const;
  // A value beyond 59 carries into the larger unit.
  void SetMinute(int minute);
  void SetSecond(int second);
  // The time of day, as "21:07:03".
  std::string LongTime() const;

  friend bool operator<(const Date& a, const Date& b) { return a.SecondsSince(b) < 0; }
  friend bool operator>(const Date& a, const Date& b) { return b < a; }

 private:
  double total_seconds_;
  double zone_;  // seconds east of UTC when the date was made
};

}  // namespace gravlin
