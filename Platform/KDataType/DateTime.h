// DateTime: a date and a time of day in UTC, in the Gregorian calendar.
// Thread safety: value type.

#pragma once

#include <cstdint>

namespace KDataType {

struct DateTime {
    unsigned int year = 1601;
    unsigned int month = 1; // 1 to 12
    unsigned int day = 1;   // 1 to 31
    unsigned int hour = 0;
    unsigned int minute = 0;
    unsigned int second = 0;
    unsigned int milliseconds = 0;

    friend bool operator==(const DateTime&, const DateTime&) = default;
};

// Turns a Windows file time (units of 100 ns since 1601-01-01) into `*result`; what is finer than a
// millisecond is dropped. False, as Windows has it, from 2^63 on, and nothing is changed then.
bool DateTimeFromFileTime(std::uint64_t fileTime, DateTime* result) noexcept;

} // namespace KDataType
