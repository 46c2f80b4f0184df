#include "containers/text.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "containers/series.h"

namespace fk::text {

namespace {
bool isText(const SharedBuffer* b) { return b && b->kind == kKindText; }
} // namespace

bool create(TextHandle& h) { return series::create(h, Family::Text, 0, 0.0); }

const char* chars(const TextHandle& h) {
    if (!isText(h.buffer)) return "";
    const int32_t k = h.offset();
    const SharedBuffer* b = h.buffer;
    if (k < 0 || k > b->count) return "";
    return static_cast<const char*>(b->elements) + k;
}

int32_t length(const TextHandle& h) {
    if (!isText(h.buffer)) return 0;
    const int32_t k = h.offset();
    const SharedBuffer* b = h.buffer;
    if (k < 0 || k > b->count) return 0;
    return b->count - k;
}

void appendBytes(TextHandle& target, const char* bytes, int32_t n) {
    if (n < 1 || !isText(target.buffer)) return;
    if (!buffers::mayWrite(target, -1)) return;
    SharedBuffer* b = target.buffer;
    auto* c = static_cast<char*>(b->elements);
    const int32_t old = b->count;
    const int64_t wanted = static_cast<int64_t>(old) + n;
    if (wanted > b->capacity) {
        platform::HeapHolder* heap = familyInfo(Family::Text).heap;
        if (wanted + 1 < INT32_MAX) {
            void* grown = heap->allocate(static_cast<std::size_t>(wanted + 1), b->elements);
            b->elements = grown;
            b->capacity = static_cast<int32_t>(heap->blockSize(grown)) - 1;
        }
        c = static_cast<char*>(b->elements);
        c[b->capacity] = 0;
        c[b->count] = 0;
    }
    if (b->capacity < wanted) n = b->capacity - old;
    if (n < 1) return;
    std::memmove(c + old, bytes, static_cast<std::size_t>(n));
    c[old + n] = 0;
    b->count = old + n;
}

void appendText(TextHandle& target, const TextHandle& source, int32_t n) {
    n = std::min(n, length(source));
    if (n < 1) return;
    if (target.buffer == source.buffer) {
        // appending a text to itself: the bytes move when the buffer grows
        const std::string copy(view(source).substr(0, static_cast<std::size_t>(n)));
        appendBytes(target, copy.data(), n);
        return;
    }
    appendBytes(target, chars(source), n);
}

void appendString(TextHandle& target, const char* s, int32_t n) {
    if (!s) return;
    const std::size_t len = std::strlen(s);
    const int32_t all = len > static_cast<std::size_t>(INT32_MAX) ? INT32_MAX : static_cast<int32_t>(len);
    appendBytes(target, s, n < 0 ? all : std::min(n, all));
}

namespace {
bool clear(TextHandle& target) {
    if (!isText(target.buffer) || !buffers::mayWrite(target, -1)) return false;
    SharedBuffer* b = target.buffer;
    auto* c = static_cast<char*>(b->elements);
    std::memset(c, 0, static_cast<std::size_t>(b->count));
    b->count = 0;
    b->flags &= static_cast<uint8_t>(~kFlagConstant);
    c[0] = 0;
    c[b->capacity] = 0;
    return true;
}
} // namespace

void assignText(TextHandle& target, const TextHandle& source, int32_t n) {
    if (target.buffer == source.buffer && target.offset() == source.offset()) {
        // assigning a text to itself keeps at most n bytes of it
        if (length(target) > n && n >= 0 && isText(target.buffer) && buffers::mayWrite(target, -1)) {
            SharedBuffer* b = target.buffer;
            auto* c = static_cast<char*>(b->elements);
            const int32_t keep = target.offset() + n;
            std::memset(c + keep, 0, static_cast<std::size_t>(b->count - keep));
            b->count = keep;
        }
        return;
    }
    if (clear(target)) appendText(target, source, n);
}

void assignString(TextHandle& target, const char* s, int32_t n) {
    if (s && isText(target.buffer) && s >= static_cast<const char*>(target.buffer->elements) &&
        s <= static_cast<const char*>(target.buffer->elements) + target.buffer->count) {
        // the source lies inside the target: take a copy first
        const std::string copy(s);
        if (clear(target)) appendString(target, copy.c_str(), n);
        return;
    }
    if (clear(target)) appendString(target, s, n);
}

} // namespace fk::text
