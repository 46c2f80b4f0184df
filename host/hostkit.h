// The host kit: plays the platform's side of the interface. It builds series and text buffers
// as the host does, fills market records from bars, keeps one parameter block per call site
// across calls with moving start bars, sends the release call and reads the results.
//
//   fk::host::Series close = fk::host::Series::of({1, 2, 3, 4});
//   fk::host::Series avg;
//   fk::host::Call call("MovAvg");
//   call.out(avg).arg(close).arg(2).arg(1);
//   ASSERT_EQ(call.run(0), 0);
//   avg.values();  // {F, 1.5, 2.5, 3.5}
#pragma once
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "containers/series.h"
#include "containers/text.h"
#include "exports/export_def.h"
#include "market/bar_record.h"

namespace fk::host {

// A number series owned by the host: one handle with one reference.
class Series {
public:
    // A Return Value as the host creates it: no elements, standard fill value.
    Series();
    // Elements as given; `fill` is the default slot (the marker asks for -999999).
    static Series of(const std::vector<double>& values, double fill = kMissingMarker);
    // A single constant of count `count` (1: a Number passed where a series is wanted).
    static Series constant(double value, int32_t count = 1);
    // A handle without any buffer.
    static Series null();

    Series(const Series& other);            // shares the buffer, as the host's assignment does
    Series& operator=(const Series& other);
    Series(Series&& other) noexcept;
    Series& operator=(Series&& other) noexcept;
    ~Series();

    SeriesHandle& handle() { return h_; }
    const SeriesHandle& handle() const { return h_; }
    int32_t count() const { return series::count(h_); }
    double fill() const { return series::fillValue(h_); }
    double at(int32_t i) const { return series::number(h_, i); }
    // Elements 0 .. count - 1 as read through the handle.
    std::vector<double> values() const;
    bool isConstant() const { return h_.buffer && h_.buffer->isConstant(); }
    // Appends one element, as the host does when a bar arrives.
    void push(double v) { series::setNumber(h_, count(), v); }
    uint16_t references() const { return h_.buffer ? h_.buffer->references : 0; }
    // Sets flag bits on the buffer (read-only, owner-only, writable while shared).
    void setFlags(uint8_t flags) { if (h_.buffer) h_.buffer->flags |= flags; }
    void setOwner(bool owner) { h_.word = owner ? (h_.word | 1) : (h_.word & ~1); }
    void setOffset(int32_t k) { h_.setOffset(k); }

private:
    SeriesHandle h_{nullptr, 0};
};

class Text {
public:
    Text() { text::create(h_); }
    explicit Text(std::string_view s);
    static Text null();
    Text(const Text& other);
    Text& operator=(const Text& other);
    ~Text();
    TextHandle& handle() { return h_; }
    const TextHandle& handle() const { return h_; }
    std::string str() const { return std::string(text::view(h_)); }
    void setFlags(uint8_t flags) { if (h_.buffer) h_.buffer->flags |= flags; }
    // Marks the text a single constant of count 1, as a host passes a constant text.
    void markConstant();

private:
    TextHandle h_{nullptr, 0};
};

struct Bar {
    double dateTime;
    double open, high, low, close, volume;
};

// A market record with its per-bar series, filled the way the host fills it. The record's
// handles are the host's only handles on the series.
class Market {
public:
    Market();
    explicit Market(const std::vector<Bar>& bars);
    Market(const Market&) = delete;
    Market& operator=(const Market&) = delete;
    ~Market();

    // Appends bars, as the host does when new bars arrive.
    void append(const std::vector<Bar>& bars);
    void append(const Bar& bar) { append(std::vector<Bar>{bar}); }
    int32_t barCount() const { return rec_.barCount; }

    BarRecord& record() { return rec_; }
    // Every element of one of the record's series.
    static std::vector<double> values(const SeriesHandle& h);

    Market& tick(double size, double value, double minMoveFactor = 1.0);
    Market& period(int32_t word); // e.g. 0x11000001 daily
    Market& session(int16_t start, int16_t innerEnd, int16_t dayEnd);
    Market& secondSession(int16_t start, int16_t end);
    Market& zone(std::string_view zoneText);
    Market& symbol(std::string_view s);
    Market& description(std::string_view s);
    Market& exchange(std::string_view s);
    Market& source(std::string_view s);
    Market& currency(std::string_view s);
    // Exchange holidays as day numbers; an empty list removes it.
    Market& holidays(const std::vector<int32_t>& days);

private:
    static void setText(TextHandle& h, std::string_view s);
    BarRecord rec_{};
    TextHandle currency_{nullptr, 0};
    SeriesHandle holidays_{nullptr, 0};
};

// One call site: a parameter block kept across calls.
class Call {
public:
    // By the export's name (formula-language name, any letter case), through the export table.
    explicit Call(std::string_view name);
    // Through an entry point found elsewhere (for example in the loaded shared library).
    Call(const ExportEntry& entry, EntryPoint ep);
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;
    ~Call();

    // The Return Value and the parameters, in order. The export's signature decides the tag:
    // a number where a series is wanted goes in as a single constant of count 1.
    Call& out(Series& s);
    Call& out(Text& t);
    Call& arg(Series& s);
    Call& arg(double v);
    Call& arg(Text& t);
    Call& arg(Market& m);
    // An entry with any tag and an 8-byte number or a pointer, for testing type checks.
    Call& rawNumber(uint32_t tag, double v);
    Call& rawPointer(uint32_t tag, void* p);
    // Overrides the count in entry 0 (otherwise the number of entries given).
    Call& count(uint32_t n);
    // Entry i's tag, for a test that changes one after building the call.
    Call& tag(int entry, uint32_t t);

    // Calls the export with this start bar; the start bar may be changed by the call.
    StatusCode run(int32_t startBar = 0);
    // The release call (start bar -2).
    StatusCode release();

    std::string error() const { return std::string(text::view(block_.errorText)); }
    TextHandle& errorText() { return block_.errorText; }
    CParmBlock& block() { return block_; }
    const ExportEntry& entry() const { return *entry_; }
    // Entries after entry 0 that were given.
    int entries() const { return static_cast<int>(params_.size()) - 1; }

private:
    char declaredType(int entry) const;
    Call& push(uint32_t tag, double number, void* pointer);
    const ExportEntry* entry_;
    EntryPoint ep_;
    CParmBlock block_{};
    std::vector<ParamEntry> params_;
    std::vector<std::unique_ptr<Series>> constants_;
    bool countSet_ = false;
};

// The library loaded at run time, so that the exported names themselves are exercised.
class Library {
public:
    explicit Library(const std::string& path = FK_SHARED_LIBRARY);
    ~Library();
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;
    bool loaded() const { return handle_ != nullptr; }
    std::string loadError() const { return error_; }
    // The entry point under an exported symbol name.
    EntryPoint symbol(const char* name) const;
    // The entry point of an export: its plain name, or its decorated name where it has only that.
    EntryPoint entry(const ExportEntry& e) const;

private:
    void* handle_ = nullptr;
    std::string error_;
};

// Calls an export as the host does while bars arrive: `growTo(n)` brings every input to n bars,
// then the call runs with its start bar at the first new bar; chunks of `chunk` bars up to
// `totalBars`. Returns the first non-zero status, or 0.
StatusCode playChunks(Call& call, int32_t totalBars, int32_t chunk, const std::function<void(int32_t)>& growTo);

// Live heap blocks of the library: buffers and per-call state.
long liveBlocks();

} // namespace fk::host
