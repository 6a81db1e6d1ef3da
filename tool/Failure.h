// Failure: what stops the command: one line that says what failed, on what, and what to do.

#pragma once

#include <stdexcept>

class Failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};
