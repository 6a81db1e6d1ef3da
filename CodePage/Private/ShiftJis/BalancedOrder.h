// The order in which sorted entries are written to a file, so that a reader who inserts them one by one into
// an unbalanced ordered tree gets a balanced one.

#pragma once

#include <cstddef>
#include <vector>

namespace KCodePage {

// The positions 0 to `count` - 1, level by level from the root of a balanced tree over them, each level in
// ascending order. The middle of an even number of positions is the lower one.
std::vector<std::size_t> BalancedOrder(std::size_t count);

} // namespace KCodePage
