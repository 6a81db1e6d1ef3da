#include "KDataType/DateTime.h"

namespace KDataType {

bool DateTimeFromFileTime(std::uint64_t fileTime, DateTime* result) noexcept {
    if (fileTime >= std::uint64_t{1} << 63) {
        return false;
    }
    const std::uint64_t totalMilliseconds = fileTime / 10000;
    const std::uint64_t totalDays = totalMilliseconds / 86400000;
    const auto ofDay = static_cast<unsigned int>(totalMilliseconds % 86400000);

    // Years that begin in March, so that the leap day is the last of the year; days counted from 1600-03-01,
    // the start of a cycle of 400 years of 146097 days.
    const std::uint64_t days = totalDays + 306;
    const auto cycle = static_cast<unsigned int>(days / 146097);
    const auto ofCycle = static_cast<unsigned int>(days % 146097);
    const unsigned int yearOfCycle = (ofCycle - ofCycle / 1460 + ofCycle / 36524 - ofCycle / 146096) / 365;
    const unsigned int dayOfYear = ofCycle - (365 * yearOfCycle + yearOfCycle / 4 - yearOfCycle / 100);
    const unsigned int monthFromMarch = (5 * dayOfYear + 2) / 153;

    result->day = dayOfYear - (153 * monthFromMarch + 2) / 5 + 1;
    result->month = monthFromMarch < 10 ? monthFromMarch + 3 : monthFromMarch - 9;
    result->year = 1600 + 400 * cycle + yearOfCycle + (result->month <= 2 ? 1 : 0);
    result->hour = ofDay / 3600000;
    result->minute = ofDay / 60000 % 60;
    result->second = ofDay / 1000 % 60;
    result->milliseconds = ofDay % 1000;
    return true;
}

} // namespace KDataType
