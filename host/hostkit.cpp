#include "host/hostkit.h"

#include <stdexcept>

#ifdef _WIN32
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace fk::host {

// ---- Series

Series::Series() { series::createNumbers(h_, 0); }

Series Series::of(const std::vector<double>& values, double fill) {
    Series s = null();
    series::createNumbers(s.h_, static_cast<int32_t>(values.size()), fill);
    auto* e = static_cast<double*>(s.h_.buffer->elements);
    for (std::size_t i = 0; i < values.size() && static_cast<int32_t>(i) < s.count(); ++i) e[i] = values[i];
    return s;
}

Series Series::constant(double value, int32_t count) {
    Series s;
    series::setConstantNumber(s.h_, value, count);
    return s;
}

Series Series::null() {
    Series s;
    buffers::release(s.h_);
    return s;
}

Series::Series(const Series& other) { buffers::assign(h_, const_cast<SeriesHandle&>(other.h_)); }

Series& Series::operator=(const Series& other) {
    if (this != &other) buffers::assign(h_, const_cast<SeriesHandle&>(other.h_));
    return *this;
}

Series::Series(Series&& other) noexcept : h_(other.h_) { other.h_ = {nullptr, 0}; }

Series& Series::operator=(Series&& other) noexcept {
    if (this != &other) {
        buffers::release(h_);
        h_ = other.h_;
        other.h_ = {nullptr, 0};
    }
    return *this;
}

Series::~Series() { buffers::release(h_); }

std::vector<double> Series::values() const {
    std::vector<double> v(static_cast<std::size_t>(count()));
    for (int32_t i = 0; i < count(); ++i) v[static_cast<std::size_t>(i)] = at(i);
    return v;
}

// ---- Text

Text::Text(std::string_view s) {
    text::create(h_);
    text::appendBytes(h_, s.data(), static_cast<int32_t>(s.size()));
}

Text Text::null() {
    Text t;
    buffers::release(t.h_);
    return t;
}

Text::Text(const Text& other) { buffers::assign(h_, const_cast<TextHandle&>(other.h_)); }

Text& Text::operator=(const Text& other) {
    if (this != &other) buffers::assign(h_, const_cast<TextHandle&>(other.h_));
    return *this;
}

Text::~Text() { buffers::release(h_); }

void Text::markConstant() {
    if (h_.buffer) {
        h_.buffer->flags |= kFlagConstant;
        h_.buffer->count = 1;
    }
}

// ---- Market

Market::Market() {
    for (SeriesHandle* h : {&rec_.dateTime, &rec_.open, &rec_.high, &rec_.low, &rec_.close, &rec_.volume})
        series::createNumbers(*h, 0);
    for (TextHandle* t : {&rec_.symbol, &rec_.description, &rec_.exchange, &rec_.source, &rec_.zone})
        text::create(*t);
    rec_.periodWord = 0x11000001;
    rec_.tickSize = 0.01;
    rec_.tickValue = 0.01;
    rec_.minMoveFactor = 1.0;
    rec_.sessionStart = 570;
    rec_.sessionEnd = 960;
    rec_.dayEnd = 960;
}

Market::Market(const std::vector<Bar>& bars) : Market() { append(bars); }

Market::~Market() {
    for (SeriesHandle* h : {&rec_.dateTime, &rec_.open, &rec_.high, &rec_.low, &rec_.close, &rec_.volume})
        buffers::release(*h);
    for (TextHandle* t : {&rec_.symbol, &rec_.description, &rec_.exchange, &rec_.source, &rec_.zone})
        buffers::release(*t);
    buffers::release(currency_);
    buffers::release(holidays_);
}

void Market::append(const std::vector<Bar>& bars) {
    for (const Bar& b : bars) {
        const int32_t i = rec_.barCount;
        series::setNumber(rec_.dateTime, i, b.dateTime);
        series::setNumber(rec_.open, i, b.open);
        series::setNumber(rec_.high, i, b.high);
        series::setNumber(rec_.low, i, b.low);
        series::setNumber(rec_.close, i, b.close);
        series::setNumber(rec_.volume, i, b.volume);
        rec_.barCount = i + 1;
    }
}

std::vector<double> Market::values(const SeriesHandle& h) {
    std::vector<double> v(static_cast<std::size_t>(series::count(h)));
    for (std::size_t i = 0; i < v.size(); ++i) v[i] = series::number(h, static_cast<int32_t>(i));
    return v;
}

Market& Market::tick(double size, double value, double minMoveFactor) {
    rec_.tickSize = size;
    rec_.tickValue = value;
    rec_.minMoveFactor = minMoveFactor;
    return *this;
}

Market& Market::period(int32_t word) {
    rec_.periodWord = word;
    return *this;
}

Market& Market::session(int16_t start, int16_t innerEnd, int16_t dayEnd) {
    rec_.sessionStart = start;
    rec_.sessionEnd = innerEnd;
    rec_.dayEnd = dayEnd;
    return *this;
}

Market& Market::secondSession(int16_t start, int16_t end) {
    rec_.session2Start = start;
    rec_.session2End = end;
    return *this;
}

void Market::setText(TextHandle& h, std::string_view s) {
    if (!h.buffer) text::create(h);
    text::assignString(h, "");
    text::appendBytes(h, s.data(), static_cast<int32_t>(s.size()));
}

Market& Market::zone(std::string_view s) { setText(rec_.zone, s); return *this; }
Market& Market::symbol(std::string_view s) { setText(rec_.symbol, s); return *this; }
Market& Market::description(std::string_view s) { setText(rec_.description, s); return *this; }
Market& Market::exchange(std::string_view s) { setText(rec_.exchange, s); return *this; }
Market& Market::source(std::string_view s) { setText(rec_.source, s); return *this; }

Market& Market::currency(std::string_view s) {
    setText(currency_, s);
    rec_.currencyText = currency_.buffer;
    return *this;
}

Market& Market::holidays(const std::vector<int32_t>& days) {
    buffers::release(holidays_);
    rec_.holidays = nullptr;
    if (days.empty()) return *this;
    series::create(holidays_, Family::Long, static_cast<int32_t>(days.size()));
    auto* e = static_cast<int32_t*>(holidays_.buffer->elements);
    for (std::size_t i = 0; i < days.size(); ++i) e[i] = days[i];
    rec_.holidays = &holidays_;
    return *this;
}

// ---- Call

Call::Call(std::string_view name) : entry_(findExport(name)) {
    if (!entry_) throw std::invalid_argument("no export named " + std::string(name));
    ep_ = entry_->entry;
    text::create(block_.errorText);
    block_.cursor = 1;
    params_.push_back(ParamEntry{0, 0, {0.0}});
}

Call::Call(const ExportEntry& entry, EntryPoint ep) : entry_(&entry), ep_(ep) {
    text::create(block_.errorText);
    block_.cursor = 1;
    params_.push_back(ParamEntry{0, 0, {0.0}});
}

Call::~Call() {
    if (block_.state) release();
    buffers::release(block_.errorText);
}

char Call::declaredType(int entry) const {
    if (entry < 1 || entry > entry_->sig.maxCount) return 0;
    return entry_->sig.types[entry - 1];
}

Call& Call::push(uint32_t tag, double number, void* pointer) {
    ParamEntry e{};
    e.type = tag;
    if (pointer) e.pointer = pointer;
    else e.number = number;
    params_.push_back(e);
    return *this;
}

Call& Call::out(Series& s) { return push(kParamNumberSeries, 0, &s.handle()); }
Call& Call::out(Text& t) { return push(kParamTextSeries, 0, &t.handle()); }
Call& Call::arg(Series& s) { return push(kParamNumberSeries, 0, &s.handle()); }
Call& Call::arg(Text& t) { return push(kParamText, 0, &t.handle()); }
Call& Call::arg(Market& m) { return push(kParamMarket, 0, &m.record()); }

Call& Call::arg(double v) {
    if (declaredType(entries() + 1) == kArgSeries) {
        constants_.push_back(std::make_unique<Series>(Series::constant(v)));
        return push(kParamNumber, 0, &constants_.back()->handle());
    }
    return push(kParamNumber, v, nullptr);
}

Call& Call::rawNumber(uint32_t tag, double v) { return push(tag, v, nullptr); }
Call& Call::rawPointer(uint32_t tag, void* p) {
    ParamEntry e{};
    e.type = tag;
    e.pointer = p;
    params_.push_back(e);
    return *this;
}

Call& Call::count(uint32_t n) {
    params_[0].type = n;
    countSet_ = true;
    return *this;
}

Call& Call::tag(int entry, uint32_t t) {
    params_.at(static_cast<std::size_t>(entry)).type = t;
    return *this;
}

StatusCode Call::run(int32_t startBar) {
    if (!countSet_) params_[0].type = static_cast<uint32_t>(entries());
    block_.params = params_.data();
    block_.startBar = startBar;
    return ep_(&block_);
}

StatusCode Call::release() {
    block_.params = params_.data();
    block_.startBar = -2;
    return ep_(&block_);
}

// ---- Library

#ifdef _WIN32
Library::Library(const std::string& path) {
    handle_ = reinterpret_cast<void*>(LoadLibraryA(path.c_str()));
    if (!handle_) error_ = "LoadLibrary failed for " + path;
}
Library::~Library() {
    if (handle_) FreeLibrary(reinterpret_cast<HMODULE>(handle_));
}
EntryPoint Library::symbol(const char* name) const {
    if (!handle_) return nullptr;
    return reinterpret_cast<EntryPoint>(GetProcAddress(reinterpret_cast<HMODULE>(handle_), name));
}
#else
Library::Library(const std::string& path) {
    handle_ = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!handle_) error_ = dlerror();
}
Library::~Library() {
    if (handle_) dlclose(handle_);
}
EntryPoint Library::symbol(const char* name) const {
    if (!handle_) return nullptr;
    return reinterpret_cast<EntryPoint>(dlsym(handle_, name));
}
#endif

EntryPoint Library::entry(const ExportEntry& e) const {
    return symbol(librarySymbolName(e.exportsPlainName() ? e.name : e.decorated).c_str());
}

StatusCode playChunks(Call& call, int32_t totalBars, int32_t chunk, const std::function<void(int32_t)>& growTo) {
    if (chunk < 1) chunk = 1;
    for (int32_t first = 0; first < totalBars; first += chunk) {
        const int32_t last = first + chunk < totalBars ? first + chunk : totalBars;
        growTo(last);
        if (StatusCode st = call.run(first)) return st;
    }
    return kOk;
}

long liveBlocks() { return fk::liveBlocks() + liveStateBlocks(); }

} // namespace fk::host
