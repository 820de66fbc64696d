// Copying an image file to the start of one or two partitions. The log lines are the callers'.
#pragma once

#include <span>

// The step at which a copy ended.
enum class ImageCopy { kDone, kReadFailed, kWriteFailed };

// Size of the open file in bytes, or -1 when it cannot be examined.
long long image_size(int fd);

// Copies `size` bytes from `source` to every target, in pieces of at most 4096 bytes, from where the descriptors stand.
// A piece that was read short, or written short to any target, ends the copy. The targets are neither cut nor padded:
// bytes behind the image keep their content.
ImageCopy copy_image(int source, long long size, std::span<const int> targets);
