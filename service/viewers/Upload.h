// Files that clients send, such as the channels that a set has found. The last file of each user is kept.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Clock.h"
#include "ViewerStore.h"

namespace corvaned {

struct Upload {
    std::string filename;
    Instant received = 0;
    std::string content;  // any bytes
};

/// Stores a user's file; it replaces an earlier one.
void keepUpload(ViewerStore& viewers, std::string_view user, const Upload& upload);

/// The file that the user sent last.
std::optional<Upload> findUpload(ViewerStore& viewers, std::string_view user);

}  // namespace corvaned
