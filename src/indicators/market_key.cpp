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
        case UpTrend:
            if (p > last_[UpTrend]) record(UpTrend);
            else if (p <= last_[UpTrend] - reversal(last_[UpTrend])) enterReaction(UpTrend);
            break;
        case DownTrend:
            if (p < last_[DownTrend]) record(DownTrend);
            else if (p >= last_[DownTrend] + reversal(last_[DownTrend])) enterRally(DownTrend);
            break;
        case NaturalRally:
            if (p > last_[NaturalRally]) {
                record(NaturalRally);
                upCheck();
            } else if (p <= last_[NaturalRally] - reversal(last_[NaturalRally])) {
                pivotRally_ = last_[NaturalRally];
                enterReaction(NaturalRally);
            }
            break;
        case NaturalReaction:
            if (p < last_[NaturalReaction]) {
                record(NaturalReaction);
                downCheck();
            } else if (p >= last_[NaturalReaction] + reversal(last_[NaturalReaction])) {
                pivotReaction_ = last_[NaturalReaction];
                enterRally(NaturalReaction);
            }
            break;
        case SecondaryRally:
            if (p > last_[SecondaryRally]) {
                if (p > last_[NaturalRally]) { // the secondary rally has become natural
                    record(NaturalRally);
                    upCheck();
                } else {
                    record(SecondaryRally);
                }
            } else if (p <= last_[SecondaryRally] - reversal(last_[SecondaryRally])) {
                enterReaction(SecondaryRally);
            }
            break;
        case SecondaryReaction:
            if (p < last_[SecondaryReaction]) {
                if (p < last_[NaturalReaction]) {
                    record(NaturalReaction);
                    downCheck();
                } else {
                    record(SecondaryReaction);
                }
            } else if (p >= last_[SecondaryReaction] + reversal(last_[SecondaryReaction])) {
                enterRally(SecondaryReaction);
            }
            break;
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
    bool upCheck() {
        if (p_ > last_[UpTrend] || p_ >= pivotRally_ + confirmation(pivotRally_)) {
            record(UpTrend);
            return true;
        }
        return false;
    }
    bool downCheck() {
        if (p_ < last_[DownTrend] || p_ <= pivotReaction_ - confirmation(pivotReaction_)) {
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
        w.set(i, m.present(i) && shows(shown, sheet.step(p)) ? p : w.fill());
    }
    return kOk;
}

} // namespace fk::marketkey
