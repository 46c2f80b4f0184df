// Plain arrays read and written by bar number: what a loop works on once a series' storage is
// known to hold every bar it touches, so that nothing in the loop tests a range or calls out.
#pragma once
#include <cstdint>
#include <utility>

#include "containers/series.h"

namespace fk {

// Bars read from one plain array (q[0] is bar `from`), as a series' storage gives them.
struct PlainBars {
    const double* q;
    int32_t from;
    double operator[](int32_t i) const { return q[i - from]; }
};

// Bars written into one plain array (q[0] is bar `from`).
struct PlainOut {
    double* q;
    int32_t from;
    double blank;
    void set(int32_t i, double v) const { q[i - from] = v; }
    double get(int32_t i) const { return q[i - from]; }
    double fill() const { return blank; }
};

// Bars written into one plain array (q[0] is bar `from`) by a loop that may skip bars: it keeps
// the last bar written, where the output's count settles (NumberOut::wrote).
struct SparseOut {
    double* q;
    int32_t from;
    int32_t last = -1;
    void set(int32_t i, double v) {
        q[i - from] = v;
        last = i;
    }
};

// Calls body(in, out) with bars 0 .. end - 1 of the input as one plain array and the output
// from bar `from` on as a SparseOut where both are stored that way, otherwise with the view and
// the output themselves. The output's count settles at the last bar the body wrote.
template <class Body>
void withSparseOut(const series::NumberView& in, series::NumberOut& out, int32_t from, int32_t end, Body&& body) {
    if (const double* src = in.storage(0, end))
        if (double* dst = out.reserve(from, end)) {
            SparseOut plain{dst, from};
            body(PlainBars{src, 0}, plain);
            out.wrote(plain.last);
            return;
        }
    body(in, out);
}

// Calls body(inputs..., out) with bars 0 .. bars - 1 of every input and bars from .. bars - 1 of
// the output as plain arrays where all of them are stored that way, otherwise with the views and
// the output themselves. Only for loops that write every one of the output's bars.
template <class Body, class... Views>
void withPlainArrays(int32_t from, int32_t bars, series::NumberOut& out, Body&& body, const Views&... views) {
    const double* q[] = {views.storage(0, bars)...};
    bool stored = true;
    for (const double* p : q) stored = stored && p != nullptr;
    if (double* dst = stored ? out.storage(from, bars) : nullptr) {
        PlainOut plain{dst, from, out.fill()};
        [&]<std::size_t... k>(std::index_sequence<k...>) { body(PlainBars{q[k], 0}..., plain); }
        (std::index_sequence_for<Views...>{});
        return;
    }
    body(views..., out);
}

} // namespace fk
