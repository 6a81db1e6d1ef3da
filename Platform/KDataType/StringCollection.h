// StringCollection: an ordered list of texts.

#pragma once

#include "KBase/WideString.h"

#include <vector>

namespace KDataType {

using StringCollection = std::vector<KBase::WideString>;

} // namespace KDataType
