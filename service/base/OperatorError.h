// Errors that the operator of corvaned can correct: a missing file, a port in use, a broken listing. main.cpp prints
// what() as one line and exits with code 1. Any other exception is a defect of corvaned.
#pragma once

#include <stdexcept>

namespace corvaned {

/// what() is one complete line: what is wrong, where, and what to do about it.
class OperatorError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace corvaned
