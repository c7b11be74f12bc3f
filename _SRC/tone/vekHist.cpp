/* vekHist: histograms by bins, and tone changed through them: a piecewise map, and the equalisation of the distribution that
 * a table describes. */
#include "owntone.h"

/* The table of a channel, counted from the first that takes part. */
static VekLUT* ownLut(VekLUT* const* lut, const OwnChannels& channels, int32_t c)
{
    return lut[channels.single ? channels.first : c];
}

static bool ownIsRising(const VekLUT& lut)
{
    int32_t nFalls = 0;
    for (int32_t i = 0; i < lut.num - 1; ++i) nFalls += lut.key[i] > lut.key[i + 1];
    return nFalls == 0;
}

/* The tests of the tables. */
static bool ownTestTables(const OwnFace& face, VekLUT* const* lut, const OwnChannels& channels, int32_t histSize)
{
    for (int32_t c = 0; c < channels.count; ++c) {
        const int32_t k = channels.single ? channels.first : c;
        OWN_REFUSE_IF(lut[k]==0, false);
        OWN_REFUSE_IF(lut[k]->key==0, false);
        OWN_REFUSE_IF(lut[k]->value==0, false);
        OWN_REFUSE_IF(lut[k]->num < 2, false);
        OWN_REFUSE_IF(lut[k]->key[0] < 0, false);
        OWN_REFUSE_IF(lut[k]->key[lut[k]->num-1] > histSize, false);
        OWN_REFUSE_TEXT_IF(!ownIsRising(*lut[k]), "lut[k]->key[i] > lut[k]->key[i+1]", false);
    }
    return true;
}

/* value[i] = the counters of bin i, summed. Most often a bin is one level, or there are few. */
static void ownSumBins(VekLUT& lut, const uint32_t* counters)
{
    for (int32_t i = 0; i < lut.num - 1; ++i) {
        const int32_t from = lut.key[i], to = lut.key[i + 1];
        uint32_t sum = from < to ? counters[from] : 0;
        for (int32_t level = from + 1; level < to; ++level) sum += counters[level];
        lut.value[i] = (int32_t)sum;
    }
}

/* ---- Counting ------------------------------------------------------------------------------------------------ */

void vekComputeHisto(const VekImage* srcImage, VekLUT** lut)
{
    OWN_FACE("vekComputeHisto", "vekHist");
    OWN_REFUSE_HEADER(srcImage);
    OWN_REPORT_IF(lut==0);
    OWN_REPORT_IF((srcImage->depth & VEK_DEPTH_SIGN) || (srcImage->depth == VEK_DEPTH_32F));
    if (!lut || (srcImage->depth & VEK_DEPTH_SIGN) || srcImage->depth == VEK_DEPTH_32F) return;
    const OwnChannels channels = ownChannels(srcImage);
    const int32_t levels = ownLevels(srcImage);
    if (channels.count < 1 || !ownTestTables(face, lut, channels, levels)) return;

    uint32_t* counters = ownTables<uint32_t>(channels.count, levels);
    OWN_FAIL_IF(!counters, VEK_StatusNoMemory, "");
    if (ownCountImage(face, srcImage, channels, counters))
        for (int32_t c = 0; c < channels.count; ++c)
            ownSumBins(*ownLut(lut, channels, c), counters + c * (ptrdiff_t)levels);
    else ownFail(face, VEK_StatusBacktrace, "", __LINE__);
    ownFree(counters);
}

/* ---- Mapping ------------------------------------------------------------------------------------------------- */

/* What both maps test. Faults of the images and a missing table are all told before the call ends. */
static bool ownTestMapping(const OwnFace& face, const VekImage* srcImage, const VekImage* dstImage, VekLUT* const* lut)
{
    OWN_REFUSE_HEADER(srcImage, false);
    OWN_REFUSE_HEADER(dstImage, false);
    OWN_REPORT_IF(srcImage->depth != dstImage->depth);
    OWN_REPORT_IF(srcImage->origin != dstImage->origin);
    OWN_REPORT_IF(srcImage->dataOrder != dstImage->dataOrder);
    OWN_REPORT_IF(srcImage->depth != VEK_DEPTH_8U && srcImage->depth != VEK_DEPTH_16U);
    OWN_REPORT_IF(lut==0);
    const bool isServed = srcImage->depth == VEK_DEPTH_8U || srcImage->depth == VEK_DEPTH_16U;
    if (!lut || !isServed || srcImage->depth != dstImage->depth || srcImage->origin != dstImage->origin ||
        srcImage->dataOrder != dstImage->dataOrder)
        return false;
    const OwnChannels channels = ownChannels(srcImage);
    OWN_FAIL_IF(channels.count != ownChannels(dstImage).count, VEK_StatusBadCoi, "srcImage COI != dstImage COI", false);
    return channels.count > 0 && ownTestTables(face, lut, channels, ownLevels(srcImage));
}

/* m[g] = g outside the bins; in bin i value[i], or the line (g - key[i]) * factor[i] + value[i], its low bits. */
template <class T> static void ownFillStretch(T* map, const VekLUT& lut)
{
    for (int32_t g = 0; g <= std::numeric_limits<T>::max(); ++g) map[g] = (T)g;
    for (int32_t i = 0; i < lut.num - 1; ++i) {
        const int32_t from = lut.key[i], to = lut.key[i + 1];
        const uint32_t slope = lut.interpolated ? (uint32_t)lut.factor[i] : 0, value = (uint32_t)lut.value[i];
        if (from < to) map[from] = (T)value;
        for (int32_t g = from + 1; g < to; ++g) map[g] = (T)((uint32_t)(g - from) * slope + value);
    }
}

template <class T>
static void ownStretch(const OwnFace& face, const VekImage* srcImage, const VekImage* dstImage, VekLUT* const* lut)
{
    const OwnChannels channels = ownChannels(srcImage);
    const int32_t levels = ownLevels(srcImage);
    T* maps = ownTables<T>(channels.count, levels);
    OWN_FAIL_IF(!maps, VEK_StatusNoMemory, "");
    for (int32_t c = 0; c < channels.count; ++c)
        ownFillStretch(maps + c * (ptrdiff_t)levels, *ownLut(lut, channels, c));
    (void)ownMapImage(face, srcImage, dstImage, maps);
    ownFree(maps);
}

void vekContrastStretch(const VekImage* srcImage, VekImage* dstImage, VekLUT** lut)
{
    OWN_FACE("vekContrastStretch", "vekHist");
    if (!ownTestMapping(face, srcImage, dstImage, lut)) return;
    if (srcImage->depth == VEK_DEPTH_8U) ownStretch<uint8_t>(face, srcImage, dstImage, lut);
    else ownStretch<uint16_t>(face, srcImage, dstImage, lut);
}

/* ---- Equalising ---------------------------------------------------------------------------------------------- */

/* The sum of all bins that have levels. */
static int64_t ownTotal(const VekLUT& lut)
{
    int64_t total = 0;
    for (int32_t i = 0; i < lut.num - 1; ++i)
        if (lut.key[i] < lut.key[i + 1]) total += lut.value[i];
    return total;
}

/* The highest level times sum / total: 8 bits in whole numbers, 16 bits in double, chopped. */
static uint8_t ownShareOfWhole(int64_t sum, int64_t total, uint8_t) { return (uint8_t)(sum * UINT8_MAX / total); }
static uint16_t ownShareOfWhole(int64_t sum, int64_t total, uint16_t)
{
    return (uint16_t)(int64_t)((double)sum * 65535.0 / (double)total);
}

/* m[g] = the running sum's share. A bin's count is spread evenly over its levels, the last of which gets the rest. */
template <class T> static void ownFillEqual(T* map, const VekLUT& lut)
{
    const int64_t total = ownTotal(lut);
    int64_t sum = 0;
    int32_t g = 0;
    for (int32_t i = 0; i < lut.num - 1; ++i) {
        const int32_t n = lut.key[i + 1] - lut.key[i];
        for (; g < lut.key[i]; ++g) map[g] = ownShareOfWhole(sum, total, T());
        for (; g < lut.key[i + 1]; ++g) {
            sum += lut.value[i] / n + (g + 1 == lut.key[i + 1] ? lut.value[i] % n : 0);
            map[g] = ownShareOfWhole(sum, total, T());
        }
    }
    for (; g <= std::numeric_limits<T>::max(); ++g) map[g] = ownShareOfWhole(sum, total, T());
}

/* The tables of the result: each level's count moves to where the map sends the level. */
template <class T> static void ownMoveCounts(VekLUT& lut, const uint32_t* counters, uint32_t* moved, const T* map)
{
    for (int32_t g = 0; g <= std::numeric_limits<T>::max(); ++g) moved[map[g]] += counters[g];
    ownSumBins(lut, moved);
}

template <class T>
static void ownEqualise(const OwnFace& face, const VekImage* srcImage, const VekImage* dstImage, VekLUT* const* lut,
                        uint32_t* counters, uint32_t* moved, T* maps)
{
    const OwnChannels channels = ownChannels(srcImage);
    const ptrdiff_t levels = ownLevels(srcImage);
    OWN_FAIL_IF(!counters || !moved || !maps, VEK_StatusNoMemory, "");
    const bool isCounted = ownCountImage(face, srcImage, channels, counters);
    OWN_FAIL_IF(!isCounted, VEK_StatusBacktrace, "");
    for (int32_t c = 0; c < channels.count; ++c)
        OWN_FAIL_IF(ownTotal(*ownLut(lut, channels, c)) == 0, VEK_StatusInternal, "All values in histogram are zeroes");
    for (int32_t c = 0; c < channels.count; ++c) ownFillEqual(maps + c * levels, *ownLut(lut, channels, c));
    if (!ownMapImage(face, srcImage, dstImage, maps)) return;
    for (int32_t c = 0; c < channels.count; ++c)
        ownMoveCounts(*ownLut(lut, channels, c), counters + c * levels, moved + c * levels, maps + c * levels);
}

template <class T>
static void ownEqualiseIn(const OwnFace& face, const VekImage* srcImage, const VekImage* dstImage, VekLUT* const* lut)
{
    const int32_t nChannels = ownChannels(srcImage).count, levels = ownLevels(srcImage);
    uint32_t *counters = ownTables<uint32_t>(nChannels, levels), *moved = ownTables<uint32_t>(nChannels, levels);
    T* maps = ownTables<T>(nChannels, levels);
    ownEqualise(face, srcImage, dstImage, lut, counters, moved, maps);
    ownFree(maps);
    ownFree(moved);
    ownFree(counters);
}

void vekHistoEqualize(const VekImage* srcImage, VekImage* dstImage, VekLUT** lut)
{
    OWN_FACE("vekHistoEqualize", "vekHist");
    if (!ownTestMapping(face, srcImage, dstImage, lut)) return;
    if (srcImage->depth == VEK_DEPTH_8U) ownEqualiseIn<uint8_t>(face, srcImage, dstImage, lut);
    else ownEqualiseIn<uint16_t>(face, srcImage, dstImage, lut);
}
