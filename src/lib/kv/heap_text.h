// A text in a block of the heap service, released with its owner.
#ifndef KV_HEAP_TEXT_H
#define KV_HEAP_TEXT_H

#include <memory>

#include "os.h"

namespace kv {

struct FreeBlock {
    void operator()(char *block) const { os_free(block); }
};
using HeapText = std::unique_ptr<char, FreeBlock>;

}  // namespace kv

#endif
