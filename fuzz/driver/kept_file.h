// Files in memory that are kept open from one case to the next.
#ifndef FUZZ_KEPT_FILE_H
#define FUZZ_KEPT_FILE_H

#include <array>
#include <cstddef>
#include <string_view>

#include "body_streams.h"
#include "fuzz.h"

namespace fuzz {

// The file for a purpose, 0 or 1, that holds `content` and stands at its begin.
inline int kept_file(std::size_t purpose, std::string_view content) {
    static const std::array<Descriptor, 2> files{memory_file(), memory_file()};
    const int file = files.at(purpose);
    expect(ftruncate(file, 0) == 0 && lseek(file, 0, SEEK_SET) == 0 &&
               pwrite(file, content.data(), content.size(), 0) == static_cast<ssize_t>(content.size()),
           "a file is written");
    return file;
}

}  // namespace fuzz

#endif
