// Choices made without a branch. A compiler turns a plain `c ? a : b` on doubles into a branch,
// which a predicting processor cannot foresee when the condition depends on the prices (a new
// high on a random walk is a coin flip).
#pragma once

namespace fk::indicators {

// Two doubles side by side in one vector register: compared, chosen (`mask ? a : b`) and
// combined lane by lane, with no branch.
typedef double Pair __attribute__((vector_size(16)));
typedef long long PairMask __attribute__((vector_size(16)));

// a where the mask (a comparison of pairs) is set, else b, lane by lane: bit operations, which no
// compiler turns back into a branch as it may a vector `?:`
inline Pair blend(PairMask take, Pair a, Pair b) {
    return reinterpret_cast<Pair>((take & reinterpret_cast<PairMask>(a)) | (~take & reinterpret_cast<PairMask>(b)));
}

// Sets x to v when `take`, else leaves it as it was, picking by index: a store and a load
// instead of a misprediction every other bar (for values that no later bar waits on).
inline void setIf(double& x, bool take, double v) {
    const double choice[2] = {x, v};
    x = choice[take];
}

} // namespace fk::indicators
