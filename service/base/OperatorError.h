// Faults that whoever runs corvaned can mend: a file that is not there, a port in use, a listing that is broken.
// main.cpp prints what() as one line and ends with exit code 1; everything else that is thrown is a defect of ours.
#pragma once

#include <stdexcept>

namespace corvaned {

/// what() is one complete line: what is wrong, where, and what to do about it.
class OperatorError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace corvaned
