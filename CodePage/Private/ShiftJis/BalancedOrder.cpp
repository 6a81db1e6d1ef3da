#include "CodePage/Private/ShiftJis/BalancedOrder.h"

namespace KCodePage {

namespace {

struct Range {
    std::size_t begin;
    std::size_t end;
};

} // namespace

std::vector<std::size_t> BalancedOrder(std::size_t count) {
    std::vector<std::size_t> order;
    order.reserve(count);
    // Each range of a level gives its middle, and leaves what is on both sides to the next level.
    for (std::vector<Range> level{{0, count}}; !level.empty();) {
        std::vector<Range> next;
        for (const Range range : level) {
            if (range.begin == range.end) {
                continue;
            }
            const std::size_t middle = range.begin + (range.end - range.begin - 1) / 2;
            order.push_back(middle);
            next.push_back({range.begin, middle});
            next.push_back({middle + 1, range.end});
        }
        level.swap(next);
    }
    return order;
}

} // namespace KCodePage
