#include "platform/linux/core/descriptors.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>

namespace korvex::platform {

bool WriteWhole(int descriptor, std::string_view content)
{
    while (!content.empty()) {
        const ssize_t count = write(descriptor, content.data(), content.size());
        if (count < 0 && errno != EINTR)
            return false;
        content.remove_prefix(count < 0 ? 0 : static_cast<size_t>(count));
    }
    return true;
}

bool ReadWhole(int descriptor, size_t limit, std::string* content)
{
    std::array<char, 16384> block{};
    for (;;) {
        const ssize_t count = read(descriptor, block.data(), block.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return count == 0;
        content->append(block.data(), static_cast<size_t>(count));
        if (content->size() > limit) {
            errno = EFBIG;
            return false;
        }
    }
}

bool IsReadOnly(const struct stat* status)
{
    return (status->st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0;
}

} // namespace korvex::platform
