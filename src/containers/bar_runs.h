// Loops over a run of bars written once, as a template over readers and a writer, and run over
// plain arrays wherever the series allow it (else through the views' element read and write).
// The loop body is called out of line, one copy per case: a call anywhere in a function (the
// element write's growth path) makes the compiler keep a loop's carried values in memory, and
// the array copy has none.
#pragma once
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

#include "containers/series.h"

namespace fk::series {

// Bars of an input as a plain array, p[0] being bar `from`, or as one value (mask 0) that they
// all read. Valid for the bars of its run only.
struct ArrayBars {
    const double* p;
    int32_t from;
    int32_t mask; // -1 for an array, 0 for one value
    double operator[](int32_t i) const { return p[(i - from) & mask]; }
};
// Bars of an input through its view: any bar.
struct ViewBars {
    const NumberView* v;
    double operator[](int32_t i) const { return (*v)[i]; }
};
// Writes bars of the Return Value into its plain array (bars of its run only), or element by element.
struct ArrayWriter {
    double* p;
    int32_t from;
    void set(int32_t i, double y) const { p[i - from] = y; }
};
struct ElementWriter {
    NumberOut* out;
    void set(int32_t i, double y) const { out->set(i, y); }
};

namespace detail {

template <class Body, class... A>
[[gnu::noinline]] void callOutOfLine(Body& body, A... a) {
    body(a...);
}

// The array or the one value that bars from..to of a view read, if they read either.
inline bool arrayBars(const NumberView& v, int32_t from, int32_t to, double& one, ArrayBars& bars) {
    if (const double* p = v.storage(from, to + 1)) {
        bars = ArrayBars{p, from, -1};
        return true;
    }
    if (v.uniform(from, to + 1, one)) {
        bars = ArrayBars{&one, from, 0};
        return true;
    }
    return false;
}

template <class Body, class Writer, class... Views, std::size_t... k>
void withArrays(int32_t from, int32_t to, Body& body, Writer* writer, std::index_sequence<k...>,
                const Views&... in) {
    static_assert(sizeof...(Views) > 0);
    double one[sizeof...(Views)];
    ArrayBars bars[sizeof...(Views)];
    if (from <= to && (arrayBars(in, from, to, one[k], bars[k]) && ...)) {
        if constexpr (std::is_same_v<Writer, NumberOut>) {
            if (double* p = writer->storage(from, to + 1)) {
                callOutOfLine(body, ArrayWriter{p, from}, bars[k]...);
                return;
            }
        } else {
            callOutOfLine(body, bars[k]...);
            return;
        }
    }
    if constexpr (std::is_same_v<Writer, NumberOut>)
        callOutOfLine(body, ElementWriter{writer}, ViewBars{&in}...);
    else
        callOutOfLine(body, ViewBars{&in}...);
}

} // namespace detail

// body(readers...) for bars from..to of every input: ArrayBars where all of them read a plain
// array or one value over those bars, ViewBars otherwise.
template <class Body, class... Views>
void withBars(int32_t from, int32_t to, Body&& body, const Views&... in) {
    detail::withArrays(from, to, body, static_cast<void*>(nullptr), std::index_sequence_for<Views...>{}, in...);
}

// body(writer, readers...) for a loop that writes bars from..to of the Return Value, bar `to`
// always (the count settles as if each bar from..to had been written): arrays for the output
// and every input where all allow them, element access otherwise.
template <class Body, class... Views>
void withBars(NumberOut& out, int32_t from, int32_t to, Body&& body, const Views&... in) {
    detail::withArrays(from, to, body, &out, std::index_sequence_for<Views...>{}, in...);
}

} // namespace fk::series
