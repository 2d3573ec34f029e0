// Expected errors of the service.
#pragma once

#include <string>

#include "OperatorError.h"

namespace corvaned::test {

/// Runs the call. @return the message of the OperatorError that it throws; "" if it throws none
template <class Call>
std::string operatorErrorOf(const Call& call)
{
    try {
        call();
    } catch (const OperatorError& error) {
        return error.what();
    }
    return "";
}

}  // namespace corvaned::test
