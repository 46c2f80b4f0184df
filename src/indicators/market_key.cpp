#include "indicators/market_key.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "containers/series.h"
#include "market/market_view.h"

namespace fk::marketkey {

Thresholds plainThresholds(double reversal) {
    const double t = reversal > 0 ? reversal : 6.0;
    return {t, t / 2, Unit::Points};
}

Thresholds customThresholds(double reversal, double confirmation, double unit) {
    const double t = reversal > 0 ? reversal : 6.0;
    const double u = std::trunc(unit);
    return {t, confirmation > 0 ? confirmation : t / 2, u == 1 ? Unit::Percent : u == 2 ? Unit::Ticks : Unit::Points};
}

namespace {

enum Column : int { None, UpTrend, DownTrend, NaturalRally, NaturalReaction, SecondaryRally, SecondaryReaction, kColumns };

// The sheet as it stands after each close. A price not yet recorded is NaN, so that every
// comparison with it fails, as a test against a price that does not exist should.
class Sheet {
public:
    Sheet(const Thresholds& t, double tick) : t_(t), tick_(tick) { std::fill(last_, last_ + kColumns, kNone); }

    // The column in which the close p is recorded, or None.
    Column step(double p) {
        p_ = p;
        recorded_ = None;
        switch (col_) {
        case None:
            if (!seen_) {
                hi_ = lo_ = p;
                seen_ = true;
            } else {
                hi_ = std::max(hi_, p);
                lo_ = std::min(lo_, p);
                if (p >= lo_ + amount(t_.reversal, lo_)) record(UpTrend);
                else if (p <= hi_ - amount(t_.reversal, hi_)) record(DownTrend);
            }
            break;
        // A close beyond the column's last price, which nobody can foresee, is recorded without a
        // branch; only the rarer moves that open another column branch.
        case UpTrend: {
            const double last = last_[UpTrend];
            const bool beyond = p > last;
            if (!beyond & (p <= last - reversal(last))) {
                enterReaction(UpTrend);
            } else {
                last_[UpTrend] = beyond ? p : last;
                recorded_ = beyond ? UpTrend : None;
            }
            break;
        }
        case DownTrend: {
            const double last = last_[DownTrend];
            const bool beyond = p < last;
            if (!beyond & (p >= last + reversal(last))) {
                enterRally(DownTrend);
            } else {
                last_[DownTrend] = beyond ? p : last;
                recorded_ = beyond ? DownTrend : None;
            }
            break;
        }
        case NaturalRally: {
            const double last = last_[NaturalRally];
            const bool beyond = p > last;
            if (!beyond & (p <= last - reversal(last))) {
                pivotRally_ = last;
                enterReaction(NaturalRally);
            } else {
                last_[NaturalRally] = beyond ? p : last;
                recorded_ = beyond ? NaturalRally : None;
                if (beyond & upResumes()) record(UpTrend);
            }
            break;
        }
        case NaturalReaction: {
            const double last = last_[NaturalReaction];
            const bool beyond = p < last;
            if (!beyond & (p >= last + reversal(last))) {
                pivotReaction_ = last;
                enterRally(NaturalReaction);
            } else {
                last_[NaturalReaction] = beyond ? p : last;
                recorded_ = beyond ? NaturalReaction : None;
                if (beyond & downResumes()) record(DownTrend);
            }
            break;
        }
        case SecondaryRally: {
            const double last = last_[SecondaryRally];
            const bool beyond = p > last;
            if (!beyond & (p <= last - reversal(last))) {
                enterReaction(SecondaryRally);
            } else if (beyond & (p > last_[NaturalRally])) { // the secondary rally has become natural
                record(NaturalRally);
                upCheck();
            } else {
                last_[SecondaryRally] = beyond ? p : last;
                recorded_ = beyond ? SecondaryRally : None;
            }
            break;
        }
        case SecondaryReaction: {
            const double last = last_[SecondaryReaction];
            const bool beyond = p < last;
            if (!beyond & (p >= last + reversal(last))) {
                enterRally(SecondaryReaction);
            } else if (beyond & (p < last_[NaturalReaction])) {
                record(NaturalReaction);
                downCheck();
            } else {
                last_[SecondaryReaction] = beyond ? p : last;
                recorded_ = beyond ? SecondaryReaction : None;
            }
            break;
        }
        default: break;
        }
        return recorded_;
    }

private:
    static constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

    double amount(double size, double from) const {
        switch (t_.unit) {
        case Unit::Percent: return from * size / 100;
        case Unit::Ticks: return size * tick_;
        default: return size;
        }
    }
    double reversal(double from) const { return amount(t_.reversal, from); }
    double confirmation(double from) const { return amount(t_.confirmation, from); }

    void record(Column c) {
        last_[c] = p_;
        col_ = c;
        recorded_ = c;
    }
    // A rally past the last upward-trend price, or past the natural-rally pivotal point by the
    // confirmation amount, resumes or starts the upward trend.
    bool upResumes() const { return (p_ > last_[UpTrend]) | (p_ >= pivotRally_ + confirmation(pivotRally_)); }
    bool downResumes() const {
        return (p_ < last_[DownTrend]) | (p_ <= pivotReaction_ - confirmation(pivotReaction_));
    }
    bool upCheck() {
        if (upResumes()) {
            record(UpTrend);
            return true;
        }
        return false;
    }
    bool downCheck() {
        if (downResumes()) {
            record(DownTrend);
            return true;
        }
        return false;
    }
    // A reaction that stays above the last natural reaction is secondary.
    void enterReaction(Column from) {
        if (from == UpTrend) {
            record(NaturalReaction);
            downCheck();
        } else if (!downCheck()) {
            record(p_ > last_[NaturalReaction] ? SecondaryReaction : NaturalReaction);
        }
    }
    void enterRally(Column from) {
        if (from == DownTrend) {
            record(NaturalRally);
            upCheck();
        } else if (!upCheck()) {
            record(p_ < last_[NaturalRally] ? SecondaryRally : NaturalRally);
        }
    }

    Thresholds t_;
    double tick_;
    double p_ = 0;
    Column col_ = None, recorded_ = None;
    double last_[kColumns];
    double pivotRally_ = kNone, pivotReaction_ = kNone; // the natural rally (reaction) left for the other side
    double hi_ = 0, lo_ = 0;                            // the extremes before the first trend
    bool seen_ = false;
};

bool shows(Shown shown, Column c) {
    switch (shown) {
    case Shown::UpTrend: return c == UpTrend;
    case Shown::DownTrend: return c == DownTrend;
    case Shown::Rally: return c == NaturalRally || c == SecondaryRally;
    case Shown::Reaction: return c == NaturalReaction || c == SecondaryReaction;
    }
    return false;
}

} // namespace

StatusCode marketKey(Shown shown, SeriesHandle& out, const BarRecord& market, const Thresholds& t) {
    if (market.barCount <= 0) return kTooFewBars;
    series::NumberOut w(&out, market.barCount);
    const MarketView m(market);
    Sheet sheet(t, market.tickSize);
    for (int32_t i = 0; i < m.bars; ++i) {
        const double p = m.close[i];
        // the close or the fill value picked by index, as a branch could not foresee which
        const double choice[2] = {w.fill(), p};
        w.set(i, choice[m.present(i) && shows(shown, sheet.step(p))]);
    }
    return kOk;
}

} // namespace fk::marketkey
