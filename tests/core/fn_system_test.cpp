// The date, timer, locale, digest and Base64 builtins, called by name. Dates are worked in UTC
// (date_set_timezone(1)) so the cases hold on any machine.
#include <cmath>
#include <string>

#include "core/date.h"
#include "core/fn_system.h"
#include "value_test_support.h"

namespace value_test {
namespace {

class FnSystemTest : public ValueBuiltinsTest {
 protected:
  void SetUp() override {
    ValueBuiltinsTest::SetUp();
    System_RegisterBuiltins();
    Call("date_set_timezone", {Val::Real(1)});
  }
  void TearDown() override {
    g_DateLocal = true;
    ValueBuiltinsTest::TearDown();
  }
  double Number(const char* name, std::vector<Val> args) { return RV_ToDouble(*Call(name, args)); }
  double Date(int year, int month, int day, int hour = 0, int minute = 0, int second = 0) {
    return Number("date_create_datetime", {Val::Real(year), Val::Real(month), Val::Real(day), Val::Real(hour),
                                           Val::Real(minute), Val::Real(second)});
  }
};

TEST_F(FnSystemTest, DayCountsConvertToAndFromUnixSeconds) {
  EXPECT_DOUBLE_EQ(Date_FromUnix(0), 25569.0 + 0.5 / 86400);
  EXPECT_EQ(Date_ToUnix(Date_FromUnix(1700000000)), 1700000000) << "the half second survives the round trip";
  EXPECT_EQ(Date_ToUnix(25570.0), 86400);
  EXPECT_EQ(Date_ToUnix(25569.00005), static_cast<int64_t>(25569.00005 * 86400)) << "within 0.0001 the value is kept";
  EXPECT_DOUBLE_EQ(Date(1970, 1, 1), Date_FromUnix(0));
  EXPECT_DOUBLE_EQ(Date(2024, 2, 29, 13, 45, 30), Date_FromUnix(1709214330));
}

TEST_F(FnSystemTest, FieldReadersTakeADateApart) {
  struct Case {
    int y, mo, d, h, mi, s;
    double year, month, day, hour, minute, second, weekday;
  };
  const Case cases[] = {
      {2024, 2, 29, 13, 45, 30, 2024, 2, 29, 13, 45, 30, 4},
      {1970, 1, 2, 0, 0, 0, 1970, 1, 2, 0, 0, 0, 5},
      {2000, 12, 31, 23, 59, 59, 2000, 12, 31, 23, 59, 59, 0},
      {2023, 1, 32, 0, 0, 0, 2023, 2, 1, 0, 0, 0, 3},  // made through mktime, which normalises
      {2023, 3, 5, 25, 61, 0, 2023, 3, 6, 2, 1, 0, 1},
  };
  for (const Case& c : cases) {
    const double date = Date(c.y, c.mo, c.d, c.h, c.mi, c.s);
    SCOPED_TRACE(std::to_string(c.y) + "-" + std::to_string(c.mo) + "-" + std::to_string(c.d));
    const Val v = Val::Real(date);
    EXPECT_EQ(Number("date_get_year", {v}), c.year);
    EXPECT_EQ(Number("date_get_month", {v}), c.month);
    EXPECT_EQ(Number("date_get_day", {v}), c.day);
    EXPECT_EQ(Number("date_get_hour", {v}), c.hour);
    EXPECT_EQ(Number("date_get_minute", {v}), c.minute);
    EXPECT_EQ(Number("date_get_second", {v}), c.second);
    EXPECT_EQ(Number("date_get_weekday", {v}), c.weekday);
  }
}

TEST_F(FnSystemTest, DatesBefore1970CanNeitherBeMadeNorTakenApart) {
  EXPECT_EQ(ErrorRaisedBy([&] { Date(1969, 12, 31, 23, 59, 59); }),
            "invalid date conversion - dates earlier than 1 Jan 1970 will be incorrect");
  const Val early = Val::Real(100.0);
  for (const char* name : {"date_get_year", "date_get_month", "date_get_day", "date_get_weekday"}) {
    EXPECT_EQ(Number(name, {early}), -1) << name;
  }
  for (const char* name : {"date_get_day_of_year", "date_get_second_of_year", "date_get_week"}) {
    EXPECT_EQ(Number(name, {early}), 0) << name;
  }
  EXPECT_EQ(Text("date_datetime_string", {early}), "invalid time");
  EXPECT_EQ(ErrorRaisedBy([&] { Date(1800, 1, 2); }),
            "invalid date conversion - dates earlier than 1 Jan 1970 will be incorrect")
      << "a year below 1900 counts as 1900";
}

TEST_F(FnSystemTest, ValidityFollowsTheCalendar) {
  struct Case {
    int y, mo, d, h, mi, s;
    double valid;
  };
  const Case cases[] = {
      {2023, 2, 29, 0, 0, 0, 0}, {2024, 2, 29, 0, 0, 0, 1}, {2000, 2, 29, 0, 0, 0, 1}, {2100, 2, 29, 0, 0, 0, 0},
      {1969, 6, 1, 0, 0, 0, 0},  {1970, 1, 1, 0, 0, 0, 1},  {2023, 13, 1, 0, 0, 0, 0}, {2023, 0, 1, 0, 0, 0, 0},
      {2023, 4, 31, 0, 0, 0, 0}, {2023, 4, 30, 0, 0, 0, 1}, {2023, 4, 0, 0, 0, 0, 0},  {2023, 1, 1, 24, 0, 0, 0},
      {2023, 1, 1, 23, 59, 59, 1}, {2023, 1, 1, 0, 60, 0, 0}, {2023, 1, 1, 0, 0, 60, 0}, {2023, 1, 1, -1, 0, 0, 0},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(Number("date_valid_datetime", {Val::Real(c.y), Val::Real(c.mo), Val::Real(c.d), Val::Real(c.h),
                                             Val::Real(c.mi), Val::Real(c.s)}),
              c.valid)
        << c.y << "-" << c.mo << "-" << c.d << " " << c.h << ":" << c.mi << ":" << c.s;
  }
}

TEST_F(FnSystemTest, IncrementsNormaliseThroughTheCalendar) {
  struct Case {
    const char* name;
    double from;
    double amount;
    double to;
  };
  const Case cases[] = {
      {"date_inc_month", Date(2023, 1, 31), 1, Date(2023, 3, 3)},
      {"date_inc_month", Date(2024, 1, 31), 1, Date(2024, 3, 2)},
      {"date_inc_month", Date(2023, 11, 15), 3, Date(2024, 2, 15)},
      {"date_inc_month", Date(2023, 3, 15), -3, Date(2022, 12, 15)},
      {"date_inc_year", Date(2024, 2, 29), 1, Date(2025, 3, 1)},
      {"date_inc_week", Date(2023, 12, 28), 1, Date(2024, 1, 4)},
      {"date_inc_day", Date(2024, 2, 28), 1, Date(2024, 2, 29)},
      {"date_inc_day", Date(2023, 2, 28), 1, Date(2023, 3, 1)},
      {"date_inc_hour", Date(2023, 12, 31, 23), 2, Date(2024, 1, 1, 1)},
      {"date_inc_minute", Date(2023, 6, 1, 10, 30), 90, Date(2023, 6, 1, 12, 0)},
      {"date_inc_second", Date(2023, 6, 1), 86400, Date(2023, 6, 2)},
  };
  for (const Case& c : cases) {
    EXPECT_DOUBLE_EQ(Number(c.name, {Val::Real(c.from), Val::Real(c.amount)}), c.to) << c.name << " " << c.amount;
  }
}

TEST_F(FnSystemTest, CountsFromTheStartOfTheYearUseTheMonthTable) {
  struct Case {
    double date;
    double day, hour, minute, second, week;
  };
  const Case cases[] = {
      {Date(2023, 1, 1), 0, 0, 0, 0, 0},
      {Date(2023, 1, 1, 12, 30, 15), 0, 12, 750, 45015, 0},
      {Date(2023, 3, 1), 59, 59 * 24, 59 * 1440, 59 * 86400.0, 8},
      {Date(2024, 3, 1), 60, 60 * 24, 60 * 1440, 60 * 86400.0, 8},
      {Date(2024, 12, 31, 23, 59, 59), 365, 365 * 24 + 23, 365 * 1440 + 1439, 366 * 86400.0 - 1, 52},
  };
  for (const Case& c : cases) {
    const Val v = Val::Real(c.date);
    EXPECT_EQ(Number("date_get_day_of_year", {v}), c.day);
    EXPECT_EQ(Number("date_get_hour_of_year", {v}), c.hour);
    EXPECT_EQ(Number("date_get_minute_of_year", {v}), c.minute);
    EXPECT_EQ(Number("date_get_second_of_year", {v}), c.second);
    EXPECT_EQ(Number("date_get_week", {v}), c.week);
  }
}

TEST_F(FnSystemTest, MonthAndYearLengthsAndLeapYears) {
  struct Case {
    double date;
    double days_in_month, days_in_year, leap;
  };
  const Case cases[] = {
      {Date(2024, 2, 10), 29, 366, 1}, {Date(2023, 2, 10), 28, 365, 0}, {Date(2000, 2, 1), 29, 366, 1},
      {Date(2100, 2, 1), 28, 365, 0},  {Date(2023, 4, 30), 30, 365, 0}, {Date(2023, 12, 31), 31, 365, 0},
  };
  for (const Case& c : cases) {
    const Val v = Val::Real(c.date);
    EXPECT_EQ(Number("date_days_in_month", {v}), c.days_in_month);
    EXPECT_EQ(Number("date_days_in_year", {v}), c.days_in_year);
    EXPECT_EQ(Number("date_leap_year", {v}), c.leap);
  }
}

TEST_F(FnSystemTest, SpansAreNeverNegativeAndComparisonsLookAtTheirPart) {
  const double a = 45000.25, b = 45001.75;
  struct Span {
    const char* name;
    double expected;
  };
  const Span spans[] = {
      {"date_year_span", 1.5 * 0.0027378507871321013}, {"date_month_span", 1.5 * 0.03285420944558522},
      {"date_week_span", 1.5 / 7},                     {"date_day_span", 1.5},
      {"date_hour_span", 36},                          {"date_minute_span", 2160},
      {"date_second_span", 129600},
  };
  for (const Span& s : spans) {
    EXPECT_DOUBLE_EQ(Number(s.name, {Val::Real(a), Val::Real(b)}), s.expected) << s.name;
    EXPECT_DOUBLE_EQ(Number(s.name, {Val::Real(b), Val::Real(a)}), s.expected) << s.name;
  }
  struct Compare {
    const char* name;
    double x, y, expected;
  };
  const Compare compares[] = {
      {"date_compare_datetime", a, b, -1}, {"date_compare_datetime", b, a, 1}, {"date_compare_datetime", a, a, 0},
      {"date_compare_date", 45000.1, 45000.9, 0}, {"date_compare_date", 45001.1, 45000.9, 1},
      {"date_compare_time", 45000.1, 45009.1, 0}, {"date_compare_time", 45009.2, 45000.9, -1},
  };
  for (const Compare& c : compares) EXPECT_EQ(Number(c.name, {Val::Real(c.x), Val::Real(c.y)}), c.expected) << c.name;
  EXPECT_EQ(Number("date_date_of", {Val::Real(b)}), 45001);
  EXPECT_DOUBLE_EQ(Number("date_time_of", {Val::Real(b)}), 0.75);
}

TEST_F(FnSystemTest, NowHasAWholeDayPartAndIsToday) {
  const double now = Number("date_current_datetime", {});
  const double day = Number("date_date_of", {Val::Real(now)});
  const double time = Number("date_time_of", {Val::Real(now)});
  EXPECT_EQ(day, std::floor(day));
  EXPECT_GE(time, 0.0);
  EXPECT_LT(time, 1.0);
  EXPECT_EQ(Number("date_is_today", {Val::Real(now)}), 1);
  EXPECT_EQ(Number("date_is_today", {Val::Real(now - 1)}), 0);
  EXPECT_EQ(Number("date_is_today", {Val::Real(now + 366)}), 0);
}

TEST_F(FnSystemTest, DateStringsAndTheZoneSwitch) {
  const double date = Date(2024, 2, 29, 13, 45, 30);
  const std::string full = Text("date_datetime_string", {Val::Real(date)});
  EXPECT_NE(full.find("2024"), std::string::npos) << full;
  EXPECT_NE(full.find(":45:30"), std::string::npos) << full;
  EXPECT_NE(Text("date_time_string", {Val::Real(date)}).find(":45:30"), std::string::npos);
  EXPECT_NE(Text("date_date_string", {Val::Real(date)}).find("29"), std::string::npos);
  EXPECT_EQ(Number("date_get_timezone", {}), 1);
  Call("date_set_timezone", {Val::Real(0)});
  EXPECT_EQ(Number("date_get_timezone", {}), 0);
  Call("date_set_timezone", {Val::Real(7)});
  EXPECT_EQ(Number("date_get_timezone", {}), 1) << "anything but 0 is UTC";
}

TEST_F(FnSystemTest, LanguageAndRegionComeFromTheLocaleName) {
  struct Case {
    const char* locale;
    const char* language;
    const char* region;
  };
  const Case cases[] = {
      {"pt_BR.UTF-8", "pt", "BR"}, {"de_DE@euro", "de", "DE"}, {"gsw_CH", "gsw", "CH"}, {"af_ZA", "af", "ZA"},
      {"yo_NG", "yo", "NG"},       {"nn_NO.UTF-8", "nb", "NO"}, {"hr_HR", "bs", "HR"},  {"iw_IL", "he", "IL"},
      {"C", "en", "US"},           {"POSIX", "en", "US"},       {"C.UTF-8", "en", "US"}, {"xx_YY", "--", "YY"},
      {"eo", "--", "--"},          {"fr", "fr", "--"},          {"en_us", "en", "US"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(System_LanguageCode(c.locale), c.language) << c.locale;
    EXPECT_EQ(System_RegionCode(c.locale), c.region) << c.locale;
  }
}

TEST_F(FnSystemTest, DigestsAndBase64) {
  struct Case {
    const char* name;
    const char* input;
    const char* expected;
  };
  const Case cases[] = {
      {"md5_string_utf8", "", "d41d8cd98f00b204e9800998ecf8427e"},
      {"md5_string_utf8", "abc", "900150983cd24fb0d6963f7d28e17f72"},
      {"sha1_string_utf8", "abc", "a9993e364706816aba3e25717850c26c9cd0d89d"},
      {"sha1_string_utf8", "h\xE2\x82\xACx", "a8ed9cc9c1ffcce5889e5439348602bb9862b819"},
      {"md5_string_unicode", "abc", "ce1473cf80c6b3fda8e3dfc006adc315"},
      {"sha1_string_unicode", "abc", "9f04f41a848514162050e3d68c1a7abb441dc2b5"},
      // A code point above 0xFFFF is its low 16 bits and then a unit of the bits above.
      {"md5_string_unicode", "h\xE2\x82\xACx\xF0\x9F\x98\x80", "2f55a53d21bedc6a4aeba2ffad17c5d5"},
      {"sha1_string_unicode", "h\xE2\x82\xACx\xF0\x9F\x98\x80", "930dac7d07f49956ab91534c339d17e011a37f7b"},
      {"base64_encode", "", ""},
      {"base64_encode", "f", "Zg=="},
      {"base64_encode", "fo", "Zm8="},
      {"base64_encode", "foobar", "Zm9vYmFy"},
      {"base64_encode", "\xFF\xFE?", "//4/"},
      {"base64_decode", "Zm9vYmE=", "fooba"},
      {"base64_decode", "//4/", "\xFF\xFE?"},
      {"base64_decode", "!!!!", ""},
  };
  for (const Case& c : cases) EXPECT_EQ(Text(c.name, {Val::Str(c.input)}), c.expected) << c.name << " " << c.input;
}

TEST_F(FnSystemTest, TimerAndNetworkModes) {
  const double t0 = Number("get_timer", {});
  Call("sleep", {Val::Real(2)});
  EXPECT_GE(Number("get_timer", {}) - t0, 2000.0);
  for (int mode : {0, 1, 2}) {
    EXPECT_EQ(Call("os_is_network_connected", {Val::Real(mode)}).kind(), kRVBool) << mode;
  }
  EXPECT_EQ(Raised("os_is_network_connected", {Val::Real(3)}),
            "os_is_network_connected called with unsupported attempt_connection parameter (3)\n");
}

}  // namespace
}  // namespace value_test
