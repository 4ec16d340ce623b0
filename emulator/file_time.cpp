// FILETIME: 100-nanosecond ticks since 1601-01-01 00:00:00 UTC.
#include "file_time.h"

#include <cstdint>

#include "last_error.h"

namespace cades_emulator {
namespace {

constexpr std::int64_t kTicksPerSecond = 10'000'000;
constexpr std::int64_t kSecondsFrom1601To1970 = 11'644'473'600;
constexpr std::int64_t kSecondsPerDay = 86'400;

std::uint64_t ticksOf(const FILETIME& fileTime) {
    return (static_cast<std::uint64_t>(fileTime.dwHighDateTime) << 32) | fileTime.dwLowDateTime;
}

struct CivilDate {
    std::int64_t year;
    unsigned month;
    unsigned day;
};

// Proleptic Gregorian date of a day counted from 1970-01-01 (days may be negative).
CivilDate civilFromDays(std::int64_t days) {
    days += 719468;
    const std::int64_t era = (days >= 0 ? days : days - 146096) / 146097;
    const std::int64_t dayOfEra = days - era * 146097;
    const std::int64_t yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const std::int64_t monthIndex = (5 * dayOfYear + 2) / 153;
    const unsigned day = static_cast<unsigned>(dayOfYear - (153 * monthIndex + 2) / 5 + 1);
    const unsigned month = static_cast<unsigned>(monthIndex < 10 ? monthIndex + 3 : monthIndex - 9);
    const std::int64_t year = yearOfEra + era * 400 + (month <= 2 ? 1 : 0);
    return {year, month, day};
}

}  // namespace

FILETIME unixTimeToFileTime(std::time_t seconds) {
    const std::uint64_t ticks =
        static_cast<std::uint64_t>(static_cast<std::int64_t>(seconds) + kSecondsFrom1601To1970) * kTicksPerSecond;
    return FILETIME{static_cast<DWORD>(ticks & 0xFFFFFFFFu), static_cast<DWORD>(ticks >> 32)};
}

std::optional<std::time_t> fileTimeToUnixTime(const FILETIME& fileTime) {
    const std::uint64_t ticks = ticksOf(fileTime);
    if (ticks > static_cast<std::uint64_t>(INT64_MAX)) return std::nullopt;
    return static_cast<std::time_t>(static_cast<std::int64_t>(ticks) / kTicksPerSecond - kSecondsFrom1601To1970);
}

std::optional<FILETIME> asn1TimeToFileTime(const ASN1_TIME* time) {
    std::tm broken{};
    if (time == nullptr || ASN1_TIME_to_tm(time, &broken) != 1) return std::nullopt;
    return unixTimeToFileTime(timegm(&broken));
}

}  // namespace cades_emulator

using namespace cades_emulator;

extern "C" BOOL FileTimeToSystemTime(const FILETIME* lpFileTime, LPSYSTEMTIME lpSystemTime) {
    if (lpFileTime == nullptr || lpSystemTime == nullptr) return fail(ERROR_INVALID_PARAMETER);
    const std::uint64_t ticks = ticksOf(*lpFileTime);
    if (ticks > static_cast<std::uint64_t>(INT64_MAX)) return fail(ERROR_INVALID_PARAMETER);

    const std::int64_t totalSeconds = static_cast<std::int64_t>(ticks / kTicksPerSecond);
    const std::int64_t daysSince1601 = totalSeconds / kSecondsPerDay;
    const std::int64_t secondOfDay = totalSeconds % kSecondsPerDay;
    const CivilDate date = civilFromDays(daysSince1601 - kSecondsFrom1601To1970 / kSecondsPerDay);

    lpSystemTime->wYear = static_cast<WORD>(date.year);
    lpSystemTime->wMonth = static_cast<WORD>(date.month);
    lpSystemTime->wDay = static_cast<WORD>(date.day);
    lpSystemTime->wDayOfWeek = static_cast<WORD>((daysSince1601 + 1) % 7);  // 1601-01-01 was a Monday
    lpSystemTime->wHour = static_cast<WORD>(secondOfDay / 3600);
    lpSystemTime->wMinute = static_cast<WORD>(secondOfDay / 60 % 60);
    lpSystemTime->wSecond = static_cast<WORD>(secondOfDay % 60);
    lpSystemTime->wMilliseconds = static_cast<WORD>(ticks / 10'000 % 1000);
    return TRUE;
}
