#include "KDataType/DateTime.h"

#include <gtest/gtest.h>

#include <chrono>
#include <ostream>

namespace KDataType {

void PrintTo(const DateTime& time, std::ostream* out) {
    *out << time.year << '-' << time.month << '-' << time.day << ' ' << time.hour << ':' << time.minute << ':'
         << time.second << '.' << time.milliseconds;
}

namespace {

DateTime Of(std::uint64_t fileTime) {
    DateTime time;
    EXPECT_TRUE(DateTimeFromFileTime(fileTime, &time));
    return time;
}

TEST(DateTime, KnownFileTimesAreTheirDates) {
    EXPECT_EQ((DateTime{1601, 1, 1, 0, 0, 0, 0}), Of(0));
    EXPECT_EQ((DateTime{1601, 1, 1, 0, 0, 0, 0}), Of(9999));
    EXPECT_EQ((DateTime{1601, 1, 1, 0, 0, 0, 1}), Of(10000));
    EXPECT_EQ((DateTime{1970, 1, 1, 0, 0, 0, 0}), Of(116444736000000000u));
    EXPECT_EQ((DateTime{2000, 2, 29, 23, 59, 59, 999}), Of(125963423999999999u));
    EXPECT_EQ((DateTime{30828, 9, 14, 2, 48, 5, 477}), Of((std::uint64_t{1} << 63) - 1));
}

TEST(DateTime, EveryDayOfEightCenturiesIsTheCalendarsDay) {
    using namespace std::chrono;
    for (sys_days day = sys_days(year(1601) / 1 / 1); day < sys_days(year(2401) / 1 / 1); day += days(1)) {
        const year_month_day date(day);
        const auto sinceStart = static_cast<std::uint64_t>((day - sys_days(year(1601) / 1 / 1)).count());
        const DateTime expected{static_cast<unsigned>(static_cast<int>(date.year())),
                                static_cast<unsigned>(date.month()),
                                static_cast<unsigned>(date.day()),
                                12,
                                34,
                                56,
                                789};
        ASSERT_EQ(expected, Of(sinceStart * 864000000000u + 452967890000u));
    }
}

TEST(DateTime, FileTimesFrom2To63OnAreRefused) {
    const DateTime before{1999, 12, 31, 23, 59, 58, 57};
    DateTime time = before;
    EXPECT_FALSE(DateTimeFromFileTime(std::uint64_t{1} << 63, &time));
    EXPECT_FALSE(DateTimeFromFileTime(~std::uint64_t{0}, &time));
    EXPECT_EQ(before, time);
}

} // namespace

} // namespace KDataType
