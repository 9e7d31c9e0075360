// Heap blocks and bounded copies over the C library.

#include "mdc.h"

#include <cstdlib>
#include <string_view>

#include "failures.h"
#include "text/writer.h"

void *mdc_malloc(size_t size) {
    void *block = std::malloc(size > 0 ? size : 1);
    if (block == nullptr) {
        kv::raise_no_memory("mdc", __LINE__);
    }
    return block;
}

void mdc_free(void *block) {
    std::free(block);
}

size_t mdc_strlcpy(char *destination, const char *source, size_t capacity) {
    const std::string_view text{source};
    if (capacity > 0) {
        text::copy_text(text, destination, capacity);
    }
    return text.size();
}
