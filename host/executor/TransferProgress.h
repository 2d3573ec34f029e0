// Counters of an executor's downloads and uploads, for a progress bar.
#pragma once

#include <atomic>
#include <cstdint>

namespace W::host {

/// Totals over all downloads of one executor.  [any thread]
struct DownloadProgress {
    std::atomic<std::uint64_t> files{0};     ///< downloads whose header block has arrived
    std::atomic<std::uint64_t> expected{0};  ///< bytes that these announced; a reply without a length adds nothing
    std::atomic<std::uint64_t> written{0};   ///< bytes
};

/// Totals over all file uploads of one executor.  [any thread]
struct UploadProgress {
    std::atomic<std::uint64_t> expected{0};  ///< bytes of the files
    std::atomic<std::uint64_t> sent{0};      ///< bytes; those that are sent again count once
};

struct TransferProgress {
    DownloadProgress downloads;
    UploadProgress uploads;
};

}  // namespace W::host
