#include "KBase/ReferenceCounted.h"

namespace KBase {

ReferenceCounted::~ReferenceCounted() = default;

} // namespace KBase
