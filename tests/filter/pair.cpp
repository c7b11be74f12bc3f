#include "filter/pair.h"

#include <gtest/gtest.h>

#include <algorithm>

VekImage* FilterPair::dstHeader()
{
    if (!other) return srcTiles ? &srcTiles->image : &src->image;
    return dstTiles ? &dstTiles->image : &other->image;
}

std::string FilterPair::text()
{
    return headerText(src->image) + " to " + headerText(dst().image) + (other ? "" : " in place") +
           (srcTiles ? " tiles" : "") + (dstTiles ? " dst tiles" : "");
}

void FilterPair::drawTiles(Random& random, bool srcToo)
{
    if (srcToo && draw(random, 0, 3) == 0)
        srcTiles = std::make_unique<TiledImage>(*src, 8 * draw(random, 1, 4), 8 * draw(random, 1, 2));
    if (other && draw(random, 0, 3) == 0)
        dstTiles = std::make_unique<TiledImage>(*other, 8 * draw(random, 1, 4), 8 * draw(random, 1, 2));
    srcBytes = src->bytes();
    expected = dst().bytes();
}

/* The distance of two floats in units of their last place; infinities and numbers that are none must be alike. */
static int64_t apart(uint32_t a, uint32_t b)
{
    const auto place = [](uint32_t bits) { return bits >> 31 ? -(int64_t)(bits & INT32_MAX) : (int64_t)bits; };
    return std::abs(place(a) - place(b));
}

void FilterPair::checkBytes(int64_t mostApart)
{
    const std::vector<uint8_t> now = dst().bytes();
    if (mostApart && src->image.depth == VEK_DEPTH_32F) {
        for (size_t i = 0; i + 4 <= now.size(); i += 4) {
            uint32_t is, shouldBe;
            memcpy(&is, now.data() + i, 4);
            memcpy(&shouldBe, expected.data() + i, 4);
            ASSERT_LE(apart(is, shouldBe), mostApart) << "byte " << i << std::hex << ": " << is << ", not " << shouldBe;
        }
        return;
    }
    const auto differ = std::mismatch(now.begin(), now.end(), expected.begin());
    ASSERT_TRUE(differ.first == now.end())
        << "byte " << differ.first - now.begin() << ": " << (int)*differ.first << ", not " << (int)*differ.second;
}

void FilterPair::check(const std::function<void()>& call, int64_t mostApart)
{
    const int live = heapLive();
    Recorder recorder;
    call();
    ASSERT_EQ(recorder.text(), "");
    ASSERT_EQ(vekGetErrStatus(), VEK_StatusOk);
    ASSERT_EQ(heapLive(), live);
    ASSERT_NO_FATAL_FAILURE(checkBytes(mostApart));
    if (other) { ASSERT_EQ(src->bytes(), srcBytes); }
    for (const TiledImage* tiles : {srcTiles.get(), dstTiles.get()}) {
        if (!tiles) continue;
        ASSERT_FALSE(tiles->isOpen());
        ASSERT_EQ(tiles->logText().find("BAD"), std::string::npos) << tiles->logText();
    }
    if (!dstTiles) return;
    std::vector<std::string> log = dstTiles->log;
    std::sort(log.begin(), log.end());
    ASSERT_EQ(std::unique(log.begin(), log.end()), log.end()) << dstTiles->logText();
}
