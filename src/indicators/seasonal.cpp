// Seasonal and cycle functions.
#include "indicators/seasonal.h"

#include <algorithm>
#include <functional>
#include <cmath>
#include <optional>

#include "calendar/date.h"
#include "containers/scratch.h"
#include "containers/series.h"
#include "frame/whole_number.h"
#include "indicators/trade_plans.h"
#include "market/market_view.h"

namespace fk::seasonal {

using series::NumberOut;
using series::NumberView;

namespace {


// The trading day of each market bar, as the Day, Month and Year functions report it before their
// session tests.
struct TradingDays {
    const MarketView& m;
    calendar::SessionBounds bounds;
    int32_t operator()(int32_t i) const { return calendar::tradingDayOf(m.dateTime[i], bounds, false); }
};

} // namespace

// ---- seasonal path -------------------------------------------------------------------------

namespace {

// The last bar at or before a target day whose price is present. Placed by binary search at the
// first day asked for, then moved forward as the target grows.
struct Cursor {
    int32_t next; // bars before it lie at or before the target; -1 not placed yet
    int32_t last; // the last of them with a present price; -1 none
};

class SeasonalLookup {
public:
    SeasonalLookup(const int32_t* days, int32_t lo, int32_t n, const NumberView& price, const TradingDays& dayOf)
        : days_(days), lo_(lo), n_(n), price_(price), dayOf_(dayOf) {}

    int32_t day(int32_t j) const { return j >= lo_ ? days_[j - lo_] : dayOf_(j); }

    void seek(Cursor& c, int32_t target) const {
        if (c.next < 0) {
            // bars before lo all lie at or before every target asked for
            int32_t a = lo_, b = n_;
            while (a < b) {
                const int32_t mid = a + (b - a) / 2;
                if (days_[mid - lo_] <= target) a = mid + 1;
                else b = mid;
            }
            c.next = a;
            c.last = a - 1;
            while (c.last >= 0 && price_.missing(c.last)) --c.last;
            return;
        }
        while (c.next < n_ && days_[c.next - lo_] <= target) {
            if (!price_.missing(c.next)) c.last = c.next;
            ++c.next;
        }
    }

private:
    const int32_t* days_;
    int32_t lo_, n_;
    const NumberView& price_;
    const TradingDays& dayOf_;
};

// The day number of a date's month and day in the year that begins on day `first` and has
// `length` days; 29 February falls back to the 28th in a year without it.
int32_t sameDate(int32_t first, int32_t length, const calendar::Date& date) {
    static constexpr int32_t kDaysBefore[12] = {0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334};
    const bool leap = length == 366;
    const int32_t day = date.month == 2 && date.day == 29 && !leap ? 28 : date.day;
    return first + kDaysBefore[date.month - 1] + (date.month > 2 && leap) + day - 1;
}

} // namespace

StatusCode seasonalPath(SeriesHandle& outH, const BarRecord& market, const SeriesHandle& priceH, double yearsIn,
                        bool percent, double width, int32_t start) {
    if (market.barCount <= 0) return kTooFewBars;
    int32_t years = 0;
    if (!roundedCount(yearsIn, years) || years < 1) return kDomainError;
    const int32_t n = market.barCount;
    NumberOut out(&outH, n);
    if (start >= n) return kOk;
    const MarketView m(market);
    const NumberView price(&priceH);
    const TradingDays dayOf{m, calendar::SessionBounds::of(market)};
    const double fill = out.fill();

    // Years before 101 are never looked up (the base year would read as a two-digit year), which
    // bounds the years of the last bar; nor more years than lie between 101 and 9999, the last year
    // of the calendar (a day number far past it would otherwise ask for millions of years).
    constexpr int32_t kCalendarYears = 9999 - 101;
    const int32_t lastYear = calendar::civilDate(dayOf(n - 1)).year;
    const int32_t kMax = std::min({years, lastYear > 101 ? lastYear - 101 : 0, kCalendarYears});
    // Every target lies at or after the end of the year before the oldest year of the first bar.
    const int32_t firstYear = calendar::civilDate(dayOf(start)).year;
    const int32_t oldest = firstYear - kMax > 101 ? firstYear - kMax : 101;
    const int32_t minTarget = calendar::civilDayNumber(oldest, 1, 1) - 1;
    int32_t lo = 0, hi = start;
    while (lo < hi) {
        const int32_t mid = lo + (hi - lo) / 2;
        if (dayOf(mid) <= minTarget) lo = mid + 1;
        else hi = mid;
    }
    Scratch<int32_t> days(n - lo), barYears(n - lo + 1);
    Scratch<Cursor> cursors(2 * (kMax + 1));
    Scratch<double> values(kMax);
    if (!days.ok() || !cursors.ok() || !values.ok() || !barYears.ok()) return kDomainError;
    std::fill_n(cursors.data(), cursors.size(), Cursor{-1, -1});
    for (int32_t j = lo; j < n; ++j) days[j - lo] = dayOf(j);
    // The years that hold a bar, ascending: only a year after one of them can count, since its base
    // lies in the year before it. The bars before lo lie in the year before the oldest or earlier,
    // so the last of them stands for them all.
    int32_t yearCount = 0;
    auto noteYear = [&](int32_t day) {
        const int32_t y = calendar::civilDate(day).year;
        if (yearCount == 0 || barYears[yearCount - 1] != y) barYears[yearCount++] = y;
    };
    if (lo > 0) noteYear(dayOf(lo - 1));
    for (int32_t j = lo; j < n; ++j) noteYear(days[j - lo]);
    if (!std::is_sorted(barYears.data(), barYears.data() + yearCount, std::less_equal<int32_t>())) { // dates out of order
        std::sort(barYears.data(), barYears.data() + yearCount);
        yearCount = static_cast<int32_t>(std::unique(barYears.data(), barYears.data() + yearCount) - barYears.data());
    }
    const SeasonalLookup look(days.data(), lo, n, price, dayOf);
    // ends[k]: the last price at or before the end of year Y - k - 1; targets[k]: at or before the
    // bar's date in year Y - k
    Cursor* ends = cursors.data();
    Cursor* targets = ends + kMax + 1;

    int32_t lastDay = 0, year = 0, kUse = 0;
    double result = fill;
    bool known = false;
    for (int32_t i = start; i < n; ++i) {
        const int32_t d = look.day(i);
        if (known && d == lastDay) { // a later bar of the same day has the same path
            out.set(i, result);
            continue;
        }
        const calendar::Date date = calendar::civilDate(d);
        if (!known || date.year != year) {
            year = date.year;
            kUse = kMax < year - 101 ? kMax : (year > 101 ? year - 101 : 0);
        }
        known = true;
        lastDay = d;
        int32_t used = 0;
        double sum = 0.0;
        // years Y - k for k from 1 up, over the base years Y - k - 1 that hold a bar
        const int32_t* base = std::upper_bound(barYears.data(), barYears.data() + yearCount, year - 2);
        while (base != barYears.data()) {
            const int32_t k = year - *--base - 1;
            if (k > kUse) break;
            const int32_t startK = calendar::civilDayNumber(year - k, 1, 1);
            const int32_t startNewer = calendar::civilDayNumber(year - k + 1, 1, 1);
            look.seek(ends[k], startK - 1);
            look.seek(ends[k - 1], startNewer - 1);
            look.seek(targets[k], sameDate(startK, startNewer - startK, date));
            const int32_t jB = ends[k].last, jT = targets[k].last;
            // year Y - k counts when its base lies in the year before it and a price of its own
            // follows the base
            if (jB < 0 || look.day(jB) < calendar::civilDayNumber(year - k - 1, 1, 1) || ends[k - 1].last <= jB ||
                jT < jB)
                continue;
            const double basePrice = price[jB], move = price[jT] - basePrice;
            double v = move;
            if (percent) {
                if (!(basePrice > 0.0)) continue;
                v = 100.0 * move / basePrice;
            }
            values[used++] = v;
            sum += v;
        }
        if (used == 0) {
            result = fill;
        } else {
            const double mean = sum / used;
            result = mean;
            if (width != 0.0) {
                double squares = 0.0;
                for (int32_t u = 0; u < used; ++u) squares += (values[u] - mean) * (values[u] - mean);
                result = mean + width * std::sqrt(squares / used);
            }
        }
        out.set(i, result);
    }
    return kOk;
}

// ---- dominant cycle ------------------------------------------------------------------------

namespace {

constexpr double kPi = 3.141592653589793;

struct CycleParams {
    int32_t window = 0, shortest = 0, longest = 0;
};

StatusCode cycleChecks(const SeriesHandle& x, double window, double shortest, double longest, CycleParams& p) {
    if (NumberView(&x).empty()) return kTooFewBars;
    if (!roundedCount(window, p.window) || p.window < 4) return kDomainError;
    if (!roundedCount(shortest, p.shortest) || p.shortest < 2) return kDomainError;
    if (!roundedCount(longest, p.longest) || p.longest < p.shortest || p.longest > p.window) return kDomainError;
    return kOk;
}

// The line and the dominant cycle of one window.
struct CycleFit {
    double a = 0.0, b = 0.0;    // line a + b t, t = 0 the oldest bar
    bool cycle = false;
    int32_t period = 0;
    double c = 0.0, s = 0.0;    // cosine and sine sums of the period
    double g = 0.0;             // their factor in the fitted cycle

    double amplitude() const { return g * std::sqrt(c * c + s * s); }
    double cycleAt(double tau) const {
        const double angle = 2.0 * kPi * tau / period;
        return g * (c * std::cos(angle) + s * std::sin(angle));
    }
};

// Detrends windows of the input and searches the periods, with cosine and sine tables made once,
// on the first window searched (a call none of whose bars has a whole window makes none).
class CycleSearch {
public:
    explicit CycleSearch(const CycleParams& p) : p_(p), periods_(p.longest - p.shortest + 1) {}

    // The tables; false when the heap has no room for them.
    bool prepare() {
        const int64_t cells = int64_t{p_.window} * periods_;
        // a bound well inside what a 32-bit process can address
        if (cells > (int64_t{1} << 26)) return false;
        cos_.emplace(static_cast<int32_t>(cells));
        sin_.emplace(static_cast<int32_t>(cells));
        z_.emplace(p_.window);
        if (!cos_->ok() || !sin_->ok() || !z_->ok()) return false;
        for (int32_t k = 0; k < periods_; ++k)
            for (int32_t t = 0; t < p_.window; ++t) {
                const double angle = 2.0 * kPi * t / (p_.shortest + k);
                (*cos_)[k * p_.window + t] = std::cos(angle);
                (*sin_)[k * p_.window + t] = std::sin(angle);
            }
        const double xm = (p_.window - 1) / 2.0;
        for (int32_t t = 0; t < p_.window; ++t) sxx_ += (t - xm) * (t - xm);
        return true;
    }

    // The window ending at bar i, every value present.
    CycleFit fit(const NumberView& x, int32_t i) {
        const int32_t w = p_.window, first = i - w + 1;
        const double xm = (w - 1) / 2.0;
        double sumY = 0.0;
        for (int32_t t = 0; t < w; ++t) sumY += x[first + t];
        const double ym = sumY / w;
        double sxy = 0.0, syy = 0.0, q = 0.0;
        for (int32_t t = 0; t < w; ++t) {
            const double y = x[first + t];
            sxy += (t - xm) * (y - ym);
            syy += (y - ym) * (y - ym);
            q += y * y;
        }
        CycleFit f;
        f.b = sxy / sxx_;
        f.a = ym - f.b * xm;
        double energy = 0.0;
        for (int32_t t = 0; t < w; ++t) {
            const double z = x[first + t] - (f.a + f.b * t);
            (*z_)[t] = z;
            energy += z * z;
        }
        // a straight or flat window, up to rounding residue
        if (energy <= 1e-18 * syy || energy <= 1e-24 * q) return f;
        double best = -1.0;
        const auto consider = [&](int32_t k, double c, double s) {
            const double power = c * c + s * s;
            if (power > best) { // ties keep the shorter period
                best = power;
                f.period = p_.shortest + k;
                f.c = c;
                f.s = s;
            }
        };
        // Four periods at a time: each period's two sums still run over t in order, but eight
        // chains of additions go side by side instead of two.
        const double* z = z_->data();
        int32_t k = 0;
        for (; k + 4 <= periods_; k += 4) {
            const double* cs = &(*cos_)[k * w];
            const double* sn = &(*sin_)[k * w];
            double c[4] = {0.0, 0.0, 0.0, 0.0}, s[4] = {0.0, 0.0, 0.0, 0.0};
            for (int32_t t = 0; t < w; ++t)
                for (int32_t j = 0; j < 4; ++j) {
                    c[j] += z[t] * cs[j * w + t];
                    s[j] += z[t] * sn[j * w + t];
                }
            for (int32_t j = 0; j < 4; ++j) consider(k + j, c[j], s[j]);
        }
        for (; k < periods_; ++k) {
            const double* cs = &(*cos_)[k * w];
            const double* sn = &(*sin_)[k * w];
            double c = 0.0, s = 0.0;
            for (int32_t t = 0; t < w; ++t) {
                c += z[t] * cs[t];
                s += z[t] * sn[t];
            }
            consider(k, c, s);
        }
        f.cycle = true;
        f.g = f.period == 2 ? 1.0 / w : 2.0 / w;
        return f;
    }

private:
    CycleParams p_;
    int32_t periods_;
    std::optional<Scratch<double>> cos_, sin_, z_;
    double sxx_ = 0.0;
};

// Runs `value(fit)` on every bar from the start whose window is whole and present; the others
// receive the fill. NaN counts as missing, since it cannot be ordered.
template <class Value>
StatusCode eachWindow(SeriesHandle& outH, const SeriesHandle& xH, const CycleParams& p, int32_t start, Value value) {
    const int32_t n = series::count(xH);
    NumberOut out(&outH, n);
    const NumberView x(&xH);
    CycleSearch search(p);
    if (std::max(start, p.window - 1) < n && !search.prepare()) return kDomainError;
    const double miss = x.fill(), fill = out.fill();
    auto missing = [&](int32_t j) {
        const double v = x[j];
        return v == miss || v != v;
    };
    int32_t lastMissing = -1;
    for (int32_t j = start - p.window + 1 > 0 ? start - p.window + 1 : 0; j < start && j < n; ++j)
        if (missing(j)) lastMissing = j;
    for (int32_t i = start; i < n; ++i) {
        if (missing(i)) lastMissing = i;
        if (i < p.window - 1 || lastMissing > i - p.window) {
            out.set(i, fill);
            continue;
        }
        out.set(i, value(search.fit(x, i)));
    }
    return kOk;
}

} // namespace

StatusCode cycleAnalysis(SeriesHandle& outH, const SeriesHandle& xH, double window, double shortest, double longest,
                         double selector, int32_t start) {
    CycleParams p;
    if (StatusCode st = cycleChecks(xH, window, shortest, longest, p)) return st;
    int32_t sel = 0;
    if (!truncatedCount(selector, sel) || sel < 0 || sel > 2) return kDomainError;
    const double fill = NumberView(&outH).fill();
    return eachWindow(outH, xH, p, start, [&](const CycleFit& f) {
        if (!f.cycle) return fill;
        if (sel == 0) return static_cast<double>(f.period);
        if (sel == 1) return f.amplitude();
        const double phi = std::atan2(f.s, f.c);
        double theta = std::fmod(360.0 * (p.window - 1) / f.period - phi * 180.0 / kPi, 360.0);
        if (theta < 0.0) theta += 360.0;
        return theta == 360.0 ? 0.0 : theta;
    });
}

StatusCode cycleProjection(SeriesHandle& outH, const SeriesHandle& xH, double window, double shortest,
                           double longest, double horizon, int32_t start) {
    CycleParams p;
    if (StatusCode st = cycleChecks(xH, window, shortest, longest, p)) return st;
    int32_t h = 0;
    if (!roundedCount(horizon, h) || h < 0) return kDomainError;
    const double tau = static_cast<double>(p.window) - 1.0 + h;
    return eachWindow(outH, xH, p, start, [&](const CycleFit& f) {
        const double line = f.a + f.b * tau;
        return f.cycle ? line + f.cycleAt(tau) : line;
    });
}

// ---- same bar time -------------------------------------------------------------------------

namespace {

// The values of each clock time of the day, one per trading day, in a pool of entries (one per
// bar at most) linked from the newest back; an open-addressing table finds the newest by time.
class SameTimeTable {
public:
    explicit SameTimeTable(int32_t bars)
        : value_(bars), day_(bars), older_(bars) {
        rehash(1024);
    }
    bool ok() const { return value_.ok() && day_.ok() && older_.ok() && keys_.ok() && keys_.size() > 0; }

    // The newest entry of a clock time (-1 none), added when the time is new; null when the
    // table cannot grow.
    int32_t* newest(int32_t key) {
        if (2 * (size_ + 1) > capacity_ && !rehash(2 * capacity_)) return nullptr;
        int32_t slot = find(key);
        if (keys_[slot] != key) {
            keys_[slot] = key;
            heads_[slot] = -1;
            ++size_;
        }
        return &heads_[slot];
    }
    double& value(int32_t e) { return value_[e]; }
    int32_t day(int32_t e) const { return day_[e]; }
    int32_t older(int32_t e) const { return older_[e]; }
    int32_t add(double v, int32_t day, int32_t older) {
        value_[used_] = v;
        day_[used_] = day;
        older_[used_] = older;
        return used_++;
    }

private:
    static constexpr int32_t kEmpty = INT32_MIN;
    int32_t find(int32_t key) const {
        uint32_t slot = (static_cast<uint32_t>(key) * 2654435761u) & (capacity_ - 1);
        while (keys_[slot] != kEmpty && keys_[slot] != key) slot = (slot + 1) & (capacity_ - 1);
        return static_cast<int32_t>(slot);
    }
    bool rehash(int32_t capacity) {
        Scratch<int32_t> keys(capacity), heads(capacity);
        if (!keys.ok() || !heads.ok()) return false;
        for (int32_t s = 0; s < capacity; ++s) keys[s] = kEmpty;
        std::swap(keys, keys_);
        std::swap(heads, heads_);
        const int32_t old = capacity_;
        capacity_ = capacity;
        for (int32_t s = 0; s < old; ++s)
            if (keys[s] != kEmpty) {
                const int32_t slot = find(keys[s]);
                keys_[slot] = keys[s];
                heads_[slot] = heads[s];
            }
        return true;
    }
    Scratch<double> value_;
    Scratch<int32_t> day_, older_, keys_, heads_;
    int32_t used_ = 0, size_ = 0, capacity_ = 0;
};

} // namespace

StatusCode averageOfSameBarTime(SeriesHandle& outH, const BarRecord& market, const SeriesHandle& xH,
                                double sessionsIn, int32_t start) {
    if (market.barCount <= 0) return kTooFewBars;
    int32_t sessions = 0;
    if (!roundedCount(sessionsIn, sessions) || sessions < 1) return kDomainError;
    const int32_t n = market.barCount;
    NumberOut out(&outH, n);
    const MarketView m(market);
    const NumberView x(&xH);
    const TradingDays dayOf{m, calendar::SessionBounds::of(market)};
    const int32_t kept = sessions < n ? sessions : n;
    SameTimeTable table(n);
    Scratch<double> recent(kept);
    if (!table.ok() || !recent.ok()) return kDomainError;
    const double miss = x.fill(), fill = out.fill();
    for (int32_t i = 0; i < n; ++i) {
        const double stamp = m.dateTime[i];
        const int32_t day = dayOf(i);
        int32_t* head = table.newest(calendar::MillisOfDay(stamp));
        if (!head) return kDomainError;
        if (i >= start) {
            int32_t e = *head;
            if (e >= 0 && table.day(e) == day) e = table.older(e); // an earlier bar of this session
            int32_t got = 0;
            for (; e >= 0 && got < sessions; e = table.older(e)) recent[got++] = table.value(e);
            double y = fill;
            if (got == sessions) {
                double sum = 0.0;
                for (int32_t k = got - 1; k >= 0; --k) sum += recent[k];
                y = sum / sessions;
            }
            out.set(i, y);
        }
        const double v = x[i];
        if (v == miss) continue;
        if (*head >= 0 && table.day(*head) == day) table.value(*head) = v;
        else *head = table.add(v, day, *head);
    }
    return kOk;
}

// ---- the day so far ------------------------------------------------------------------------

StatusCode partialDayData(SeriesHandle& outH, const BarRecord& market, double selector, int32_t start) {
    if (market.barCount <= 0) return kTooFewBars;
    int32_t sel = 0;
    if (!truncatedCount(selector, sel) || sel < 0 || sel > 7) return kDomainError;
    const int32_t n = market.barCount;
    NumberOut out(&outH, n);
    const MarketView m(market);
    const TradingDays dayOf{m, calendar::SessionBounds::of(market)};
    const double miss = m.missing, fill = out.fill();
    auto qualifies = [&](int32_t i) {
        return m.open[i] != miss && m.high[i] != miss && m.low[i] != miss && m.close[i] != miss;
    };

    // the day so far, and the close of the last qualifying bar before this one
    bool inDay = false, hasLast = false, hasPrev = false;
    int32_t day = 0;
    double lastClose = 0.0, prevClose = 0.0, open = 0.0, high = 0.0, low = 0.0, volume = 0.0, bars = 0.0;
    auto advance = [&](int32_t i) {
        if (!qualifies(i)) return fill;
        const double o = m.open[i], h = m.high[i], l = m.low[i], c = m.close[i], rawVolume = m.volume[i];
        const double v = rawVolume == miss ? 0.0 : rawVolume;
        const int32_t d = dayOf(i);
        if (!inDay || d != day) {
            inDay = true;
            day = d;
            hasPrev = hasLast;
            prevClose = lastClose;
            open = o;
            high = h;
            low = l;
            volume = v;
            bars = 1.0;
        } else {
            high = h > high ? h : high;
            low = l < low ? l : low;
            volume += v;
            bars += 1.0;
        }
        hasLast = true;
        lastClose = c;
        switch (sel) {
        case 0: return hasPrev ? c - prevClose : fill;
        case 1: return open;
        case 2: return high;
        case 3: return low;
        case 4: return c;
        case 5: return volume;
        case 6: return bars;
        default: return (high + low + c) / 3.0;
        }
    };

    // replay from the first bar of the day of the last qualifying bar before the start
    const int32_t end = start < n ? start : n;
    int32_t from = end;
    int32_t j = end - 1;
    while (j >= 0 && !qualifies(j)) --j;
    if (j >= 0) {
        const int32_t d = dayOf(j);
        from = j;
        for (--j; j >= 0; --j) {
            if (!qualifies(j)) continue;
            if (dayOf(j) != d) break;
            from = j;
        }
        if (j >= 0) {
            hasLast = true;
            lastClose = m.close[j];
        }
    }
    for (int32_t i = from; i < end; ++i) advance(i);
    for (int32_t i = start; i < n; ++i) out.set(i, advance(i));
    return kOk;
}

} // namespace fk::seasonal
