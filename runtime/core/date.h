#pragma once
// Dates as scripts see them: a real counting days since 30 December 1899, the time of day being the
// fraction. Dates are taken apart and put together through the C library's calendar (localtime /
// mktime, or gmtime / timegm while the zone is UTC), so a field out of range is normalised the way
// mktime does it: 31 January plus one month is early March. The calendar covers 1 January 1970
// on: an earlier moment can neither be made nor taken apart, and readers report it as such.
// Everything runs on the main thread; the zone switch is process-wide state.
#include <cstdint>
#include <ctime>
#include <string>

// True (the start value): dates are taken apart and made in local time; false: in UTC.
extern bool g_DateLocal;

enum class DateField { kYear, kMonth, kWeek, kDay, kHour, kMinute, kSecond, kCount };

// (seconds + 0.5) / 86400 + 25569: the half second keeps a whole second from rounding down when the
// date is taken apart again.
double Date_FromUnix(double seconds);
// (date - 25569) days, or date itself when that is within 0.0001 of 25569, in whole seconds.
int64_t Date_ToUnix(double date);

// The calendar fields of a date in the current zone; false when the date can't be taken apart.
bool Date_Split(double date, std::tm* fields);
// Seconds since the epoch for calendar fields in the current zone, normalising them; false when
// the fields name no moment the calendar covers.
bool Date_Make(std::tm* fields, int64_t* seconds);

// date_create_datetime: false when the conversion fails (dates before 1970).
bool Date_Create(int32_t year, int32_t month, int32_t day, int32_t hour, int32_t minute, int32_t second,
                 double* date);
// date_valid_datetime: year 1970 on, month 1-12, day within the month, hour 0-23, minute and
// second 0-59.
bool Date_Valid(int32_t year, int32_t month, int32_t day, int32_t hour, int32_t minute, int32_t second);
// Adds amount to one field (a week is 7 days) and normalises; a date that can't be taken apart or
// put together again comes back unchanged.
double Date_Inc(double date, DateField field, int32_t amount);

bool Date_LeapYear(int32_t year);
// 1 to 12; 0 for a month outside that.
int32_t Date_DaysInMonth(int32_t year, int32_t month);
// Seconds from the start of the fields' year, from the month table.
int64_t Date_SecondOfYear(const std::tm& fields);

// strftime of the date in the user's locale (LC_ALL, else LC_TIME, else LANG), the process
// locale untouched; "invalid time" for a date that can't be taken apart.
std::string Date_Format(double date, const char* format);

// The date of the current frame (the seconds the frame driver read at its top), or of the clock
// before the first frame.
double Date_Now();
