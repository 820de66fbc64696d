// Copying an image file to the start of one or two partitions.
#include "ftm/ftm_partition_copy.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>

#include "support/files.h"

namespace {

constexpr long long kPiece = 4096;

bool write_to_all(std::span<const int> targets, const uint8_t* data, size_t size) {
    return std::all_of(targets.begin(), targets.end(),
                       [&](int target) { return write_once(target, data, size) == static_cast<ssize_t>(size); });
}

}  // namespace

long long image_size(int fd) {
    struct stat st {};
    return fstat(fd, &st) == 0 ? static_cast<long long>(st.st_size) : -1;
}

ImageCopy copy_image(int source, long long size, std::span<const int> targets) {
    std::array<uint8_t, kPiece> piece{};
    for (long long left = size; left > 0;) {
        const auto wanted = static_cast<size_t>(std::min(left, kPiece));
        if (read_once(source, piece.data(), wanted) != static_cast<ssize_t>(wanted)) {
            return ImageCopy::kReadFailed;
        }
        if (!write_to_all(targets, piece.data(), wanted)) {
            return ImageCopy::kWriteFailed;
        }
        left -= static_cast<long long>(wanted);
    }
    return ImageCopy::kDone;
}
