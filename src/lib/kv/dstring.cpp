// The dynamic string: a block of the heap service that at least doubles when it is too small.

#include "dstring.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <string_view>

#include "failures.h"
#include "heap_text.h"
#include "os.h"

namespace {

constexpr std::size_t kMinCapacity = 64;
constexpr std::size_t kMaxCapacity = std::numeric_limits<std::int32_t>::max();

// The data of strings that own no block; nothing is ever written there.
constexpr char kEmpty[] = "";  // NOLINT(modernize-avoid-c-arrays)

std::size_t length_of(const dstring *string) {
    return static_cast<std::size_t>(string->length);
}

// A length beyond what a string can have: one below 0, too.
std::size_t checked_length(std::int32_t length) {
    if (length < 0) {
        kv::raise_no_memory("dstring", __LINE__);
    }
    return static_cast<std::size_t>(length);
}

// Makes room for `length` bytes, the first `kept` of which stay. Returns the block that the string had until
// now, if it has another: what is to be put there may lie in it.
kv::HeapText make_room(dstring *string, std::size_t length, std::size_t kept) {
    const auto capacity = static_cast<std::size_t>(string->capacity);
    if (length < capacity || length == 0) {
        return nullptr;
    }
    if (length >= kMaxCapacity) {
        kv::raise_no_memory("dstring", __LINE__);
    }
    const std::size_t larger = std::clamp(std::max(length + 1, capacity * 2), kMinCapacity, kMaxCapacity);
    kv::HeapText block{static_cast<char *>(os_malloc(larger))};
    std::memcpy(block.get(), string->data, kept);
    kv::HeapText old{capacity > 0 ? string->data : nullptr};
    string->data = block.release();
    string->capacity = static_cast<std::int32_t>(larger);
    return old;
}

void end_at(dstring *string, std::size_t length) {
    if (string->capacity > 0) {
        string->data[length] = '\0';
        string->length = static_cast<std::int32_t>(length);
    }
}

[[gnu::noinline]] void put_in_larger_block(dstring *string, std::size_t kept, std::string_view bytes) {
    const std::size_t length = kept + bytes.size();
    const kv::HeapText old = make_room(string, length, kept);
    std::memcpy(string->data + kept, bytes.data(), bytes.size());
    end_at(string, length);
}

// Puts `bytes`, which may lie in the string, behind its first `kept` bytes, and ends it there.
void put(dstring *string, std::size_t kept, std::string_view bytes) {
    if (kept + bytes.size() >= static_cast<std::size_t>(string->capacity)) {
        put_in_larger_block(string, kept, bytes);
        return;
    }
    std::memmove(string->data + kept, bytes.data(), bytes.size());
    end_at(string, kept + bytes.size());
}

}  // namespace

void dstring_init(dstring *string) {
    *string = {const_cast<char *>(kEmpty), 0, 0};  // NOLINT(*-const-cast)
}

void dstring_free(dstring *string) {
    const kv::HeapText old{string->capacity > 0 ? string->data : nullptr};
    dstring_init(string);
}

void dstring_set(dstring *string, const char *text) {
    put(string, 0, text);
}

void dstring_set1(dstring *string, const char *text) {
    put(string, 0, text);
}

void dstring_setN(dstring *string, const char *bytes, int32_t length) {
    put(string, 0, {bytes, checked_length(length)});
}

void dstring_append1(dstring *string, const char *text) {
    put(string, length_of(string), text);
}

void dstring_appendN(dstring *string, const char *bytes, int32_t length) {
    put(string, length_of(string), {bytes, checked_length(length)});
}

void dstring_setLength(dstring *string, int32_t length) {
    const std::size_t wanted = checked_length(length);
    const std::size_t kept = std::min(length_of(string), wanted);
    const kv::HeapText old = make_room(string, wanted, kept);
    if (wanted > kept) {
        std::memset(string->data + kept, 0, wanted - kept);
    }
    end_at(string, wanted);
}
