/* ownbox: the kernels of the extremum of a box by depth, and how its way across is planned. */
#include "ownboxbits.h"
#include "ownboxdown.h"
#include "ownboxthree.h"

#include <array>

/* ---- The plan of passes -------------------------------------------------------------------------------------- */

/* The least factor that takes a width to the side in so many passes. */
static int64_t ownRadix(int64_t width, int64_t side, int passes)
{
    for (int64_t radix = 2;; ++radix) {
        int64_t reached = width;
        for (int i = 0; i < passes && reached < side; ++i) reached *= radix;
        if (reached >= side) return radix;
    }
}

/* A pass more costs more than a sample more, up to four of them, or five if that is all. */
static int ownPasses(int64_t width, int64_t side)
{
    int passes = 1;
    for (int64_t reached = width * (width == 1 && side == 5 ? 5 : 4); reached < side; reached *= 4) ++passes;
    return passes;
}

/* The span of the first pass. Doubling one costs a little more than a sample from memory; further passes take up to four
 * windows each. */
static int ownFirstSpan(int64_t side, int mostSpan)
{
    int best = 1;
    int64_t bestCost = INT64_MAX;
    for (int span = 1, doubled = 0; span <= mostSpan; span *= 2, ++doubled) {
        const int64_t count = (side + span - 1) / span;
        const int64_t cost = count > 4 ? (count + 3) / 4 * 100 : 4 * doubled + 3 * count;
        if (span > 1 && count < 2) break;
        if (cost < bestCost) best = span, bestCost = cost;
    }
    return best;
}

OwnBoxPlan ownBoxPlan(int64_t side, ptrdiff_t unit, int mostSpan, bool bits)
{
    OwnBoxPlan plan = {};
    int64_t width = bits ? std::min<int64_t>(side, OwnReach::MOST_BITS) : ownFirstSpan(side, mostSpan);
    int span = (int)width;
    const auto add = [&](int64_t next) {
        OwnReach& pass = plan.pass[plan.count++];
        pass.span = span;
        pass.unit = unit;
        pass.count = (int)((next + width - 1) / width);
        for (int k = 0; k < pass.count; ++k) pass.at[k] = (ptrdiff_t)std::min(k * width, next - width) * unit;
        width = next;
        span = 1;
    };
    if (bits || side == 1) add(width); /* bits have all of a span from one place */
    while (width < side) add(std::min(side, width * ownRadix(width, side, ownPasses(width, side))));
    return plan;
}

/* ---- Tables -------------------------------------------------------------------------------------------------- */

/* The bytes of a sample. */
template <class T> static constexpr OwnBox ownWithNeutral(OwnBox box, T neutral)
{
    const auto bytes = std::bit_cast<std::array<uint8_t, sizeof(T)>>(neutral);
    for (size_t i = 0; i < sizeof(T); ++i) box.neutral[i] = bytes[i];
    return box;
}

template <class E>
static constexpr OwnBox ownBox = ownWithNeutral(
    OwnBox{ownDown<E>, ownAcross<E>, ownDownPlain<E>, ownAcrossPlain<E>, ownThree<E>, ownMostSpan<E>, {}}, E::neutral);
static int ownBitSpan(ptrdiff_t) { return OwnReach::MOST_BITS; }
template <class E>
static constexpr OwnBox ownBitBox = {ownDown<E>, ownAcrossBits<E>, ownDownPlain<E>, ownAcrossBitsPlain<E>,
                                     nullptr,    ownBitSpan,       {E::neutral}};

const OwnBox ownBoxMin[OWN_DEPTHS] = {
    /*  1U */ ownBitBox<OwnAllBits>,
    /*  8U */ ownBox<OwnLeast<uint8_t>>,
    /*  8S */ ownBox<OwnLeast<int8_t>>,
    /* 16U */ ownBox<OwnLeast<uint16_t>>,
    /* 16S */ ownBox<OwnLeast<int16_t>>,
    /* 32S */ ownBox<OwnLeast<int32_t>>,
    /* 32F */ {},
};
const OwnBox ownBoxMax[OWN_DEPTHS] = {
    /*  1U */ ownBitBox<OwnAnyBit>,
    /*  8U */ ownBox<OwnMost<uint8_t>>,
    /*  8S */ ownBox<OwnMost<int8_t>>,
    /* 16U */ ownBox<OwnMost<uint16_t>>,
    /* 16S */ ownBox<OwnMost<int16_t>>,
    /* 32S */ ownBox<OwnMost<int32_t>>,
    /* 32F */ {},
};
