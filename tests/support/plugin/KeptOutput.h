// The output of a device's debug facility, kept by a test.
#pragma once

#include <cstdarg>
#include <cstdio>
#include <string>

#include "CCDebug.h"

namespace W::test {

/// Appends everything that is printed to `text`.
class KeptOutput final : public CCDebugOutput {
public:
    void vprintf(const char* format, va_list* arguments) override
    {
        char buffer[200];
        std::vsnprintf(buffer, sizeof(buffer), format, *arguments);
        text += buffer;
    }
    void write(const char* more) override { text += more; }

    std::string text;
};

}  // namespace W::test
