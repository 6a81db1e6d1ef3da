// What the codecs of TextEncoder say of surrogates, and of code units without a character.

#pragma once

#include "CodePage/Private/Tables/TextStream.h"

namespace KCodePage {

inline bool IsLeadingSurrogate(wchar16 unit) noexcept {
    return (unit & 0xFC00u) == 0xD800u;
}

inline bool IsTrailingSurrogate(wchar16 unit) noexcept {
    return (unit & 0xFC00u) == 0xDC00u;
}

// The step for the unit at `in`, which has no character of its own. A surrogate pair fails as one.
inline TextStep UnmappedUnit(const wchar16* in, std::size_t n, bool end, bool hasBestFit) noexcept {
    if (IsLeadingSurrogate(in[0])) {
        if (n == 1 && !end) {
            return {TextStep::Kind::NeedsMore};
        }
        if (n > 1 && IsTrailingSurrogate(in[1])) {
            return {TextStep::Kind::Failed, 2, 0, TextFailureKind::Unmapped};
        }
    }
    if (IsLeadingSurrogate(in[0]) || IsTrailingSurrogate(in[0])) {
        return {TextStep::Kind::Failed, 1, 0, TextFailureKind::UnpairedSurrogate};
    }
    return {TextStep::Kind::Failed, 1, 0, hasBestFit ? TextFailureKind::BestFit : TextFailureKind::Unmapped};
}

} // namespace KCodePage
