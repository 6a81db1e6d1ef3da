// ReturnPtr: what a function returns that hands a new, uncounted object to its caller, who then owns it.

#pragma once

#include <memory>

namespace KBase {

// Ends an object with delete.
template <class T>
using DeleteOperatorGeneric = std::default_delete<T>;

template <class T, class Deleter = DeleteOperatorGeneric<T>>
using ReturnPtr = std::unique_ptr<T, Deleter>;

} // namespace KBase
