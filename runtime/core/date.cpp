#include "core/date.h"

#include <clocale>
#include <cmath>
#include <cstdint>
#include <ctime>

#include <locale.h>

#include "core/frame_state.h"

bool g_DateLocal = true;

namespace {

constexpr double kEpochDays = 25569.0;  // 1 January 1970 counted from 30 December 1899
constexpr double kSecondsPerDay = 86400.0;
constexpr int32_t kMonthDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};

// The user's time locale, made once; the "C" one when the environment names none we have.
locale_t user_time_locale() {
  static const locale_t locale = [] {
    locale_t user = newlocale(LC_TIME_MASK, "", static_cast<locale_t>(nullptr));
    if (user == static_cast<locale_t>(nullptr)) user = newlocale(LC_TIME_MASK, "C", static_cast<locale_t>(nullptr));
    return user;
  }();
  return locale;
}

}  // namespace

double Date_FromUnix(double seconds) { return (seconds + 0.5) / kSecondsPerDay + kEpochDays; }

int64_t Date_ToUnix(double date) {
  double days = date - kEpochDays;
  if (std::fabs(days) <= 0.0001) days = date;
  const double seconds = days * kSecondsPerDay;
  // Out-of-range values would make the conversion undefined; they split as nothing anyway.
  if (!(seconds > -9.2e18 && seconds < 9.2e18)) return INT64_MIN;
  return static_cast<int64_t>(seconds);
}

bool Date_Split(double date, std::tm* fields) {
  const int64_t seconds = Date_ToUnix(date);
  if (seconds < 0) return false;
  const std::time_t t = static_cast<std::time_t>(seconds);
  return (g_DateLocal ? localtime_r(&t, fields) : gmtime_r(&t, fields)) != nullptr;
}

bool Date_Make(std::tm* fields, int64_t* seconds) {
  const std::time_t t = g_DateLocal ? std::mktime(fields) : timegm(fields);
  if (t < 0) return false;
  *seconds = static_cast<int64_t>(t);
  return true;
}

bool Date_Create(int32_t year, int32_t month, int32_t day, int32_t hour, int32_t minute, int32_t second,
                 double* date) {
  std::tm fields{};
  fields.tm_year = year - 1900 < 0 ? 0 : year - 1900;
  fields.tm_mon = month - 1;
  fields.tm_mday = day;
  fields.tm_hour = hour;
  fields.tm_min = minute;
  fields.tm_sec = second;
  fields.tm_isdst = -1;
  int64_t seconds = 0;
  if (!Date_Make(&fields, &seconds)) return false;
  *date = Date_FromUnix(static_cast<double>(seconds));
  return true;
}

bool Date_Valid(int32_t year, int32_t month, int32_t day, int32_t hour, int32_t minute, int32_t second) {
  if (year < 1970 || month < 1 || month > 12) return false;
  if (day < 1 || day > Date_DaysInMonth(year, month)) return false;
  return hour >= 0 && hour <= 23 && minute >= 0 && minute <= 59 && second >= 0 && second <= 59;
}

double Date_Inc(double date, DateField field, int32_t amount) {
  std::tm fields{};
  if (!Date_Split(date, &fields)) return date;
  switch (field) {
    case DateField::kYear: fields.tm_year += amount; break;
    case DateField::kMonth: fields.tm_mon += amount; break;
    case DateField::kWeek: fields.tm_mday += 7 * amount; break;
    case DateField::kDay: fields.tm_mday += amount; break;
    case DateField::kHour: fields.tm_hour += amount; break;
    case DateField::kMinute: fields.tm_min += amount; break;
    case DateField::kSecond: fields.tm_sec += amount; break;
    case DateField::kCount: break;
  }
  // The wall-clock fields are what changed: let the calendar decide whether summer time applies.
  fields.tm_isdst = -1;
  int64_t seconds = 0;
  if (!Date_Make(&fields, &seconds)) return date;
  return Date_FromUnix(static_cast<double>(seconds));
}

bool Date_LeapYear(int32_t year) { return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0); }

int32_t Date_DaysInMonth(int32_t year, int32_t month) {
  if (month < 1 || month > 12) return 0;
  if (month == 2 && Date_LeapYear(year)) return 29;
  return kMonthDays[month - 1];
}

int64_t Date_SecondOfYear(const std::tm& fields) {
  const int32_t year = fields.tm_year + 1900;
  int64_t days = fields.tm_mday - 1;
  for (int32_t month = 1; month <= fields.tm_mon && month <= 12; ++month) days += Date_DaysInMonth(year, month);
  return days * 86400 + fields.tm_hour * 3600 + fields.tm_min * 60 + fields.tm_sec;
}

std::string Date_Format(double date, const char* format) {
  std::tm fields{};
  if (!Date_Split(date, &fields)) return "invalid time";
  char text[256];
  const size_t size = strftime_l(text, sizeof text, format, &fields, user_time_locale());
  return std::string(text, size);
}

double Date_Now() {
  const int64_t seconds = Run_CurrentTimeSeconds != 0 ? Run_CurrentTimeSeconds : static_cast<int64_t>(std::time(nullptr));
  return Date_FromUnix(static_cast<double>(seconds));
}
