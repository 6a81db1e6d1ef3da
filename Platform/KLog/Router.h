// Router: where a component's log entries of one kind go. The library makes one and writes nothing to it.

#pragma once

#include "KBase/ReturnPtr.h"
#include "KSynch/Locks.h"

#include <string>

namespace KLog {

class Router {
public:
    Router(const char* routerComponent, const char* routerKind)
        : component(routerComponent), kind(routerKind) {}

    const std::string& GetComponent() const noexcept { return component; }
    const std::string& GetKind() const noexcept { return kind; }

private:
    std::string component;
    std::string kind;
};

KBase::ReturnPtr<Router> CreateRouter(const char* component, const char* kind,
                                      KSynch::EnumTesselLockStackCategory category);

// Keeps the logging library initialised while it lives.
class Initializer {};

} // namespace KLog
