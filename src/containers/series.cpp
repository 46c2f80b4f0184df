#include "containers/series.h"

#include <algorithm>
#include <cmath>

namespace fk::series {

using buffers::slot;

namespace {

// The default-slot value of a family for a given default (the marker asks for the missing value).
void encodeDefault(Family f, double d, uint8_t* out) {
    const bool marker = isMissingMarker(d);
    switch (f) {
    case Family::Number: {
        double v = marker ? kMissing : d;
        std::memcpy(out, &v, 8);
        break;
    }
    case Family::Float: {
        float v = marker ? static_cast<float>(kMissing) : static_cast<float>(d);
        std::memcpy(out, &v, 4);
        break;
    }
    case Family::Long: {
        int32_t v = INT32_MIN;
        if (!marker && std::isfinite(d) && d < 2147483648.0 && d > -2147483649.0) v = static_cast<int32_t>(d);
        std::memcpy(out, &v, 4);
        break;
    }
    case Family::Bool: {
        uint8_t v = 128;
        if (!marker && std::isfinite(d) && d > -129.0 && d < 256.0)
            v = static_cast<uint8_t>(static_cast<int32_t>(d));
        out[0] = v;
        break;
    }
    case Family::Text:
        out[0] = 0;
        break;
    case Family::Short: {
        int16_t v = INT16_MIN;
        if (!marker && !std::isnan(d)) {
            const double t = std::trunc(d);
            v = t >= 32767.0 ? INT16_MAX : t <= -32768.0 ? INT16_MIN : static_cast<int16_t>(t);
        }
        std::memcpy(out, &v, 2);
        break;
    }
    }
}

bool isNumberBuffer(const SharedBuffer* b) { return b && b->kind == kKindNumber; }

} // namespace

bool create(SeriesHandle& h, Family f, int32_t n, double defaultValue) {
    buffers::release(h);
    h.word = 0;
    const FamilyInfo& fam = familyInfo(f);
    const int es = fam.elementSize;
    auto* b = static_cast<SharedBuffer*>(fam.heap->allocate(sizeof(SharedBuffer)));
    if (!b) return false;
    if (n < 0) n = 0;
    void* elems = static_cast<uint64_t>(n + 1) * es > SIZE_MAX / 2
                      ? nullptr
                      : fam.heap->allocate(static_cast<std::size_t>(n + 1) * es);
    if (!elems) {
        elems = fam.heap->allocate(es);
        n = 0;
        if (!elems) {
            fam.heap->allocate(0, b);
            return false;
        }
    }
    b->elements = elems;
    b->kind = kKindUnset;
    b->flags = 0;
    b->references = 1;
    b->count = 0;
    b->capacity = static_cast<int32_t>(fam.heap->blockSize(elems) / es) - 1;
    encodeDefault(f, defaultValue, slot(b, b->capacity, es));
    b->kind = fam.kind;
    h.buffer = b;
    // the slots past the count hold the default, as everywhere
    uint8_t def[8];
    std::memcpy(def, slot(b, b->capacity, es), es);
    buffers::fillSlots(b, 0, b->capacity, def, es);
    if (n >= 1) setCount(h, n, false);
    return true;
}

const void* element(const SeriesHandle& h, int32_t i) {
    const SharedBuffer* b = h.buffer;
    if (!b) return nullptr;
    const int es = buffers::elementSize(b);
    int32_t index = i;
    const int32_t k = h.offset();
    if (k != 0) index = (i >= 0 && i < b->count) ? i - k : -1;
    if (static_cast<uint32_t>(index) >= static_cast<uint32_t>(b->count)) return slot(b, b->capacity, es);
    return b->isConstant() ? slot(b, 0, es) : slot(b, index, es);
}

double number(const SeriesHandle& h, int32_t i) {
    if (!isNumberBuffer(h.buffer)) return kMissing;
    double v;
    std::memcpy(&v, element(h, i), 8);
    return v;
}

double fillValue(const SeriesHandle& h) {
    if (!isNumberBuffer(h.buffer)) return kMissing;
    double v;
    std::memcpy(&v, slot(h.buffer, h.buffer->capacity, 8), 8);
    return v;
}

bool setElementRaw(SeriesHandle& h, int32_t i, const void* value) {
    const int32_t index = i - h.offset();
    if (index < 0 || !h.buffer) return false;
    if (!buffers::mayWrite(h, -1)) return false;
    SharedBuffer* b = h.buffer;
    const int es = buffers::elementSize(b);
    if (index >= b->count) {
        if (b->isConstant()) {
            if (b->capacity < 1) buffers::setCapacity(h, 1, true);
            b = h.buffer;
            if (b->capacity >= 1 && b->count >= 1) b->count = index + 1;
        } else {
            if (index >= b->capacity) buffers::setCapacity(h, buffers::growthCapacity(index), true);
            b = h.buffer;
            if (index < b->capacity) {
                // the slots between the old count and the index already hold the default
                b->count = index + 1;
            }
        }
        if (b->count <= index) return false;
    }
    std::memcpy(slot(b, b->isConstant() ? 0 : index, es), value, es);
    return true;
}

bool setNumber(SeriesHandle& h, int32_t i, double v) {
    if (!isNumberBuffer(h.buffer)) return false;
    return setElementRaw(h, i, &v);
}

bool fill(SeriesHandle& h, int32_t from, int32_t to) {
    if (!buffers::mayWrite(h, -1)) return false;
    SharedBuffer* b = h.buffer;
    const int es = buffers::elementSize(b);
    const uint8_t* def = slot(b, b->capacity, es);
    if (b->isConstant()) {
        if (from < b->count && b->capacity >= 1) std::memcpy(slot(b, 0, es), def, es);
        return true;
    }
    if (to == -1) to = b->count - 1;
    to = std::min(to, b->capacity - 1);
    if (from < 0 || to < from) return true;
    bool zero = true;
    for (int k = 0; k < es; ++k) zero = zero && def[k] == 0;
    if (zero && to > from) {
        std::memset(slot(b, from, es), 0, static_cast<std::size_t>(to - from + 1) * es);
    } else {
        uint8_t value[8];
        std::memcpy(value, def, es);
        buffers::fillSlots(b, from, to + 1, value, es);
    }
    return true;
}

bool setCount(SeriesHandle& h, int32_t n, bool keep) {
    SharedBuffer* b = h.buffer;
    if (!b || n < 0) return false;
    if (n == b->count && keep) return true;
    if (!buffers::mayWrite(h, n)) return false;
    b = h.buffer;
    const int es = buffers::elementSize(b);
    uint8_t def[8];
    std::memcpy(def, slot(b, b->capacity, es), es);
    // a constant's count is its logical length and may pass its capacity: only real slots are filled
    auto put = [&](int32_t from, int32_t to) {
        buffers::fillSlots(b, from, std::min(to, b->capacity), def, es);
    };
    if (b->isConstant() && n >= 1) {
        if (!keep && b->capacity >= 1) std::memcpy(slot(b, 0, es), def, es);
        b->count = n;
        return true;
    }
    if (n <= b->capacity) {
        if (!keep) put(0, std::max(b->count, n));
        else if (n < b->count) put(n, b->count);
        else put(b->count, n);
    } else {
        if (!buffers::setCapacity(h, n, keep)) return false;
        b = h.buffer;
        n = std::min(n, b->capacity);
    }
    b->count = n;
    if (n == 0) b->flags &= static_cast<uint8_t>(~kFlagConstant);
    return true;
}

bool setConstantRaw(SeriesHandle& h, const void* value, int32_t n) {
    if (!buffers::mayWrite(h, -1)) return false;
    SharedBuffer* b = h.buffer;
    const int es = buffers::elementSize(b);
    if (n >= 1) {
        if (!b->isConstant()) {
            buffers::setCapacity(h, 1, false);
            b = h.buffer;
            if (b->capacity < 1) return false;
            if (b->capacity > 1) {
                // a constant keeps one slot and its default slot
                std::memcpy(slot(b, 1, es), slot(b, b->capacity, es), es);
                b->capacity = 1;
            }
            b->flags |= kFlagConstant;
        }
        std::memcpy(slot(b, 0, es), value, es);
        b->count = n;
        return true;
    }
    return setCount(h, 0, false);
}

bool setConstantNumber(SeriesHandle& h, double v, int32_t n) {
    if (!isNumberBuffer(h.buffer)) return false;
    return setConstantRaw(h, &v, n);
}

void NumberView::resolve(const SeriesHandle* h) {
    static const double standardFill = kMissing;
    data_ = &standardFill;
    fill_ = kMissing;
    lo_ = shift_ = count_ = 0;
    mask_ = 0;
    span_ = 0;
    if (!h || !isNumberBuffer(h->buffer)) return;
    const SharedBuffer* b = h->buffer;
    data_ = static_cast<const double*>(b->elements);
    fill_ = data_[b->capacity];
    count_ = b->count;
    const int32_t k = h->offset();
    shift_ = k;
    if (count_ <= 0) return;
    if (b->isConstant()) {
        mask_ = 0;
        lo_ = std::max(0, k);
        span_ = static_cast<uint32_t>(INT32_MAX - lo_);
    } else {
        mask_ = -1;
        lo_ = std::max(0, k);
        const int32_t hi = k >= 0 ? count_ : count_ + k;
        span_ = hi > lo_ ? static_cast<uint32_t>(hi - lo_) : 0;
    }
}

NumberOut::NumberOut(SeriesHandle* h, int32_t expectedCount) : h_(h) {
    if (!h || !isNumberBuffer(h->buffer)) return;
    fill_ = fillValue(*h);
    if (h->offset() != 0 || h->buffer->isConstant()) return;
    if (!buffers::mayWrite(*h, -1)) return;
    if (expectedCount > h->buffer->capacity)
        buffers::setCapacity(*h, buffers::growthCapacity(expectedCount - 1), true);
    SharedBuffer* b = h->buffer;
    data_ = static_cast<double*>(b->elements);
    cap_ = b->capacity;
    count0_ = b->count;
    fast_ = true;
}

void NumberOut::finish() {
    if (fast_ && hi_ >= h_->buffer->count) h_->buffer->count = hi_ + 1;
}

void NumberOut::setSlow(int32_t i, double v) {
    if (!h_ || !h_->buffer) return;
    if (!fast_) {
        setNumber(*h_, i, v);
        return;
    }
    // past the capacity grown for: write through the element write, then go on in place
    finish();
    if (!setNumber(*h_, i, v)) return;
    SharedBuffer* b = h_->buffer;
    data_ = static_cast<double*>(b->elements);
    cap_ = b->capacity;
    count0_ = b->count;
    hi_ = b->count - 1;
}

double NumberOut::getSlow(int32_t i) const { return h_ ? number(*h_, i) : kMissing; }

} // namespace fk::series
