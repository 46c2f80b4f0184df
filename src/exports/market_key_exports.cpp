// Entry points of the market key; every call computes from bar 0.
#include "exports/export_def.h"
#include "indicators/market_key.h"

using namespace fk;
using marketkey::Shown;

namespace {

StatusCode plain(Args& a, Shown shown) {
    return marketkey::marketKey(shown, *a.out(), *a.market(2), marketkey::plainThresholds(a.number(3)));
}
StatusCode custom(Args& a, Shown shown) {
    return marketkey::marketKey(shown, *a.out(), *a.market(2),
                                marketkey::customThresholds(a.number(3), a.number(4), a.number(5)));
}

} // namespace

FK_ENTRY(JLUpTrend) { return plain(a, Shown::UpTrend); }
FK_ENTRY(JLDownTrend) { return plain(a, Shown::DownTrend); }
FK_ENTRY(JLRally) { return plain(a, Shown::Rally); }
FK_ENTRY(JLReaction) { return plain(a, Shown::Reaction); }
FK_ENTRY(JLUpTrendCust) { return custom(a, Shown::UpTrend); }
FK_ENTRY(JLDownTrendCust) { return custom(a, Shown::DownTrend); }
FK_ENTRY(JLRallyCust) { return custom(a, Shown::Rally); }
FK_ENTRY(JLReactionCust) { return custom(a, Shown::Reaction); }
