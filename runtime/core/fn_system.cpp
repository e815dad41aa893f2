// Wrappers of the date, timer, locale, digest and Base64 builtins; the typed logic is in date.cpp
// and below the builtins here.
#include "core/fn_system.h"

#include <cctype>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <vector>

#include <nettle/base64.h>
#include <nettle/nettle-meta.h>

#include "core/date.h"
#include "core/error.h"
#include "core/fn_value_internal.h"
#include "core/function_table.h"
#include "core/rvalue.h"
#include "core/timing.h"
#include "core/utf8.h"
#include "platform/system.h"

namespace {

using fn_value::set_result;
using fn_value::with_args;

// ---- Language ids ------------------------------------------------------------------------------
// The system's primary language ids and their ISO 639 codes, in the system's own order; a search
// takes the first row of an id.
struct LanguageRow {
  int32_t id;
  const char* code;
};
constexpr LanguageRow kLanguages[] = {
    {0x36, "af"},  {0x1C, "sq"},  {0x84, "gsw"}, {0x5E, "am"},  {0x01, "ar"},  {0x2B, "hy"},  {0x4D, "as"},
    {0x2C, "az"},  {0x45, "bn"},  {0x6D, "ba"},  {0x2D, "eu"},  {0x23, "be"},  {0x1A, "bs"},  {0x7E, "br"},
    {0x02, "bg"},  {0x03, "ca"},  {0x04, "zh"},  {0x83, "co"},  {0x1A, "hr"},  {0x05, "cs"},  {0x06, "da"},
    {0x8C, "prs"}, {0x65, "dv"},  {0x13, "nl"},  {0x09, "en"},  {0x25, "et"},  {0x38, "fo"},  {0x64, "fil"},
    {0x0B, "fi"},  {0x0C, "fr"},  {0x62, "fy"},  {0x56, "gl"},  {0x37, "ka"},  {0x07, "de"},  {0x08, "el"},
    {0x6F, "kl"},  {0x47, "gu"},  {0x68, "ha"},  {0x0D, "he"},  {0x39, "hi"},  {0x0E, "hu"},  {0x0F, "is"},
    {0x70, "ig"},  {0x21, "id"},  {0x5D, "iu"},  {0x3C, "ga"},  {0x34, "xh"},  {0x35, "zu"},  {0x10, "it"},
    {0x11, "ja"},  {0x4B, "kn"},  {0x3F, "kk"},  {0x53, "km"},  {0x86, "quc"}, {0x87, "rw"},  {0x41, "sw"},
    {0x57, "kok"}, {0x12, "ko"},  {0x40, "ky"},  {0x54, "lo"},  {0x26, "lv"},  {0x27, "lt"},  {0x2E, "dsb"},
    {0x6E, "lb"},  {0x2F, "mk"},  {0x3E, "ms"},  {0x4C, "ml"},  {0x3A, "mt"},  {0x81, "mi"},  {0x7A, "arn"},
    {0x4E, "mr"},  {0x7C, "moh"}, {0x50, "mn"},  {0x61, "ne"},  {0x14, "nb"},  {0x14, "nn"},  {0x82, "oc"},
    {0x48, "or"},  {0x63, "ps"},  {0x29, "fa"},  {0x15, "pl"},  {0x16, "pt"},  {0x46, "pa"},  {0x6B, "quz"},
    {0x18, "ro"},  {0x17, "rm"},  {0x19, "ru"},  {0x3B, "se"},  {0x4F, "sa"},  {0x91, "gd"},  {0x1A, "sr"},
    {0x6C, "nso"}, {0x32, "tn"},  {0x5B, "si"},  {0x1B, "sk"},  {0x24, "sl"},  {0x0A, "es"},  {0x1D, "sv"},
    {0x5A, "syr"}, {0x28, "tg"},  {0x5F, "tzm"}, {0x49, "ta"},  {0x44, "tt"},  {0x4A, "te"},  {0x1E, "th"},
    {0x51, "bo"},  {0x1F, "tr"},  {0x42, "tk"},  {0x22, "uk"},  {0x2E, "hsb"}, {0x20, "ur"},  {0x80, "ug"},
    {0x43, "uz"},  {0x2A, "vi"},  {0x52, "cy"},  {0x88, "wo"},  {0x85, "sah"}, {0x78, "ii"},  {0x6A, "yo"},
};

// Older or other names of languages that the locale database still uses.
struct LanguageAlias {
  const char* name;
  const char* code;
};
constexpr LanguageAlias kLanguageAliases[] = {{"iw", "he"}, {"in", "id"}, {"no", "nb"}, {"tl", "fil"}, {"qut", "quc"}};

int32_t language_id(const std::string& code) {
  for (const LanguageRow& row : kLanguages) {
    if (code == row.code) return row.id;
  }
  return -1;
}

// The locale name without its codeset and modifier: "pt_BR.UTF-8@x" gives "pt_BR".
std::string_view locale_base(std::string_view name) {
  const size_t end = name.find_first_of(".@");
  return end == std::string_view::npos ? name : name.substr(0, end);
}

bool is_c_locale(std::string_view base) { return base.empty() || base == "C" || base == "POSIX"; }

// ---- Digests -------------------------------------------------------------------------------------
std::string hex(const uint8_t* bytes, size_t size) {
  static const char kDigits[] = "0123456789abcdef";
  std::string out(size * 2, '0');
  for (size_t i = 0; i < size; ++i) {
    out[2 * i] = kDigits[bytes[i] >> 4];
    out[2 * i + 1] = kDigits[bytes[i] & 15];
  }
  return out;
}

std::string_view arg_text(const RValue* argv, int n) { return KVGetString(argv, n); }

void set_text(RValue* result, const std::string& text) {
  RValue value = RV_Undefined();
  RV_SetStringLen(&value, text.data(), static_cast<int32_t>(text.size()));
  set_result(result, value);
}

void set_real(RValue* result, double value) { set_result(result, RV_Real(value)); }

// ---- Dates ---------------------------------------------------------------------------------------
#define KV_BUILTIN(name) void name(RValue* result, CInstance*, CInstance*, [[maybe_unused]] int argc, [[maybe_unused]] RValue* argv)

KV_BUILTIN(F_DateCurrentDatetime) { set_real(result, Date_Now()); }

KV_BUILTIN(F_DateCreateDatetime) {
  double date = 0.0;
  if (!Date_Create(KVGetInt32(argv, 0), KVGetInt32(argv, 1), KVGetInt32(argv, 2), KVGetInt32(argv, 3),
                   KVGetInt32(argv, 4), KVGetInt32(argv, 5), &date)) {
    KVError("invalid date conversion - dates earlier than 1 Jan 1970 will be incorrect");
    return;
  }
  set_real(result, date);
}

KV_BUILTIN(F_DateValidDatetime) {
  set_result(result, RV_Real(Date_Valid(KVGetInt32(argv, 0), KVGetInt32(argv, 1), KVGetInt32(argv, 2),
                                        KVGetInt32(argv, 3), KVGetInt32(argv, 4), KVGetInt32(argv, 5))
                                 ? 1.0
                                 : 0.0));
}

template <DateField Field>
KV_BUILTIN(F_DateInc) {
  set_real(result, Date_Inc(KVGetReal(argv, 0), Field, KVGetInt32(argv, 1)));
}

// The calendar fields the readers give: -1 for a date that can't be taken apart.
enum class Reader { kYear, kMonth, kDay, kHour, kMinute, kSecond, kWeekday };

template <Reader Which>
KV_BUILTIN(F_DateGet) {
  std::tm fields{};
  if (!Date_Split(KVGetReal(argv, 0), &fields)) {
    set_real(result, -1.0);
    return;
  }
  int32_t value = 0;
  switch (Which) {
    case Reader::kYear: value = fields.tm_year + 1900; break;
    case Reader::kMonth: value = fields.tm_mon + 1; break;
    case Reader::kDay: value = fields.tm_mday; break;
    case Reader::kHour: value = fields.tm_hour; break;
    case Reader::kMinute: value = fields.tm_min; break;
    case Reader::kSecond: value = fields.tm_sec; break;
    case Reader::kWeekday: value = fields.tm_wday; break;
  }
  set_real(result, value);
}

int64_t second_of_year(const RValue* argv) {
  std::tm fields{};
  return Date_Split(KVGetReal(argv, 0), &fields) ? Date_SecondOfYear(fields) : 0;
}

// date_get_second_of_year and the coarser counts: whole units since the start of the year.
template <int64_t Unit>
KV_BUILTIN(F_DateOfYear) {
  set_real(result, static_cast<double>(second_of_year(argv) / Unit));
}

KV_BUILTIN(F_DateGetWeek) { set_real(result, std::floor(static_cast<double>(second_of_year(argv) / 86400) / 7.0)); }

// The spans: the size of the difference in days, times the factor of the unit.
template <int Unit>
KV_BUILTIN(F_DateSpan) {
  static constexpr double kFactors[] = {0.0027378507871321013, 0.03285420944558522, 1.0 / 7.0, 1.0, 24.0, 1440.0, 86400.0};
  const double days = std::fabs(KVGetReal(argv, 0) - KVGetReal(argv, 1));
  set_real(result, Unit == 2 ? days / 7.0 : days * kFactors[Unit]);
}

double sign_of(double difference) { return difference < 0 ? -1.0 : (difference > 0 ? 1.0 : 0.0); }
double whole_days(double date) { return std::floor(date); }
double time_part(double date) { return date - std::floor(date); }

KV_BUILTIN(F_DateCompareDatetime) { set_real(result, sign_of(KVGetReal(argv, 0) - KVGetReal(argv, 1))); }
KV_BUILTIN(F_DateCompareDate) {
  set_real(result, sign_of(whole_days(KVGetReal(argv, 0)) - whole_days(KVGetReal(argv, 1))));
}
KV_BUILTIN(F_DateCompareTime) { set_real(result, sign_of(time_part(KVGetReal(argv, 0)) - time_part(KVGetReal(argv, 1)))); }
KV_BUILTIN(F_DateDateOf) { set_real(result, whole_days(KVGetReal(argv, 0))); }
KV_BUILTIN(F_DateTimeOf) { set_real(result, time_part(KVGetReal(argv, 0))); }

template <int Which>
KV_BUILTIN(F_DateString) {
  static constexpr const char* kFormats[] = {"%c", "%x", "%X"};
  set_text(result, Date_Format(KVGetReal(argv, 0), kFormats[Which]));
}

KV_BUILTIN(F_DateDaysInMonth) {
  std::tm fields{};
  if (!Date_Split(KVGetReal(argv, 0), &fields)) {
    set_real(result, -1.0);
    return;
  }
  set_real(result, Date_DaysInMonth(fields.tm_year + 1900, fields.tm_mon + 1));
}

KV_BUILTIN(F_DateDaysInYear) {
  std::tm fields{};
  if (!Date_Split(KVGetReal(argv, 0), &fields)) {
    set_real(result, -1.0);
    return;
  }
  set_real(result, Date_LeapYear(fields.tm_year + 1900) ? 366.0 : 365.0);
}

KV_BUILTIN(F_DateLeapYear) {
  std::tm fields{};
  set_result(result, RV_Bool(Date_Split(KVGetReal(argv, 0), &fields) && Date_LeapYear(fields.tm_year + 1900)));
}

KV_BUILTIN(F_DateIsToday) {
  std::tm date{}, now{};
  const bool today = Date_Split(KVGetReal(argv, 0), &date) && Date_Split(Date_Now(), &now) &&
                     date.tm_year == now.tm_year && date.tm_mon == now.tm_mon && date.tm_mday == now.tm_mday;
  set_result(result, RV_Bool(today));
}

KV_BUILTIN(F_DateSetTimezone) {
  g_DateLocal = KVGetInt32(argv, 0) == 0;
  set_result(result, RV_Undefined());
}

KV_BUILTIN(F_DateGetTimezone) { set_real(result, g_DateLocal ? 0.0 : 1.0); }

// ---- Timer, locale, machine ----------------------------------------------------------------------
KV_BUILTIN(F_GetTimer) { set_real(result, static_cast<double>(Timing_Time())); }

KV_BUILTIN(F_Sleep) {
  const double ms = KVGetReal(argv, 0);
  if (ms > 0) Timing_Wait(static_cast<int64_t>(ms * 1000.0), false);
  set_result(result, RV_Undefined());
}

KV_BUILTIN(F_OsGetLanguage) { set_text(result, System_LanguageCode(System_UserLocaleName())); }
KV_BUILTIN(F_OsGetRegion) { set_text(result, System_RegionCode(System_UserLocaleName())); }

KV_BUILTIN(F_OsIsNetworkConnected) {
  const int32_t mode = argc > 0 ? KVGetInt32(argv, 0) : 1;
  if (mode < 0 || mode > 2) {
    KVError("os_is_network_connected called with unsupported attempt_connection parameter (%d)\n", mode);
    return;
  }
  set_result(result, RV_Bool(Platform_NetworkConnected(mode)));
}

// ---- Digests and Base64 --------------------------------------------------------------------------
KV_BUILTIN(F_Md5Utf8) { set_text(result, System_Md5Hex(arg_text(argv, 0))); }
KV_BUILTIN(F_Sha1Utf8) { set_text(result, System_Sha1Hex(arg_text(argv, 0))); }
KV_BUILTIN(F_Md5Unicode) { set_text(result, System_Md5Hex(System_Utf16Units(arg_text(argv, 0)))); }
KV_BUILTIN(F_Sha1Unicode) { set_text(result, System_Sha1Hex(System_Utf16Units(arg_text(argv, 0)))); }

KV_BUILTIN(F_Base64Encode) { set_text(result, System_Base64Encode(arg_text(argv, 0))); }

KV_BUILTIN(F_Base64Decode) {
  std::string bytes;
  if (!System_Base64Decode(arg_text(argv, 0), &bytes)) bytes.clear();
  set_text(result, bytes);
}

// ---- Calls of mobile and web builds --------------------------------------------------------------
KV_BUILTIN(F_UrlOpen) {
  Platform_OpenUrl(KVGetString(argv, 0));
  set_result(result, RV_Undefined());
}
KV_BUILTIN(F_UrlGetDomain) { set_text(result, ""); }
// A desktop asks no permissions: every one counts as granted, and a request has nothing to do.
KV_BUILTIN(F_OsCheckPermission) { set_result(result, RV_Bool(true)); }
KV_BUILTIN(F_Nothing) { set_result(result, RV_Undefined()); }

#undef KV_BUILTIN

}  // namespace

// ---- Typed routines ------------------------------------------------------------------------------
std::string System_UserLocaleName() {
  for (const char* variable : {"LC_ALL", "LANG"}) {
    const char* value = std::getenv(variable);
    if (value != nullptr && value[0] != '\0') return value;
  }
  return "C";
}

std::string System_LanguageCode(std::string_view locale_name) {
  const std::string_view base = locale_base(locale_name);
  if (is_c_locale(base)) return "en";
  std::string language(base.substr(0, base.find('_')));
  for (char& c : language) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  for (const LanguageAlias& alias : kLanguageAliases) {
    if (language == alias.name) language = alias.code;
  }
  const int32_t id = language_id(language);
  if (id < 0) return "--";
  for (const LanguageRow& row : kLanguages) {
    if (row.id == id) return row.code;
  }
  return "--";
}

std::string System_RegionCode(std::string_view locale_name) {
  const std::string_view base = locale_base(locale_name);
  if (is_c_locale(base)) return "US";
  const size_t underscore = base.find('_');
  if (underscore == std::string_view::npos) return "--";
  const std::string_view territory = base.substr(underscore + 1);
  if (territory.size() != 2 || !std::isalpha(static_cast<unsigned char>(territory[0])) ||
      !std::isalpha(static_cast<unsigned char>(territory[1]))) {
    return "--";
  }
  std::string region(territory);
  for (char& c : region) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return region;
}

std::string System_Utf16Units(std::string_view utf8) {
  std::string units;
  units.reserve(utf8.size() * 2);
  for (size_t pos = 0; pos < utf8.size();) {
    size_t size = 0;
    const uint32_t code_point = utf8_decode(utf8, pos, &size);
    pos += size;
    units.push_back(static_cast<char>(code_point & 0xFF));
    units.push_back(static_cast<char>((code_point >> 8) & 0xFF));
    if (code_point > 0xFFFF) {
      units.push_back(static_cast<char>((code_point >> 16) & 0xFF));
      units.push_back(static_cast<char>((code_point >> 24) & 0xFF));
    }
  }
  return units;
}

namespace {

// The lower-case hex digest of the bytes under one of the library's hash families.
std::string digest_hex(const nettle_hash& hash, std::string_view bytes) {
  std::vector<uint8_t> context(hash.context_size);
  hash.init(context.data());
  hash.update(context.data(), bytes.size(), reinterpret_cast<const uint8_t*>(bytes.data()));
  std::vector<uint8_t> digest(hash.digest_size);
  hash.digest(context.data(), digest.size(), digest.data());
  return hex(digest.data(), digest.size());
}

}  // namespace

std::string System_Md5Hex(std::string_view bytes) { return digest_hex(nettle_md5, bytes); }

std::string System_Sha1Hex(std::string_view bytes) { return digest_hex(nettle_sha1, bytes); }

std::string System_Base64Encode(std::string_view bytes) {
  std::string text(BASE64_ENCODE_RAW_LENGTH(bytes.size()), '\0');
  base64_encode_raw(text.data(), bytes.size(), reinterpret_cast<const uint8_t*>(bytes.data()));
  return text;
}

bool System_Base64Decode(std::string_view text, std::string* bytes) {
  base64_decode_ctx context;
  base64_decode_init(&context);
  bytes->assign(BASE64_DECODE_LENGTH(text.size()), '\0');
  size_t size = bytes->size();
  if (base64_decode_update(&context, &size, reinterpret_cast<uint8_t*>(bytes->data()), text.size(), text.data()) != 1 ||
      base64_decode_final(&context) != 1) {
    bytes->clear();
    return false;
  }
  bytes->resize(size);
  return true;
}

void System_RegisterBuiltins() {
  struct Row {
    const char* name;
    TSL_Builtin handler;
    int argc;
  };
  static const Row kRows[] = {
      {"date_current_datetime", F_DateCurrentDatetime, 0},
      {"date_create_datetime", with_args<F_DateCreateDatetime, 6>, 6},
      {"date_valid_datetime", with_args<F_DateValidDatetime, 6>, 6},
      {"date_inc_year", with_args<F_DateInc<DateField::kYear>, 2>, 2},
      {"date_inc_month", with_args<F_DateInc<DateField::kMonth>, 2>, 2},
      {"date_inc_week", with_args<F_DateInc<DateField::kWeek>, 2>, 2},
      {"date_inc_day", with_args<F_DateInc<DateField::kDay>, 2>, 2},
      {"date_inc_hour", with_args<F_DateInc<DateField::kHour>, 2>, 2},
      {"date_inc_minute", with_args<F_DateInc<DateField::kMinute>, 2>, 2},
      {"date_inc_second", with_args<F_DateInc<DateField::kSecond>, 2>, 2},
      {"date_get_year", with_args<F_DateGet<Reader::kYear>, 1>, 1},
      {"date_get_month", with_args<F_DateGet<Reader::kMonth>, 1>, 1},
      {"date_get_week", with_args<F_DateGetWeek, 1>, 1},
      {"date_get_day", with_args<F_DateGet<Reader::kDay>, 1>, 1},
      {"date_get_hour", with_args<F_DateGet<Reader::kHour>, 1>, 1},
      {"date_get_minute", with_args<F_DateGet<Reader::kMinute>, 1>, 1},
      {"date_get_second", with_args<F_DateGet<Reader::kSecond>, 1>, 1},
      {"date_get_weekday", with_args<F_DateGet<Reader::kWeekday>, 1>, 1},
      {"date_get_day_of_year", with_args<F_DateOfYear<86400>, 1>, 1},
      {"date_get_hour_of_year", with_args<F_DateOfYear<3600>, 1>, 1},
      {"date_get_minute_of_year", with_args<F_DateOfYear<60>, 1>, 1},
      {"date_get_second_of_year", with_args<F_DateOfYear<1>, 1>, 1},
      {"date_year_span", with_args<F_DateSpan<0>, 2>, 2},
      {"date_month_span", with_args<F_DateSpan<1>, 2>, 2},
      {"date_week_span", with_args<F_DateSpan<2>, 2>, 2},
      {"date_day_span", with_args<F_DateSpan<3>, 2>, 2},
      {"date_hour_span", with_args<F_DateSpan<4>, 2>, 2},
      {"date_minute_span", with_args<F_DateSpan<5>, 2>, 2},
      {"date_second_span", with_args<F_DateSpan<6>, 2>, 2},
      {"date_compare_datetime", with_args<F_DateCompareDatetime, 2>, 2},
      {"date_compare_date", with_args<F_DateCompareDate, 2>, 2},
      {"date_compare_time", with_args<F_DateCompareTime, 2>, 2},
      {"date_date_of", with_args<F_DateDateOf, 1>, 1},
      {"date_time_of", with_args<F_DateTimeOf, 1>, 1},
      {"date_datetime_string", with_args<F_DateString<0>, 1>, 1},
      {"date_date_string", with_args<F_DateString<1>, 1>, 1},
      {"date_time_string", with_args<F_DateString<2>, 1>, 1},
      {"date_days_in_month", with_args<F_DateDaysInMonth, 1>, 1},
      {"date_days_in_year", with_args<F_DateDaysInYear, 1>, 1},
      {"date_leap_year", with_args<F_DateLeapYear, 1>, 1},
      {"date_is_today", with_args<F_DateIsToday, 1>, 1},
      {"date_set_timezone", with_args<F_DateSetTimezone, 1>, 1},
      {"date_get_timezone", F_DateGetTimezone, 0},
      {"get_timer", F_GetTimer, 0},
      {"sleep", with_args<F_Sleep, 1>, 1},
      {"os_get_language", F_OsGetLanguage, 0},
      {"os_get_region", F_OsGetRegion, 0},
      {"os_is_network_connected", F_OsIsNetworkConnected, -1},
      {"md5_string_utf8", with_args<F_Md5Utf8, 1>, 1},
      {"md5_string_unicode", with_args<F_Md5Unicode, 1>, 1},
      {"sha1_string_utf8", with_args<F_Sha1Utf8, 1>, 1},
      {"sha1_string_unicode", with_args<F_Sha1Unicode, 1>, 1},
      {"base64_encode", with_args<F_Base64Encode, 1>, 1},
      {"base64_decode", with_args<F_Base64Decode, 1>, 1},
      {"url_open", with_args<F_UrlOpen, 1>, 1},
      {"url_open_ext", with_args<F_UrlOpen, 1>, 2},
      {"url_open_full", with_args<F_UrlOpen, 1>, 3},
      {"url_get_domain", F_UrlGetDomain, 0},
      {"os_request_permission", F_Nothing, 1},
      {"os_check_permission", F_OsCheckPermission, 1},
      {"os_powersave_enable", F_Nothing, 1},
      {"os_lock_orientation", F_Nothing, 1},
      {"os_set_orientation_lock", F_Nothing, 2},
  };
  for (const Row& row : kRows) Function_Add(row.name, row.handler, row.argc, 0);
}
