// Failure: what stops the command: one line that says what failed, on what, and what to do.

#pragma once

#include <stdexcept>

class Failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// A command line that asks for what there is not. It has an exit status of its own.
class UsageFailure : public Failure {
public:
    using Failure::Failure;
};

// Something that was reported already.
class ReportedFailure : public Failure {
public:
    using Failure::Failure;
};
